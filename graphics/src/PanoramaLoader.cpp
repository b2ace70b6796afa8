#include <lumaro/graphics/PanoramaLoader.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

namespace Graphics {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr std::size_t cubeFaces = 6;

std::array<float, 3> normalized(double x, double y, double z)
{
    const double length = std::sqrt(x * x + y * y + z * z);
    return {static_cast<float>(x / length), static_cast<float>(y / length), static_cast<float>(z / length)};
}

// The inverse of the renderer's face lookup: (u, v) in 0..1 on face `face` to a direction.
std::array<float, 3> cubeDirection(std::size_t face, double u, double v)
{
    const double s = 2.0 * u - 1.0;
    const double t = 2.0 * v - 1.0;
    switch (face) {
    case 0: return normalized(1.0, -s, -t);
    case 1: return normalized(-1.0, s, -t);
    case 2: return normalized(s, 1.0, -t);
    case 3: return normalized(-s, -1.0, -t);
    case 4: return normalized(t, -s, 1.0);
    default: return normalized(-t, -s, -1.0);
    }
}

} // namespace

PanoramaLoader::PanoramaLoader(PanoramaLayout layout) : mLayout(std::move(layout))
{
    const auto fail = [](const std::string& what) { throw std::invalid_argument("Panorama layout: " + what); };
    if (mLayout.tileRows == 0 || mLayout.tileColumns == 0)
        fail("a grid of " + std::to_string(mLayout.tileRows) + " x " + std::to_string(mLayout.tileColumns)
             + " tiles is empty");
    const std::size_t faces = mLayout.projection == ProjectionKind::Equirectangular ? 1 : cubeFaces;
    if (mLayout.tileRows > maxTilesPerLevel || mLayout.tileColumns > maxTilesPerLevel
        || mLayout.tileRows * mLayout.tileColumns * faces > maxTilesPerLevel)
        fail(std::to_string(mLayout.tileRows) + " x " + std::to_string(mLayout.tileColumns) + " tiles"
             + (faces > 1 ? " per cube face" : "") + " exceed " + std::to_string(maxTilesPerLevel) + " per level");
    if (mLayout.colorLevels > mLayout.levels.size() || mLayout.depthLevels > mLayout.levels.size())
        fail(std::to_string(mLayout.colorLevels) + " colour and " + std::to_string(mLayout.depthLevels)
             + " depth levels but only " + std::to_string(mLayout.levels.size()) + " tile sizes");
    for (std::size_t level = 0; level < mLayout.levels.size(); ++level)
        if (mLayout.levels[level].width == 0 || mLayout.levels[level].height == 0)
            fail("level " + std::to_string(level) + " has an empty tile size");
}

PanoramaLoader::~PanoramaLoader() = default;

std::size_t PanoramaLoader::tileWidth(std::size_t level) const
{
    if (level >= mLayout.levels.size())
        throw std::out_of_range("Panorama level " + std::to_string(level) + " does not exist");
    return mLayout.levels[level].width;
}

std::size_t PanoramaLoader::tileHeight(std::size_t level) const
{
    if (level >= mLayout.levels.size())
        throw std::out_of_range("Panorama level " + std::to_string(level) + " does not exist");
    return mLayout.levels[level].height;
}

PanoramaLoader::TileId PanoramaLoader::makeTileId(std::size_t level, std::size_t indexWithinLevel)
{
    if (level > 0xFFFFFFFFu || indexWithinLevel > 0xFFFFFFFFu)
        throw std::out_of_range("Panorama tile " + std::to_string(indexWithinLevel) + " of level "
                                + std::to_string(level) + " cannot be named");
    return static_cast<TileId>(level) << 32 | static_cast<TileId>(indexWithinLevel);
}

std::size_t PanoramaLoader::tilesPerLevel() const
{
    const std::size_t faces = projectionKind() == ProjectionKind::Equirectangular ? 1 : cubeFaces;
    return mLayout.tileRows * mLayout.tileColumns * faces;
}

std::vector<PanoramaLoader::TileId> PanoramaLoader::colorTiles() const
{
    return tilesOfLevels(mLayout.colorLevels);
}

std::vector<PanoramaLoader::TileId> PanoramaLoader::depthTiles() const
{
    return tilesOfLevels(mLayout.depthLevels);
}

std::vector<PanoramaLoader::TileId> PanoramaLoader::tilesOfLevels(std::size_t levelCount) const
{
    std::vector<TileId> tiles;
    const std::size_t perLevel = tilesPerLevel();
    tiles.reserve(levelCount * perLevel);
    for (std::size_t level = 0; level < levelCount; ++level)
        for (std::size_t index = 0; index < perLevel; ++index)
            tiles.push_back(makeTileId(level, index));
    return tiles;
}

std::array<float, 3> PanoramaLoader::tileDirection(TileId tile) const
{
    const std::size_t index = tileIndexWithinLevel(tile);
    const std::size_t perFace = mLayout.tileRows * mLayout.tileColumns;
    if (index >= tilesPerLevel())
        throw std::out_of_range("Panorama tile index " + std::to_string(index) + " is beyond the "
                                + std::to_string(tilesPerLevel()) + " tiles of a level");
    const std::size_t row = index % perFace / mLayout.tileColumns;
    const std::size_t column = index % mLayout.tileColumns;
    const double u = (static_cast<double>(column) + 0.5) / static_cast<double>(mLayout.tileColumns);
    const double v = (static_cast<double>(row) + 0.5) / static_cast<double>(mLayout.tileRows);
    if (projectionKind() != ProjectionKind::Equirectangular)
        return cubeDirection(index / perFace, u, v);
    const double azimuth = (0.5 - u) * 2.0 * pi;
    const double elevation = (0.5 - v) * pi;
    return normalized(std::cos(elevation) * std::cos(azimuth), std::cos(elevation) * std::sin(azimuth),
                      std::sin(elevation));
}

void PanoramaLoader::checkTile(TileId tile, std::size_t levelCount, const char* kind) const
{
    if (level(tile) >= levelCount || tileIndexWithinLevel(tile) >= tilesPerLevel())
        throw std::out_of_range(std::string("Panorama has no ") + kind + " tile " + std::to_string(tile) + " (level "
                                + std::to_string(level(tile)) + ", index " + std::to_string(tileIndexWithinLevel(tile))
                                + ")");
}

} // namespace Graphics
