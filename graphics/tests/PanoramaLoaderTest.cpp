#include <lumaro/graphics/GeneratedPanoramaLoader.h>

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

using Graphics::PanoramaLayout;
using Graphics::PanoramaLoader;
using Graphics::ProjectionKind;

PanoramaLayout layout(ProjectionKind projection, std::size_t rows, std::size_t columns)
{
    return {projection, rows, columns, {{64, 32}, {128, 64}, {256, 128}}, 3, 2};
}

Graphics::GeneratedPanoramaLoader loader(const PanoramaLayout& layout)
{
    return {layout, [](PanoramaLoader::TileId tile) { return Math::Color::gray(static_cast<std::uint8_t>(tile)); },
            [](PanoramaLoader::TileId tile) { return static_cast<float>(tile >> 32) + 0.5F; }};
}

// The renderer's lookup from a direction to a linear tile index, written out from its formulas.
std::size_t tileIndexOf(const std::array<float, 3>& d, ProjectionKind projection, std::size_t rows, std::size_t columns)
{
    const double pi = 3.14159265;
    double u = 0;
    double v = 0;
    std::size_t face = 0;
    if (projection == ProjectionKind::Equirectangular) {
        u = 0.5 - std::atan2(d[1], d[0]) / (2 * pi);
        v = 0.5 - std::asin(d[2]) / pi;
    } else {
        const double ax = std::abs(d[0]);
        const double ay = std::abs(d[1]);
        const double az = std::abs(d[2]);
        if (ax >= ay && ax >= az) {
            face = d[0] > 0 ? 0 : 1;
            u = 0.5 * d[1] * (d[0] > 0 ? -1 : 1) / ax + 0.5;
            v = 0.5 * -d[2] / ax + 0.5;
        } else if (ay > az) {
            face = d[1] > 0 ? 2 : 3;
            u = 0.5 * d[0] * (d[1] > 0 ? 1 : -1) / ay + 0.5;
            v = 0.5 * -d[2] / ay + 0.5;
        } else {
            face = d[2] > 0 ? 4 : 5;
            u = 0.5 * -d[1] / az + 0.5;
            v = 0.5 * d[0] * (d[2] > 0 ? 1 : -1) / az + 0.5;
        }
    }
    const auto column = static_cast<std::size_t>(u * static_cast<double>(columns));
    const auto row = static_cast<std::size_t>(v * static_cast<double>(rows));
    return face * rows * columns + row * columns + column;
}

TEST(PanoramaLoaderTest, LayoutsTheRendererCannotHoldAreRejected)
{
    const auto make = [](PanoramaLayout layout) { return loader(layout); };
    EXPECT_THROW(make(layout(ProjectionKind::Equirectangular, 0, 4)), std::invalid_argument);
    EXPECT_THROW(make(layout(ProjectionKind::Equirectangular, 7, 7)), std::invalid_argument); // 49 tiles
    EXPECT_THROW(make(layout(ProjectionKind::CubeMap, 3, 3)), std::invalid_argument); // 54 tiles
    auto tooManyLevels = layout(ProjectionKind::Equirectangular, 1, 1);
    tooManyLevels.colorLevels = 4;
    EXPECT_THROW(make(tooManyLevels), std::invalid_argument);
    auto emptyTile = layout(ProjectionKind::Equirectangular, 1, 1);
    emptyTile.levels[1].height = 0;
    EXPECT_THROW(make(emptyTile), std::invalid_argument);
    EXPECT_THROW(Graphics::GeneratedPanoramaLoader(layout(ProjectionKind::Equirectangular, 1, 1), nullptr, nullptr),
                 std::invalid_argument);
}

TEST(PanoramaLoaderTest, TileDirectionsPointIntoTheirOwnTiles)
{
    for (const auto projection : {ProjectionKind::Equirectangular, ProjectionKind::CubeMap})
        for (const auto& [rows, columns] : {std::pair<std::size_t, std::size_t>{1, 1}, {2, 4}, {1, 2}, {2, 2}}) {
            const auto panorama = loader(layout(projection, rows, columns));
            for (std::size_t index = 0; index < panorama.tilesPerLevel(); ++index) {
                const auto direction = panorama.tileDirection(PanoramaLoader::makeTileId(1, index));
                EXPECT_NEAR(std::hypot(direction[0], direction[1], direction[2]), 1.0, 1e-6);
                EXPECT_EQ(tileIndexOf(direction, projection, rows, columns), index)
                    << "projection " << int(projection) << ", " << rows << " x " << columns;
            }
        }
}

} // namespace
