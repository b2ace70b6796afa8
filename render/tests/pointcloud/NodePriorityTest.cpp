#include <lumaro/render/pointcloud/NodePriority.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using Render::NodePriority;

const float sqrt2 = std::sqrt(2.0f);
const float sqrt3 = std::sqrt(3.0f);
const float rightAngle = std::numbers::pi_v<float> / 2.0f; // tan(fov / 2) = 1
const Render::Viewport viewport(640, 480);

Math::NBoundingBox<float, 3> box(float minX, float minY, float minZ, float maxX, float maxY, float maxZ)
{
    return {Math::Point<float, 3>(minX, minY, minZ), Math::Point<float, 3>(maxX, maxY, maxZ)};
}

// A frustum whose planes are all zero bounds nothing: every box passes.
const Math::Frustum<float> everywhere(Eigen::Matrix4f::Zero());

// A priority of the given size and distance, made through the perspective formula: the cube
// [-1, 1]^3 seen from (0, 0, distance) with a 90 degree field of view over 480 pixels is
// 240 / distance * sqrt(3) * scale pixels large.
NodePriority priority(float size, float distance)
{
    const float scale = size * distance / (240.0f * sqrt3);
    return NodePriority::perspective(box(-1, -1, -1, 1, 1, 1), everywhere, {}, {0.0f, 0.0f, distance}, scale, viewport,
                                     rightAngle, 0.0f);
}

TEST(NodePriority, SizesWithinTheToleranceAreOrderedByDistanceAlone)
{
    const NodePriority near = priority(10.0f, 5.0f);
    const NodePriority far = priority(10.05f, 7.0f);
    ASSERT_NEAR(near.priority(), 10.0f, 1e-4f);
    ASSERT_NEAR(far.priority(), 10.05f, 1e-4f);

    EXPECT_TRUE(far < near);
    EXPECT_FALSE(near < far);
    EXPECT_TRUE(near > far);
    EXPECT_FALSE(far > near);
    EXPECT_TRUE(far <= near);
    EXPECT_FALSE(near <= far);
    EXPECT_TRUE(near >= far);
    EXPECT_FALSE(far >= near);
    EXPECT_FALSE(near == far);
    EXPECT_TRUE(near != far);

    // Equal needs exactly the same distance as well.
    const NodePriority sameDistance = priority(10.08f, 5.0f);
    EXPECT_TRUE(near == sameDistance);
    EXPECT_FALSE(near < sameDistance);
    EXPECT_FALSE(near > sameDistance);
    EXPECT_TRUE(near <= sameDistance);
    EXPECT_TRUE(near >= sameDistance);
}

TEST(NodePriority, SizesBeyondTheToleranceWinWhateverTheDistance)
{
    const NodePriority small = priority(10.0f, 1.0f);
    const NodePriority large = priority(10.2f, 1000.0f);
    EXPECT_TRUE(small < large);
    EXPECT_TRUE(large > small);
    EXPECT_TRUE(small <= large);
    EXPECT_TRUE(large >= small);
    EXPECT_FALSE(large < small);
    EXPECT_FALSE(small > large);
    EXPECT_FALSE(large <= small);
    EXPECT_FALSE(small >= large);
    EXPECT_TRUE(small != large);
}

TEST(NodePriority, SumAddsSizesAndKeepsTheNearerDistance)
{
    const NodePriority a = priority(3.0f, 9.0f);
    const NodePriority b = priority(4.0f, 2.0f);
    const NodePriority sum = a + b;
    EXPECT_NEAR(sum.priority(), 7.0f, 1e-4f);
    EXPECT_EQ(sum.distanceToEye(), 2.0f);
    NodePriority accumulated = b;
    accumulated += a;
    EXPECT_EQ(accumulated, sum);
}

