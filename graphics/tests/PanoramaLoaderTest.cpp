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
std::size_t tileIndexOf(const std::array<float, 3>& d, ProjectionKind projection, std::size_t rows,
                        std::size_t columns)
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

TEST(PanoramaLoaderTest, LayoutQueriesAndTileIds)
{
    const auto panorama = loader(layout(ProjectionKind::Equirectangular, 2, 4));
    EXPECT_EQ(panorama.numColorLevels(), 3u);
    EXPECT_EQ(panorama.numDepthLevels(), 2u);
    EXPECT_EQ(panorama.tileRows(), 2u);
    EXPECT_EQ(panorama.tileColumns(), 4u);
    EXPECT_EQ(panorama.tileWidth(1), 128u);
    EXPECT_EQ(panorama.tileHeight(2), 128u);
    EXPECT_THROW(panorama.tileWidth(3), std::out_of_range);
    EXPECT_EQ(panorama.tilesPerLevel(), 8u);
    EXPECT_EQ(panorama.projectionKind(), ProjectionKind::Equirectangular);

    const auto colour = panorama.colorTiles();
    ASSERT_EQ(colour.size(), 24u);
    EXPECT_EQ(panorama.depthTiles().size(), 16u);
    EXPECT_EQ(panorama.level(colour[13]), 1u); // coarse levels first, 8 tiles each
    EXPECT_EQ(panorama.tileIndexWithinLevel(colour[13]), 5u);
    const auto id = PanoramaLoader::makeTileId(7, 41);
    EXPECT_EQ(panorama.level(id), 7u);
    EXPECT_EQ(panorama.tileIndexWithinLevel(id), 41u);

    EXPECT_EQ(loader(layout(ProjectionKind::CubeMap, 2, 4)).tilesPerLevel(), 48u);
}

TEST(PanoramaLoaderTest, LayoutsTheRendererCannotHoldAreRejected)
{
    const auto make = [](PanoramaLayout layout) { return loader(layout); };
    EXPECT_THROW(make(layout(ProjectionKind::Equirectangular, 0, 4)), std::invalid_argument);
    EXPECT_THROW(make(layout(ProjectionKind::Equirectangular, 7, 7)), std::invalid_argument); // 49 tiles
    EXPECT_THROW(make(layout(ProjectionKind::CubeMap, 3, 3)), std::invalid_argument);         // 54 tiles
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

TEST(PanoramaLoaderTest, TileDirectionsWorkedByHand)
{
    const auto expectDirection = [](const std::array<float, 3>& actual, float x, float y, float z) {
        EXPECT_NEAR(actual[0], x, 1e-6F);
        EXPECT_NEAR(actual[1], y, 1e-6F);
        EXPECT_NEAR(actual[2], z, 1e-6F);
    };
    // Two columns: centres at a quarter and three quarters of the turn that starts at azimuth 180.
    const auto halves = loader(layout(ProjectionKind::Equirectangular, 1, 2));
    expectDirection(halves.tileDirection(0), 0, 1, 0);
    expectDirection(halves.tileDirection(1), 0, -1, 0);
    const auto cube = loader(layout(ProjectionKind::CubeMap, 1, 1));
    expectDirection(cube.tileDirection(0), 1, 0, 0);
    expectDirection(cube.tileDirection(3), 0, -1, 0);
    expectDirection(cube.tileDirection(4), 0, 0, 1);
    expectDirection(cube.tileDirection(5), 0, 0, -1);
    EXPECT_THROW(cube.tileDirection(6), std::out_of_range);
}

TEST(PanoramaLoaderTest, GeneratedTilesHaveTheirLevelsSizeAndValues)
{
    auto panorama = loader(layout(ProjectionKind::Equirectangular, 2, 4));
    const auto colourTile = PanoramaLoader::makeTileId(2, 3);
    const Graphics::ColorImage colour = panorama.loadColorTile(colourTile);
    EXPECT_EQ(colour.width(), 256u);
    EXPECT_EQ(colour.height(), 128u);
    EXPECT_EQ(colour.at(255, 127), Math::Color::gray(3));
    const Graphics::DepthImage depth = panorama.loadDepthTile(PanoramaLoader::makeTileId(1, 7));
    EXPECT_EQ(depth.width(), 128u);
    EXPECT_EQ(depth.at(0, 0), 1.5F);
    EXPECT_EQ(panorama.colorTilesLoaded(), 1u);
    EXPECT_EQ(panorama.depthTilesLoaded(), 1u);

    EXPECT_THROW(panorama.loadDepthTile(PanoramaLoader::makeTileId(2, 0)), std::out_of_range); // two depth levels
    EXPECT_THROW(panorama.loadColorTile(PanoramaLoader::makeTileId(0, 8)), std::out_of_range);
    EXPECT_EQ(panorama.colorTilesLoaded(), 1u);
}

} // namespace
