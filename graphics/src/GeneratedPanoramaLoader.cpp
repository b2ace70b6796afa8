#include <lumaro/graphics/GeneratedPanoramaLoader.h>

#include <stdexcept>
#include <utility>

namespace Graphics {

GeneratedPanoramaLoader::GeneratedPanoramaLoader(PanoramaLayout layout, ColorOfTile colorOfTile,
                                                 DepthOfTile depthOfTile)
    : PanoramaLoader(std::move(layout)), mColorOfTile(std::move(colorOfTile)), mDepthOfTile(std::move(depthOfTile))
{
    if (!mColorOfTile || !mDepthOfTile)
        throw std::invalid_argument("GeneratedPanoramaLoader needs a colour and a depth function");
}

ColorImage GeneratedPanoramaLoader::loadColorTile(TileId tile)
{
    checkTile(tile, numColorLevels(), "colour");
    ColorImage image(tileWidth(level(tile)), tileHeight(level(tile)));
    image.fill(mColorOfTile(tile));
    ++mColorTilesLoaded;
    return image;
}

DepthImage GeneratedPanoramaLoader::loadDepthTile(TileId tile)
{
    checkTile(tile, numDepthLevels(), "depth");
    DepthImage image(tileWidth(level(tile)), tileHeight(level(tile)));
    image.fill(mDepthOfTile(tile));
    ++mDepthTilesLoaded;
    return image;
}

} // namespace Graphics
