#include <lumaro/math/ConvexPolytope.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

namespace {

using Box = Math::NBoundingBox<float, 3>;
using HalfSpace = Math::HalfSpace<float, 3>;
using Point3 = Math::Point<float, 3>;
using Math::BoxTestResult;

// The slab 0 <= x <= 1, as two half-spaces facing each other.
Math::ConvexPolytope<float, 3> slab()
{
    return Math::ConvexPolytope<float, 3>(
        {HalfSpace(Eigen::Vector3f(1, 0, 0), 0), HalfSpace(Eigen::Vector3f(-1, 0, 0), 1)});
}

TEST(HalfSpaceTest, ContainsTheSideTheNormalPointsToIncludingTheBoundary)
{
    const HalfSpace above(Eigen::Vector3f(0, 0, 1), -1); // z >= 1
    EXPECT_TRUE(above.contains(Point3(0, 0, 2)));
    EXPECT_TRUE(above.contains(Point3(5, 5, 1)));
    EXPECT_FALSE(above.contains(Point3(0, 0, 0.5)));
}

TEST(HalfSpaceTest, BoxTestUsesTheExtremeCorners)
{
    // x + y >= 1
    const HalfSpace diagonal(Eigen::Vector3f(1, 1, 0), -1);
    EXPECT_EQ(diagonal.testBox(Box(Point3(1, 1, 0), Point3(2, 2, 1))), BoxTestResult::Inside);
    EXPECT_EQ(diagonal.testBox(Box(Point3(0, 0, 0), Point3(0.4f, 0.4f, 1))), BoxTestResult::Outside);
    EXPECT_EQ(diagonal.testBox(Box(Point3(0, 0, 0), Point3(1, 1, 1))), BoxTestResult::Intersecting);
    // A box touching the boundary from inside is inside; from outside it intersects.
    EXPECT_EQ(diagonal.testBox(Box(Point3(0.5f, 0.5f, 0), Point3(1, 1, 0))), BoxTestResult::Inside);
    EXPECT_EQ(diagonal.testBox(Box(Point3(0, 0, 0), Point3(0.5f, 0.5f, 0))), BoxTestResult::Intersecting);
    EXPECT_EQ(diagonal.testBox(Box()), BoxTestResult::Outside);
}

TEST(ConvexPolytopeTest, BoxAgainstASlab)
{
    const auto volume = slab();
    EXPECT_EQ(volume.size(), 2u);
    EXPECT_TRUE(volume.contains(Point3(0.5f, 100, -100)));
    EXPECT_FALSE(volume.contains(Point3(1.5f, 0, 0)));
    EXPECT_EQ(volume.testBox(Box(Point3(0.2f, -5, -5), Point3(0.8f, 5, 5))), BoxTestResult::Inside);
    EXPECT_EQ(volume.testBox(Box(Point3(0.5f, 0, 0), Point3(3, 1, 1))), BoxTestResult::Intersecting);
    EXPECT_EQ(volume.testBox(Box(Point3(-3, 0, 0), Point3(3, 1, 1))), BoxTestResult::Intersecting);
    EXPECT_EQ(volume.testBox(Box(Point3(1.1f, 0, 0), Point3(3, 1, 1))), BoxTestResult::Outside);
    EXPECT_EQ(volume.testBox(Box(Point3(-3, 0, 0), Point3(-0.1f, 1, 1))), BoxTestResult::Outside);
}

TEST(ConvexPolytopeTest, TransformedMovesTheVolumeWithItsPoints)
{
    // Shifted by 10 along x the slab becomes 10 <= x <= 11.
    const Eigen::Affine3f shift(Eigen::Translation3f(10, 0, 0));
    const auto moved = slab().transformed(shift.matrix());
    EXPECT_TRUE(moved.contains(Point3(10.5f, 0, 0)));
    EXPECT_FALSE(moved.contains(Point3(0.5f, 0, 0)));
    EXPECT_EQ(moved.testBox(Box(Point3(10.25f, 0, 0), Point3(10.75f, 1, 1))), BoxTestResult::Inside);
    EXPECT_NE(moved, slab());
    EXPECT_EQ(slab(), slab());
}

} // namespace
