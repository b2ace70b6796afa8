// Volumes of surfaces whose volume a formula gives: a cone and a box on flat or tilted ground,
// sampled every 0.05 by a synthetic store, against each kind of base.
#include "MeasureStores.h"

#include <lumaro/measure/Volume.h>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

using Measure::VolumeBase;
using V2 = Math::Point<double, 2>;
constexpr double pi = std::numbers::pi;

// A cone of radius 3 and height 2 around (8, 8): pi r^2 h / 3.
double cone(double x, double y)
{
    return std::max(0.0, 2.0 * (1.0 - std::hypot(x - 8.0, y - 8.0) / 3.0));
}
const double coneVolume = pi * 9.0 * 2.0 / 3.0;

// A box of 4 x 2 x 1.5 on x 3..7, y 11.5..13.5, away from the cone: its sides fall between the
// samples and on cell edges.
double box(double x, double y)
{
    return x > 3.0 && x < 7.0 && y > 11.5 && y < 13.5 ? 1.5 : 0.0;
}

double flat(double, double)
{
    return 4.0;
}
double tilted(double x, double y)
{
    return 4.0 + 0.1 * x + 0.05 * y;
}

const Math::Polygon square({V2(2, 2), V2(14, 2), V2(14, 14), V2(2, 14)});

// Around (8, 8) with corners 5 away: area 3 sqrt(3) / 2 x 25; the cone fits inside, the box not.
Math::Polygon hexagon()
{
    std::vector<V2> vertices;
    for (int k = 0; k < 6; ++k)
        vertices.emplace_back(8.0 + 5.0 * std::cos(k * pi / 3.0), 8.0 + 5.0 * std::sin(k * pi / 3.0));
    return Math::Polygon(vertices);
}
const double hexagonArea = 1.5 * std::sqrt(3.0) * 25.0;

Measure::Volume measure(double (*ground)(double, double), bool withBox, const Math::Polygon& polygon, VolumeBase base)
{
    TestSupport::TemporaryFolder folder;
    MeasureTest::writeSurface(
        folder.path(), [&](double x, double y) { return ground(x, y) + cone(x, y) + (withBox ? box(x, y) : 0.0); });
    return Measure::measureVolume({MeasureTest::openStore(folder.path())}, Measure::VolumeOptions{polygon, 0.25, base});
}

void expectVolume(const Measure::Volume& volume, double area, double above, double below)
{
    EXPECT_NEAR(volume.area, area, 1e-12 * area);
    EXPECT_NEAR(volume.above, above, 0.01 * above);
    EXPECT_NEAR(volume.below, below, 0.01 * std::max(below, 1.0));
}

// The cone above z = 5 on ground at 4 is a cone of radius 1.5 and height 1.
const double coneTop = pi * 2.25 * 1.0 / 3.0;

struct SquareCase {
    const char* name;
    double (*ground)(double, double);
    VolumeBase base;
    double above;
    double below;
};

void PrintTo(const SquareCase& c, std::ostream* out)
{
    *out << c.name;
}

class VolumeInTheSquare : public ::testing::TestWithParam<SquareCase> {};

