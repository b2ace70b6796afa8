#include <lumaro/graphics/ImagePanoramaLoader.h>

#include "ImageFiles.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Graphics {

namespace {

constexpr std::size_t maxLevels = 4;
constexpr std::size_t smallestTileSide = 8;
constexpr std::size_t cubeFaces = 6;

std::string sizeText(const ImageFileInfo& info)
{
    return std::to_string(info.width) + " x " + std::to_string(info.height);
}

// The source texels [first, end) that the texel `index` of `count` texels covers in `size`
// source texels: at least one, inside the source.
std::pair<std::size_t, std::size_t> footprint(std::size_t index, std::size_t count, std::size_t size)
{
    const std::size_t first = std::min(index * size / count, size - 1);
    const std::size_t end = std::max(first + 1, std::min(((index + 1) * size + count - 1) / count, size));
    return {first, end};
}

} // namespace

std::shared_ptr<ImagePanoramaLoader>
ImagePanoramaLoader::equirectangular(const std::filesystem::path& color,
                                     const std::optional<std::filesystem::path>& distance, std::size_t tileRows,
                                     std::size_t tileColumns)
{
    const ImageFileInfo colorInfo = readImageFileInfo(color);
    if (distance) {
        const ImageFileInfo distanceInfo = readImageFileInfo(*distance);
        if (!distanceInfo.hdr)
            throw std::invalid_argument("Panorama distance image '" + distance->string()
                                        + "' is not a Radiance HDR image of floats");
        if (distanceInfo.width * colorInfo.height != colorInfo.width * distanceInfo.height)
            throw std::invalid_argument("Panorama distance image '" + distance->string() + "' ("
                                        + sizeText(distanceInfo) + ") has another aspect ratio than its colour image '"
                                        + color.string() + "' (" + sizeText(colorInfo) + ")");
    }
    PanoramaLayout layout = layoutFor(ProjectionKind::Equirectangular, colorInfo.width, colorInfo.height, tileRows,
                                      tileColumns, distance.has_value());
    return std::shared_ptr<ImagePanoramaLoader>(
        new ImagePanoramaLoader(std::move(layout), Sources{{color}, distance, colorInfo.width, colorInfo.height}));
}

std::shared_ptr<ImagePanoramaLoader> ImagePanoramaLoader::cubeMap(const std::array<std::filesystem::path, 6>& faces,
                                                                  std::size_t tilesPerSide)
{
    const ImageFileInfo first = readImageFileInfo(faces[0]);
    for (const std::filesystem::path& face : faces) {
        const ImageFileInfo info = readImageFileInfo(face);
        if (info.width != info.height || info.width != first.width)
            throw std::invalid_argument("Cube face '" + face.string() + "' (" + sizeText(info)
                                        + ") is not a square of the first face's size (" + sizeText(first) + ")");
    }
    PanoramaLayout layout =
        layoutFor(ProjectionKind::CubeMap, first.width, first.height, tilesPerSide, tilesPerSide, false);
    return std::shared_ptr<ImagePanoramaLoader>(new ImagePanoramaLoader(
        std::move(layout), Sources{{faces.begin(), faces.end()}, std::nullopt, first.width, first.height}));
}

PanoramaLayout ImagePanoramaLoader::layoutFor(ProjectionKind projection, std::size_t width, std::size_t height,
                                              std::size_t tileRows, std::size_t tileColumns, bool withDistances)
{
    PanoramaLayout layout;
    layout.projection = projection;
    layout.tileRows = tileRows;
    layout.tileColumns = tileColumns;
    if (tileRows == 0 || tileColumns == 0)
        throw std::invalid_argument("Panorama layout: a grid of " + std::to_string(tileRows) + " x "
                                    + std::to_string(tileColumns) + " tiles is empty");
    const auto divide = [](std::size_t size, std::size_t parts) {
        return std::max<std::size_t>(1, (size + parts / 2) / parts);
    };
    const std::size_t finestWidth = divide(width, tileColumns);
    const std::size_t finestHeight = divide(height, tileRows);
    std::size_t levels = 1;
    while (levels < maxLevels && (finestWidth >> levels) >= smallestTileSide
           && (finestHeight >> levels) >= smallestTileSide)
        ++levels;
    for (std::size_t level = 0; level < levels; ++level)
        layout.levels.push_back({finestWidth >> (levels - 1 - level), finestHeight >> (levels - 1 - level)});
    layout.colorLevels = levels;
    layout.depthLevels = withDistances ? levels : 0;
    return layout;
}

