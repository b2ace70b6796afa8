#pragma once

#include <lumaro/graphics/PanoramaLoader.h>

#include <atomic>
#include <functional>

namespace Graphics {

// A panorama whose tiles are made on request, each filled with one colour and one depth chosen per
// tile: a stand-in for real imagery in tests and previews, where which tile landed where must be
// visible. Counts the tiles it hands out.
class GeneratedPanoramaLoader : public PanoramaLoader {
public:
    using ColorOfTile = std::function<Math::Color(TileId)>;
    using DepthOfTile = std::function<float(TileId)>;

    GeneratedPanoramaLoader(PanoramaLayout layout, ColorOfTile colorOfTile, DepthOfTile depthOfTile);

    // Throw std::out_of_range naming the tile when it is not part of the layout.
    ColorImage loadColorTile(TileId tile) override;
    DepthImage loadDepthTile(TileId tile) override;

    std::size_t colorTilesLoaded() const { return mColorTilesLoaded; }
    std::size_t depthTilesLoaded() const { return mDepthTilesLoaded; }

private:
    ColorOfTile mColorOfTile;
    DepthOfTile mDepthOfTile;
    std::atomic<std::size_t> mColorTilesLoaded{0};
    std::atomic<std::size_t> mDepthTilesLoaded{0};
};

} // namespace Graphics