TEST_P(VolumeInTheSquare, MatchesTheFormulaWithinOnePercentAndTheAreaExactly)
{
    const SquareCase& c = GetParam();
    const Measure::Volume volume = measure(c.ground, true, square, c.base);
    expectVolume(volume, 144.0, c.above, c.below);
    // 240 x 240 samples in the square, on 48 x 48 cells.
    EXPECT_EQ(volume.points, 240u * 240u);
    EXPECT_EQ(volume.cells, 48u * 48u);
    EXPECT_EQ(volume.filledCells, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Bases, VolumeInTheSquare,
    ::testing::Values(
        SquareCase{"FlatGroundAboveTheLowestPoint", flat, {VolumeBase::Kind::Lowest}, coneVolume + 12.0, 0.0},
        SquareCase{
            "FlatGroundAboveAHeightUnderIt", flat, {VolumeBase::Kind::Height, 3.0}, 144.0 + coneVolume + 12.0, 0.0},
        // Above 5: the cone's top and the box's upper third; below: the ground
        // beside the box, less the cone's lower part.
        SquareCase{"FlatGroundAroundAHeightThroughTheShapes",
                   flat,
                   {VolumeBase::Kind::Height, 5.0},
                   coneTop + 4.0,
                   136.0 - (coneVolume - coneTop)},
        SquareCase{"TiltedGroundAboveAFittedPlane", tilted, {VolumeBase::Kind::Fit}, coneVolume + 12.0, 0.0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(VolumeTest, AConeInAHexagonAboveEachKindOfBase)
{
    expectVolume(measure(flat, false, hexagon(), {VolumeBase::Kind::Fit}), hexagonArea, coneVolume, 0.0);
    expectVolume(measure(flat, false, hexagon(), {VolumeBase::Kind::Height, 4.0}), hexagonArea, coneVolume, 0.0);
    // On tilted ground the lowest sample inside sits near the corner (3, 8); the ground rises
    // above it by its height at the centroid (8, 8) on average.
    double lowest = INFINITY;
    const auto inside = [](double x, double y) {
        // Within the hexagon: |y - 8| <= 5 sin 60 and the four slanted sides.
        const double h = 5.0 * std::sqrt(3.0) / 2.0;
        return std::abs(y - 8.0) <= h && std::sqrt(3.0) * std::abs(x - 8.0) + std::abs(y - 8.0) <= 2.0 * h;
    };
    for (int i = 0; i < 320; ++i)
        for (int j = 0; j < 320; ++j) {
            const double x = 0.025 + 0.05 * i;
            const double y = 0.025 + 0.05 * j;
            if (inside(x, y))
                lowest = std::min(lowest, std::round(tilted(x, y) * 1000.0) / 1000.0);
        }
    const Measure::Volume volume = measure(tilted, false, hexagon(), {VolumeBase::Kind::Lowest});
    EXPECT_DOUBLE_EQ(volume.baseHeight, lowest);
    expectVolume(volume, hexagonArea, coneVolume + hexagonArea * (tilted(8.0, 8.0) - lowest), 0.0);
}

TEST(VolumeTest, AFittedBaseFollowsTheTiltedGround)
{
    const Measure::Volume volume = measure(tilted, false, square, {VolumeBase::Kind::Fit});
    EXPECT_NEAR(volume.baseHeight, tilted(8.0, 8.0), 1e-3);
    EXPECT_NEAR(volume.baseSlope.x(), 0.1, 1e-4);
    EXPECT_NEAR(volume.baseSlope.y(), 0.05, 1e-4);
    // The samples within a cell (0.25) of the square's edge, inside and outside it.
    std::uint64_t band = 0;
    for (int i = 0; i < 320; ++i)
        for (int j = 0; j < 320; ++j) {
            const double x = 0.025 + 0.05 * i;
            const double y = 0.025 + 0.05 * j;
            const double dx = std::max({2.0 - x, 0.0, x - 14.0});
            const double dy = std::max({2.0 - y, 0.0, y - 14.0});
            const double distance =
                dx > 0.0 || dy > 0.0 ? std::hypot(dx, dy) : std::min({x - 2.0, 14.0 - x, y - 2.0, 14.0 - y});
            band += distance <= 0.25 ? 1 : 0;
        }
    EXPECT_EQ(volume.basePoints, band);
}

TEST(VolumeTest, EmptyCellsTakeTheirNeighboursHeights)
{
    TestSupport::TemporaryFolder folder;
    // No samples in x 3..4, y 3..4 on flat ground: 16 cells of 0.25, 400 samples.
    MeasureTest::writeSurface(folder.path(), flat,
                              [](double x, double y) { return !(x > 3 && x < 4 && y > 3 && y < 4); });
    const Measure::Volume volume = Measure::measureVolume(
        {MeasureTest::openStore(folder.path())}, Measure::VolumeOptions{square, 0.25, {VolumeBase::Kind::Height, 1.0}});
    EXPECT_EQ(volume.filledCells, 16u);
    EXPECT_EQ(volume.cells, 48u * 48u - 16u);
    EXPECT_EQ(volume.points, 240u * 240u - 400u);
    EXPECT_NEAR(volume.above, 144.0 * 3.0, 1e-7);
}

TEST(VolumeTest, RefusesWhatCannotBeMeasured)
{
    TestSupport::TemporaryFolder folder;
    MeasureTest::writeSurface(folder.path(), flat,
                              [](double x, double y) { return !(x > 3 && x < 4 && y > 3 && y < 4); });
    TestSupport::TemporaryFolder lineFolder;
    MeasureTest::writeSurface(lineFolder.path(), tilted, [](double, double y) { return std::abs(y - 8.025) < 0.01; });
    const Measure::Stores stores{MeasureTest::openStore(folder.path())};
    const Measure::Stores line{MeasureTest::openStore(lineFolder.path())};
    const Math::Polygon inHole({V2(3.1, 3.1), V2(3.9, 3.1), V2(3.9, 3.9), V2(3.1, 3.9)});
    const Math::Polygon beyond({V2(30, 30), V2(40, 30), V2(40, 40)});
    struct Case {
        const Measure::Stores& stores;
        Measure::VolumeOptions options;
        std::string named;
    };
    const Case cases[] = {
        {stores, {square, 0.0, {}}, "cell size must be a number above 0"},
        {stores, {square, -1.0, {}}, "cell size must be a number above 0"},
        {stores, {square, 0.001, {}}, "choose a larger cell"},
        {stores, {beyond, 0.25, {}}, "outside the stores"},
        {stores, {square, 0.25, {VolumeBase::Kind::Height, INFINITY}}, "base height"},
        {stores, {inHole, 0.1, {}}, "no point lies inside the polygon"},
        {line, {square, 0.25, {VolumeBase::Kind::Fit}}, "do not fix a base plane"},
    };
    for (const Case& c : cases) {
        try {
            Measure::measureVolume(c.stores, c.options);
            ADD_FAILURE() << "accepted: " << c.named;
        } catch (const std::exception& error) {
            EXPECT_NE(std::string(error.what()).find(c.named), std::string::npos) << error.what();
        }
    }
}

} // namespace
