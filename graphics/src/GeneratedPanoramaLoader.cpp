#include <lumaro/graphics/GeneratedPanoramaLoader.h>

#include <stdexcept>
#include <utility>

namespace Graphics {

GeneratedPanoramaLoader::GeneratedPanoramaLoader(PanoramaLayout layout, ColorOfTile colorOfTile,
                                                 DepthOfTile depthOfTile)
    : PanoramaLoader(std::move(layout)), m_colorOfTile(std::move(colorOfTile)), m_depthOfTile(std::move(depthOfTile))
{
    if (!m_colorOfTile || !m_depthOfTile)
        throw std::invalid_argument("GeneratedPanoramaLoader needs a colour and a depth function");
}

ColorImage GeneratedPanoramaLoader::loadColorTile(TileId tile)
{
    checkTile(tile, numColorLevels(), "colour");
    ColorImage image(tileWidth(level(tile)), tileHeight(level(tile)));
    image.fill(m_colorOfTile(tile));
    ++m_colorTilesLoaded;
    return image;
}

DepthImage GeneratedPanoramaLoader::loadDepthTile(TileId tile)
{
    checkTile(tile, numDepthLevels(), "depth");
    DepthImage image(tileWidth(level(tile)), tileHeight(level(tile)));
    image.fill(m_depthOfTile(tile));
    ++m_depthTilesLoaded;
    return image;
}

} // namespace Graphics