TEST(NodePriority, PerspectiveIsTheScreenSizeOfTheBoundingSphere)
{
    // Centre (1, 1, 1), radius sqrt(3), 10 away: 240 / (tan(45 deg) * 10) * sqrt(3) * 2.
    const Math::Frustum<float> clipBox; // the clip box of the identity: [-1, 1] x [-1, 1] x [0, 1]
    const NodePriority result = NodePriority::perspective(box(0, 0, 0, 2, 2, 2), clipBox, {}, {1.0f, 1.0f, 11.0f}, 2.0f,
                                                          viewport, rightAngle, 15.0f);
    EXPECT_NEAR(result.priority(), 48.0f * sqrt3, 1e-3f);
    EXPECT_EQ(result.distanceToEye(), 10.0f);

    // A box empty along z has no extent there: radius sqrt(2), centre (1, 1, 0.25).
    const NodePriority flat = NodePriority::perspective(box(0, 0, 0.5f, 2, 2, 0), clipBox, {}, {1.0f, 1.0f, 10.25f},
                                                        1.0f, viewport, rightAngle, 0.0f);
    EXPECT_NEAR(flat.priority(), 24.0f * sqrt2, 1e-3f);
    EXPECT_EQ(flat.distanceToEye(), 10.0f);
}

TEST(NodePriority, PerspectiveDiscardsHiddenAndSmallNodes)
{
    const Math::Frustum<float> clipBox;
    const Math::Point<float, 3> eye(1.0f, 1.0f, 11.0f);
    // Beyond x = 1, outside the frustum.
    EXPECT_TRUE(NodePriority::perspective(box(5, 0, 0, 6, 1, 1), clipBox, {}, eye, 2.0f, viewport, rightAngle, 0.0f)
                    .isDiscarded());
    // Wholly on the outer side of the clipping plane x = 3, and partly inside x = 1.5.
    const Math::ConvexPolytope<float, 3> beyondThree({Math::HalfSpace<float, 3>(Eigen::Vector3f(1, 0, 0), -3.0f)});
    const Math::ConvexPolytope<float, 3> beyondOneAndAHalf(
        {Math::HalfSpace<float, 3>(Eigen::Vector3f(1, 0, 0), -1.5f)});
    EXPECT_TRUE(
        NodePriority::perspective(box(0, 0, 0, 2, 2, 2), clipBox, beyondThree, eye, 2.0f, viewport, rightAngle, 0.0f)
            .isDiscarded());
    EXPECT_FALSE(NodePriority::perspective(box(0, 0, 0, 2, 2, 2), clipBox, beyondOneAndAHalf, eye, 2.0f, viewport,
                                           rightAngle, 0.0f)
                     .isDiscarded());
    // Size 83.14 pixels: below a threshold of 84, above one of 83.
    EXPECT_EQ(NodePriority::perspective(box(0, 0, 0, 2, 2, 2), clipBox, {}, eye, 2.0f, viewport, rightAngle, 84.0f),
              NodePriority::discard());
    EXPECT_FALSE(NodePriority::perspective(box(0, 0, 0, 2, 2, 2), clipBox, {}, eye, 2.0f, viewport, rightAngle, 83.0f)
                     .isDiscarded());
}

TEST(NodePriority, OrthographicIsThePixelLengthOfTheProjectedRadius)
{
    // x is scaled by 0.1 into clip space; the radius sqrt(3) times scale 2 becomes
    // 0.2 sqrt(3) in clip units, times 640 / 2 pixels per unit.
    Eigen::Matrix4f projection = Eigen::Matrix4f::Identity();
    projection(0, 0) = 0.1f;
    projection(1, 1) = 0.2f;
    const Math::Frustum<float> clipBox;
    const Math::Point<float, 3> eye(1.0f, 1.0f, 11.0f);
    const NodePriority result =
        NodePriority::orthographic(box(0, 0, 0, 2, 2, 2), clipBox, {}, eye, 2.0f, projection, viewport, 1.0f);
    EXPECT_NEAR(result.priority(), 64.0f * sqrt3, 1e-3f);
    EXPECT_EQ(result.distanceToEye(), 10.0f);
    EXPECT_TRUE(NodePriority::orthographic(box(0, 0, 0, 2, 2, 2), clipBox, {}, eye, 2.0f, projection, viewport, 111.0f)
                    .isDiscarded());
    EXPECT_TRUE(NodePriority::orthographic(box(5, 0, 0, 6, 1, 1), clipBox, {}, eye, 2.0f, projection, viewport, 0.0f)
                    .isDiscarded());
}

} // namespace