ImagePanoramaLoader::ImagePanoramaLoader(PanoramaLayout layout, Sources sources)
    : PanoramaLoader(std::move(layout)), mSources(std::move(sources)), mDecodedColor(mSources.color.size())
{}

const ColorImage& ImagePanoramaLoader::colorSource(std::size_t face)
{
    const std::lock_guard lock(mDecodeMutex);
    std::optional<ColorImage>& decoded = mDecodedColor.at(face);
    if (!decoded) {
        decoded = ColorImage::read(mSources.color[face]);
        if (decoded->width() != mSources.width || decoded->height() != mSources.height)
            throw std::runtime_error("Panorama image '" + mSources.color[face].string() + "' changed its size");
    }
    return *decoded;
}

const DepthImage& ImagePanoramaLoader::distanceSource()
{
    const std::lock_guard lock(mDecodeMutex);
    if (!mDecodedDistance)
        mDecodedDistance = DepthImage::readHdr(*mSources.distance);
    return *mDecodedDistance;
}

ImagePanoramaLoader::Footprints ImagePanoramaLoader::footprintsOf(TileId tile, std::size_t sourceWidth,
                                                                  std::size_t sourceHeight) const
{
    const std::size_t index = tileIndexWithinLevel(tile) % (tileRows() * tileColumns());
    const std::size_t width = tileWidth(level(tile));
    const std::size_t height = tileHeight(level(tile));
    Footprints result;
    for (std::size_t x = 0; x < width; ++x)
        result.columns.push_back(footprint(index % tileColumns() * width + x, tileColumns() * width, sourceWidth));
    for (std::size_t y = 0; y < height; ++y)
        result.rows.push_back(footprint(index / tileColumns() * height + y, tileRows() * height, sourceHeight));
    return result;
}

ColorImage ImagePanoramaLoader::loadColorTile(TileId tile)
{
    checkTile(tile, numColorLevels(), "colour");
    const std::size_t face = projectionKind() == ProjectionKind::Equirectangular
        ? 0
        : tileIndexWithinLevel(tile) / (tileRows() * tileColumns());
    const ColorImage& source = colorSource(face);
    const Footprints footprints = footprintsOf(tile, source.width(), source.height());
    ColorImage result(footprints.columns.size(), footprints.rows.size());
    for (std::size_t y = 0; y < result.height(); ++y) {
        const auto [firstRow, endRow] = footprints.rows[y];
        for (std::size_t x = 0; x < result.width(); ++x) {
            const auto [firstColumn, endColumn] = footprints.columns[x];
            std::array<std::size_t, 4> sum{};
            for (std::size_t sy = firstRow; sy < endRow; ++sy)
                for (std::size_t sx = firstColumn; sx < endColumn; ++sx) {
                    const Math::Color& texel = source.at(sx, sy);
                    sum[0] += texel.r();
                    sum[1] += texel.g();
                    sum[2] += texel.b();
                    sum[3] += texel.a();
                }
            const std::size_t count = (endRow - firstRow) * (endColumn - firstColumn);
            const auto mean = [&](std::size_t channel) {
                return static_cast<std::uint8_t>((sum[channel] + count / 2) / count);
            };
            result.at(x, y) = Math::Color(mean(0), mean(1), mean(2), mean(3));
        }
    }
    return result;
}

DepthImage ImagePanoramaLoader::loadDepthTile(TileId tile)
{
    checkTile(tile, numDepthLevels(), "depth");
    const DepthImage& source = distanceSource();
    const Footprints footprints = footprintsOf(tile, source.width(), source.height());
    DepthImage result(footprints.columns.size(), footprints.rows.size());
    for (std::size_t y = 0; y < result.height(); ++y) {
        const auto [firstRow, endRow] = footprints.rows[y];
        const std::size_t sy = (firstRow + endRow - 1) / 2;
        for (std::size_t x = 0; x < result.width(); ++x) {
            // Distances are not averaged: across an edge that would invent surfaces in between.
            const auto [firstColumn, endColumn] = footprints.columns[x];
            const float distance = source.at((firstColumn + endColumn - 1) / 2, sy);
            result.at(x, y) = std::isfinite(distance) && distance > 0.0f ? distance : std::numeric_limits<float>::max();
        }
    }
    return result;
}

} // namespace Graphics
