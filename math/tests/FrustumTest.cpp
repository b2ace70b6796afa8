#include <lumaro/math/Frustum.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

namespace {

using Box = Math::NBoundingBox<float, 3>;
using Point3 = Math::Point<float, 3>;
using Math::BoxTestResult;

// A perspective with a 90 degree field of view (scale 1 in x and y), near 1 and far 11, depth 0..1:
// z_clip = F / (N - F) * z + N * F / (N - F), w_clip = -z.
Eigen::Matrix4f perspective(float nearZ, float farZ)
{
    Eigen::Matrix4f m = Eigen::Matrix4f::Zero();
    m(0, 0) = 1;
    m(1, 1) = 1;
    m(2, 2) = farZ / (nearZ - farZ);
    m(2, 3) = nearZ * farZ / (nearZ - farZ);
    m(3, 2) = -1;
    return m;
}

TEST(FrustumTest, PerspectiveVolumeLooksDownNegativeZ)
{
    const Math::Frustum<float> frustum(perspective(1, 11));
    EXPECT_TRUE(frustum.contains(Point3(0, 0, -5)));
    EXPECT_TRUE(frustum.contains(Point3(4.9f, -4.9f, -5))); // inside the 45 degree sides
    EXPECT_FALSE(frustum.contains(Point3(5.1f, 0, -5)));
    EXPECT_FALSE(frustum.contains(Point3(0, 0, 5))); // behind the camera
    EXPECT_FALSE(frustum.contains(Point3(0, 0, -0.9f))); // before the near plane
    EXPECT_FALSE(frustum.contains(Point3(0, 0, -11.1f))); // beyond the far plane

    // Normalized planes give true distances: the near plane z = -1 faces -z.
    EXPECT_NEAR(frustum.side(Math::Frustum<float>::Near).plane().signedDistance(Point3(0, 0, -3)), 2.0f, 1e-5f);
    EXPECT_NEAR(frustum.side(Math::Frustum<float>::Far).plane().signedDistance(Point3(0, 0, -3)), 8.0f, 1e-4f);
}

TEST(FrustumTest, ReversedDepthGivesTheSameVolume)
{
    const Math::Frustum<float> reversed(perspective(11, 1));
    EXPECT_TRUE(reversed.contains(Point3(0, 0, -5)));
    EXPECT_FALSE(reversed.contains(Point3(0, 0, -0.9f)));
    EXPECT_FALSE(reversed.contains(Point3(0, 0, -11.1f)));
}

TEST(FrustumTest, BoxTests)
{
    const Math::Frustum<float> frustum(perspective(1, 11));
    EXPECT_EQ(frustum.testBox(Box(Point3(-1, -1, -6), Point3(1, 1, -4))), BoxTestResult::Inside);
    EXPECT_EQ(frustum.testBox(Box(Point3(-1, -1, -12), Point3(1, 1, -4))), BoxTestResult::Intersecting);
    EXPECT_EQ(frustum.testBox(Box(Point3(-1, -1, 1), Point3(1, 1, 3))), BoxTestResult::Outside);
    EXPECT_EQ(frustum.testBox(Box(Point3(6, -1, -5), Point3(7, 1, -4))), BoxTestResult::Outside);
}

TEST(FrustumTest, ModelViewProjectionGivesPlanesInModelCoordinates)
{
    // A model moved by -100 along z sits at view z = -105 for model z = -5.
    const Eigen::Affine3f model(Eigen::Translation3f(0, 0, -100));
    const Math::Frustum<float> frustum(perspective(1, 11) * model.matrix());
    EXPECT_TRUE(frustum.contains(Point3(0, 0, 95)));
    EXPECT_FALSE(frustum.contains(Point3(0, 0, -5)));
}

} // namespace
