#include <lumaro/measure/PickedPoints.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

TEST(PickedPointsTest, SegmentsWorkedByHand)
{
    struct Case {
        Eigen::Vector3d from;
        Eigen::Vector3d to;
        Measure::Segment expected;
    };
    const double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        // 3-4-5 in plan, 12 up: 13 along the ground's 5, 240 % (about 67.38 degrees).
        {{500000, 5200000, 100},
         {500003, 5200004, 112},
         {13.0, 5.0, 12.0, 240.0, std::atan2(12.0, 5.0) * 180.0 / std::numbers::pi}},
        // Down a 45 degree slope.
        {{1, 1, 10}, {2, 1, 9}, {std::sqrt(2.0), 1.0, -1.0, -100.0, -45.0}},
        // Straight up, and no step at all.
        {{0, 0, 0}, {0, 0, 2}, {2.0, 0.0, 2.0, inf, 90.0}},
        {{5, 5, 5}, {5, 5, 5}, {0.0, 0.0, 0.0, 0.0, 0.0}},
    };
    for (const Case& c : cases) {
        const Measure::Segment segment = Measure::measureSegment(c.from, c.to);
        EXPECT_NEAR(segment.distance, c.expected.distance, 1e-9);
        EXPECT_NEAR(segment.horizontal, c.expected.horizontal, 1e-9);
        EXPECT_NEAR(segment.heightDifference, c.expected.heightDifference, 1e-9);
        if (std::isinf(c.expected.slopePercent))
            EXPECT_EQ(segment.slopePercent, c.expected.slopePercent);
        else
            EXPECT_NEAR(segment.slopePercent, c.expected.slopePercent, 1e-9);
        EXPECT_NEAR(segment.slopeDegrees, c.expected.slopeDegrees, 1e-9);
    }
}

TEST(PickedPointsTest, AreasInPlanAndInSpace)
{
    // A 3 x 4 roof face whose 4 side climbs at cos a = 0.8, sin a = 0.6: 3.2 across in plan and
    // 2.4 up; 12 in space, 3 x 3.2 = 9.6 in plan, perimeter 14.
    const std::vector<Eigen::Vector3d> roof{{10, 20, 5}, {13, 20, 5}, {13, 23.2, 7.4}, {10, 23.2, 7.4}};
    const Measure::Area area = Measure::measureArea(roof);
    EXPECT_NEAR(area.spatial, 12.0, 1e-9);
    EXPECT_NEAR(area.horizontal, 9.6, 1e-9);
    EXPECT_NEAR(area.perimeter, 14.0, 1e-9);
    // A wall has no area in plan; two points none at all.
    const Measure::Area wall = Measure::measureArea({{0, 0, 0}, {2, 0, 0}, {2, 0, 3}, {0, 0, 3}});
    EXPECT_NEAR(wall.spatial, 6.0, 1e-12);
    EXPECT_NEAR(wall.horizontal, 0.0, 1e-12);
    const Measure::Area line = Measure::measureArea({{0, 0, 0}, {3, 4, 0}});
    EXPECT_EQ(line.spatial, 0.0);
    EXPECT_NEAR(line.perimeter, 10.0, 1e-12);
}

} // namespace
