#pragma once

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Graphics {

enum class ProjectionKind : std::uint32_t {
    Equirectangular = 0,
    // Six faces (+x, -x, +y, -y, +z, -z), each cut into the same grid of tiles.
    CubeMap = 1,
};

struct TileSize {
    std::size_t width = 0;
    std::size_t height = 0;
};

// How a panorama is cut into tiles. Level 0 is the coarsest; colour and depth level n share
// the tile size levels[n]. Every level covers the whole sphere with the same grid of
// tileRows x tileColumns tiles (per cube face for cube maps).
struct PanoramaLayout {
    ProjectionKind projection = ProjectionKind::Equirectangular;
    std::size_t tileRows = 1;
    std::size_t tileColumns = 1;
    std::vector<TileSize> levels;
    std::size_t colorLevels = 0;
    std::size_t depthLevels = 0;
};

// A source of panorama tiles: colour tiles (8-bit BGRA texels) and depth tiles (distance from the
// panorama's centre in object units, one float per texel), streamed level by level by a renderer.
// A tile is named by a TileId that encodes its level and its index within the level, so that the
// renderer can place any tile without asking the loader again.
//
// The layout queries are fixed at construction and may be called from any thread; the load
// operations are called from one loading thread at a time.
class PanoramaLoader {
public:
    using TileId = std::uint64_t;

    // Tiles of one level are slices of one texture array, which the renderer's shader indexes
    // with at most this many entries.
    static constexpr std::size_t maxTilesPerLevel = 48;

    // Throws std::invalid_argument for an empty grid, a zero tile size, more colour or depth levels
    // than tile sizes, or more than maxTilesPerLevel tiles per level.
    explicit PanoramaLoader(PanoramaLayout layout);
    virtual ~PanoramaLoader();

    PanoramaLoader(const PanoramaLoader&) = default;
    PanoramaLoader& operator=(const PanoramaLoader&) = default;

    std::size_t numColorLevels() const { return mLayout.colorLevels; }
    std::size_t numDepthLevels() const { return mLayout.depthLevels; }
    // Throw std::out_of_range for a level without a tile size.
    std::size_t tileWidth(std::size_t level) const;
    std::size_t tileHeight(std::size_t level) const;
    std::size_t tileRows() const { return mLayout.tileRows; }
    std::size_t tileColumns() const { return mLayout.tileColumns; }
    const PanoramaLayout& layout() const { return mLayout; }

    static TileId makeTileId(std::size_t level, std::size_t indexWithinLevel);
    std::size_t level(TileId tile) const { return static_cast<std::size_t>(tile >> 32); }
    // The slice of the level's texture array: row x tileColumns + column, preceded by
    // face x tileRows x tileColumns for cube maps.
    std::size_t tileIndexWithinLevel(TileId tile) const { return static_cast<std::size_t>(tile & 0xFFFFFFFFu); }

    // tileRows x tileColumns, times six for a cube map.
    virtual std::size_t tilesPerLevel() const;
    // Every tile of every level, coarse levels first.
    virtual std::vector<TileId> colorTiles() const;
    virtual std::vector<TileId> depthTiles() const;
    // An image of tileWidth x tileHeight of the tile's level. Throw on a tile that does not exist
    // or cannot be read.
    virtual ColorImage loadColorTile(TileId tile) = 0;
    virtual DepthImage loadDepthTile(TileId tile) = 0;
    // Unit vector from the centre of the panorama to the centre of the tile, in object space:
    // z up; equirectangular column 0 starts at azimuth +180 degrees and runs clockwise seen from
    // above, row 0 at the zenith.
    virtual std::array<float, 3> tileDirection(TileId tile) const;
    virtual ProjectionKind projectionKind() const { return mLayout.projection; }

protected:
    // Throws std::out_of_range naming the tile when it is not part of the layout.
    void checkTile(TileId tile, std::size_t levelCount, const char* kind) const;

private:
    std::vector<TileId> tilesOfLevels(std::size_t levelCount) const;

    PanoramaLayout mLayout;
};

} // namespace Graphics
