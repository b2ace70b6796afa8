// The plane fits and the geometry of picks, on points made here.
#include "core/PlaneFit.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Point = Math::Point<float, 3>;

// Points of the plane z = 0.5 x + 2 over a 20 x 20 grid, plus outliers well above it.
Render::PickedPoints tiltedPatch(int outliers)
{
    Render::PickedPoints points;
    for (int i = 0; i < 20; ++i)
        for (int j = 0; j < 20; ++j)
            points.emplace_back(0.1f * i, 0.1f * j, 0.05f * i + 2.0f);
    std::mt19937 random(3);
    std::uniform_real_distribution<float> spread(0.0f, 2.0f);
    for (int k = 0; k < outliers; ++k)
        points.emplace_back(spread(random), spread(random), 5.0f + spread(random));
    return points;
}

TEST(PlaneFit, TheRobustFitIgnoresOutliersAndTheRefitIsExact)
{
    const Render::PickedPoints points = tiltedPatch(150);
    const auto robust = Render::fitPlaneRobustly(points, 0.01);
    ASSERT_TRUE(robust);
    EXPECT_EQ(robust->inliers.size(), 400u);
    const auto refit = Render::fitPlaneLeastSquares(robust->inliers);
    ASSERT_TRUE(refit);
    const Eigen::Vector3f expected = Eigen::Vector3f(-0.5f, 0.0f, 1.0f).normalized();
    EXPECT_NEAR(std::abs(refit->normal().dot(expected)), 1.0f, 1e-5f);
    EXPECT_NEAR(refit->signedDistance(Point(1.0f, 1.0f, 2.5f)), 0.0f, 1e-5f);
    // The same points give the same plane every time.
    EXPECT_EQ(Render::fitPlaneRobustly(points, 0.01)->plane, robust->plane);

    // Ten thousand times smaller (a patch of a store in degrees), it fits alike.
    Render::PickedPoints small;
    for (const Point& point : points)
        small.emplace_back(point * 1e-4f);
    const auto tiny = Render::fitPlaneRobustly(small, 1e-6);
    ASSERT_TRUE(tiny);
    EXPECT_EQ(tiny->inliers.size(), 400u);

    EXPECT_FALSE(Render::fitPlaneRobustly({Point(0, 0, 0), Point(1, 0, 0)}, 1.0));
    EXPECT_FALSE(Render::fitPlaneRobustly({Point(0, 0, 0), Point(1, 0, 0), Point(2, 0, 0)}, 1.0)) << "collinear";
    EXPECT_FALSE(Render::fitPlaneLeastSquares({Point(0, 0, 0), Point(1, 0, 0)}));
}

TEST(PlaneFit, TheViewRayMeetsThePlaneInFrontLiesInItOrMissesIt)
{
    const Math::NPlane<float, 3> floor(0.0f, 0.0f, 1.0f, 0.0f);
    const Point eye(1.0f, 2.0f, 4.0f);
    EXPECT_EQ(Render::rayPlaneIntersection(eye, Eigen::Vector3f(1.0f, 0.0f, -2.0f), floor), Point(3.0f, 2.0f, 0.0f));
    EXPECT_FALSE(Render::rayPlaneIntersection(eye, Eigen::Vector3f(0.0f, 0.0f, 1.0f), floor)) << "behind the eye";
    EXPECT_FALSE(Render::rayPlaneIntersection(eye, Eigen::Vector3f(1.0f, 0.0f, 0.0f), floor)) << "parallel, beside";
    EXPECT_EQ(Render::rayPlaneIntersection(Point(1.0f, 2.0f, 0.0f), Eigen::Vector3f(1.0f, 0.0f, 0.0f), floor),
              Point(1.0f, 2.0f, 0.0f));
}

} // namespace
