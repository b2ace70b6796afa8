// The viewer's camera moves as a person expects: worked out from where the eye and the pivot
// must end up, not from the navigator's formulas.
#include "OrbitNavigator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using Tool::OrbitNavigator;
using Point = Math::Point<float, 3>;

constexpr float HEIGHT = 600.0f;

OrbitNavigator framedUnitCube()
{
    OrbitNavigator navigator;
    navigator.frame(Math::NBoundingBox<float, 3>(Point(-1.0f, -1.0f, -1.0f), Point(1.0f, 1.0f, 1.0f)));
    return navigator;
}

// The direction from the eye to a point, to see whether it stays under the cursor.
Eigen::Vector3f sight(const OrbitNavigator& navigator, const Point& point)
{
    return (point - navigator.eye()).normalized();
}

TEST(OrbitNavigator, FramingPutsTheBoxInViewFromAbove)
{
    const OrbitNavigator navigator = framedUnitCube();
    EXPECT_TRUE(navigator.pivot().isApprox(Point(0.0f, 0.0f, 0.0f)));
    // The bounding sphere (radius sqrt 3) just fills a 60 degree view: distance sqrt 3 / sin 30.
    EXPECT_NEAR((navigator.eye() - navigator.pivot()).norm(), 2.0f * std::sqrt(3.0f), 1e-4f);
    EXPECT_GT(navigator.eye().z(), 0.0f);
}

TEST(OrbitNavigator, OrbitsKeepTheDistanceAndTurnByHalfACirclePerWindowHeight)
{
    OrbitNavigator navigator = framedUnitCube();
    const Point before = navigator.eye();
    navigator.orbit(HEIGHT, 0.0f, HEIGHT);
    // Half a circle about the z axis through the pivot: x and y change sign, z stays.
    EXPECT_NEAR(navigator.eye().x(), -before.x(), 1e-4f);
    EXPECT_NEAR(navigator.eye().y(), -before.y(), 1e-4f);
    EXPECT_NEAR(navigator.eye().z(), before.z(), 1e-4f);

    // A small drag to the right turns the scene with the mouse, as a turntable does: the eye goes
    // round to its own left.
    const Eigen::Vector3f right = (navigator.pivot() - navigator.eye()).normalized().cross(Eigen::Vector3f::UnitZ());
    const Point start = navigator.eye();
    navigator.orbit(10.0f, 0.0f, HEIGHT);
    EXPECT_LT((navigator.eye() - start).dot(right), 0.0f);

    // Dragging far down stops short of looking straight down.
    navigator.orbit(0.0f, 10.0f * HEIGHT, HEIGHT);
    const Eigen::Vector3f offset = navigator.eye() - navigator.pivot();
    EXPECT_NEAR(offset.norm(), 2.0f * std::sqrt(3.0f), 1e-4f);
    EXPECT_NEAR(std::asin(offset.z() / offset.norm()) * 180.0f / std::numbers::pi_v<float>,
                OrbitNavigator::MAX_PITCH_DEGREES, 1e-2f);
}

TEST(OrbitNavigator, ANewPivotKeepsTheEyeAndOrbitsTurnAroundIt)
{
    OrbitNavigator navigator = framedUnitCube();
    const Point eye = navigator.eye();
    const Point pivot(1.0f, 1.0f, 0.0f);
    navigator.setPivot(pivot);
    EXPECT_TRUE(navigator.eye().isApprox(eye));
    navigator.orbit(37.0f, -12.0f, HEIGHT);
    EXPECT_NEAR((navigator.eye() - pivot).norm(), (eye - pivot).norm(), 1e-4f);
    EXPECT_TRUE(navigator.pivot().isApprox(pivot));
}

TEST(OrbitNavigator, ZoomingTowardAPointKeepsItUnderTheCursor)
{
    for (const float factor : {0.2f, -0.25f}) {
        OrbitNavigator navigator = framedUnitCube();
        const Point target(0.5f, -0.25f, 0.75f);
        const Eigen::Vector3f before = sight(navigator, target);
        const float distance = (target - navigator.eye()).norm();
        navigator.zoomToward(target, factor);
        EXPECT_TRUE(sight(navigator, target).isApprox(before, 1e-5f)) << factor;
        EXPECT_NEAR((target - navigator.eye()).norm(), (1.0f - factor) * distance, 1e-4f) << factor;
    }
}

TEST(OrbitNavigator, PanningMovesTheSceneWithTheMouseAtThePivotsDepth)
{
    OrbitNavigator navigator = framedUnitCube();
    const Point eye = navigator.eye();
    const Point pivot = navigator.pivot();
    navigator.pan(HEIGHT / 2.0f, 0.0f, HEIGHT);
    const Eigen::Vector3f shift = navigator.eye() - eye;
    EXPECT_TRUE((navigator.pivot() - pivot).isApprox(shift));
    // Half the window's height at the pivot's depth is tan 30 times the distance; dragging right
    // moves the eye left, across the view and level.
    EXPECT_NEAR(shift.norm(), std::tan(std::numbers::pi_v<float> / 6.0f) * (pivot - eye).norm(), 1e-4f);
    EXPECT_NEAR(shift.dot((pivot - eye).normalized()), 0.0f, 1e-4f);
    EXPECT_NEAR(shift.z(), 0.0f, 1e-4f);
    EXPECT_LT(shift.cross(pivot - eye).z(), 0.0f);
}

} // namespace
