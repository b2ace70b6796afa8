#include <lumaro/render/core/Camera.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <stdexcept>
#include <thread>

namespace {

using Render::Camera;
using Point3 = Math::Point<float, 3>;

constexpr float tolerance = 1e-5f;

void expectNear(const Eigen::Vector3f& actual, const Eigen::Vector3f& expected, float within = tolerance)
{
    EXPECT_NEAR(actual.x(), expected.x(), within) << actual.transpose() << " vs " << expected.transpose();
    EXPECT_NEAR(actual.y(), expected.y(), within) << actual.transpose() << " vs " << expected.transpose();
    EXPECT_NEAR(actual.z(), expected.z(), within) << actual.transpose() << " vs " << expected.transpose();
}

void expectMatrixNear(const Eigen::Matrix4f& actual, const Eigen::Matrix4f& expected)
{
    EXPECT_TRUE(actual.isApprox(expected, 1e-6f) || (actual - expected).cwiseAbs().maxCoeff() < 1e-6f)
        << "actual\n"
        << actual << "\nexpected\n"
        << expected;
}

// A right-handed perspective written out by hand: z in view space maps to depth 0 at depth0Z and
// to 1 at depth1Z, and w = -z.
Eigen::Matrix4f handPerspective(float xScale, float yScale, float depth0Z, float depth1Z)
{
    Eigen::Matrix4f m = Eigen::Matrix4f::Zero();
    m(0, 0) = xScale;
    m(1, 1) = yScale;
    // Solve (a * -d0 + b) / d0 = 0 and (a * -d1 + b) / d1 = 1 for a and b.
    m(2, 2) = depth1Z / (depth0Z - depth1Z);
    m(2, 3) = depth0Z * depth1Z / (depth0Z - depth1Z);
    m(3, 2) = -1.0f;
    return m;
}

TEST(CameraTest, PerspectiveMatricesForNormalAndReversedDepth)
{
    Camera normal(false);
    normal.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    expectMatrixNear(normal.projectionMatrix(), handPerspective(0.75f, 1.0f, 1.0f, 3.0f));
    EXPECT_FLOAT_EQ(normal.zNear(), 1.0f);
    EXPECT_FLOAT_EQ(normal.zFar(), 3.0f);

    Camera reversed(true);
    reversed.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    expectMatrixNear(reversed.projectionMatrix(), handPerspective(0.75f, 1.0f, 3.0f, 1.0f));
    // Near lands on 1, far on 0.
    const Eigen::Vector4f nearPoint = reversed.projectionMatrix() * Eigen::Vector4f(0, 0, -1, 1);
    const Eigen::Vector4f farPoint = reversed.projectionMatrix() * Eigen::Vector4f(0, 0, -3, 1);
    EXPECT_NEAR(nearPoint.z() / nearPoint.w(), 1.0f, tolerance);
    EXPECT_NEAR(farPoint.z() / farPoint.w(), 0.0f, tolerance);

    Camera shifted(false);
    shifted.setPerspective(90.0f, 1.0f, 3.0f, 0.25f, -0.5f);
    EXPECT_FLOAT_EQ(shifted.projectionMatrix()(0, 2), 0.25f);
    EXPECT_FLOAT_EQ(shifted.projectionMatrix()(1, 2), -0.5f);
    EXPECT_FLOAT_EQ(shifted.offCenterX(), 0.25f);
}

TEST(CameraTest, OrthographicMatricesForNormalAndReversedDepth)
{
    Camera normal(false);
    normal.setOrthographic(4.0f, 2.0f, 1.0f, 5.0f);
    Eigen::Matrix4f expected = Eigen::Matrix4f::Zero();
    expected(0, 0) = 0.5f;
    expected(1, 1) = 1.0f;
    expected(2, 2) = -0.25f; // z = -1 -> 0, z = -5 -> 1
    expected(2, 3) = -0.25f;
    expected(3, 3) = 1.0f;
    EXPECT_EQ(normal.projectionMatrix(), expected);
    EXPECT_TRUE(normal.isOrthographic());
    EXPECT_FLOAT_EQ(normal.horizontalExtent(), 4.0f);
    EXPECT_FLOAT_EQ(normal.verticalExtent(), 2.0f);

    Camera reversed(true);
    reversed.setOrthographic(4.0f, 2.0f, 1.0f, 5.0f);
    expected(2, 2) = 0.25f; // z = -1 -> 1, z = -5 -> 0
    expected(2, 3) = 1.25f;
    EXPECT_EQ(reversed.projectionMatrix(), expected);

    // The three-value form makes pixels square: 640 x 480 with height 3 gives width 4.
    Camera square(false);
    square.setOrthographic(3.0f, -1.0f, 1.0f);
    EXPECT_FLOAT_EQ(square.horizontalExtent(), 4.0f);
    EXPECT_FLOAT_EQ(square.projectionMatrix()(0, 0), 0.5f);
}

TEST(CameraTest, PoseGivesEyeAndDirections)
{
    Camera camera(false);
    camera.setPose(Point3(1, 2, 3), Point3(1, 2, -7), Eigen::Vector3f(0, 5, 0));
    expectNear(camera.eye(), Eigen::Vector3f(1, 2, 3));
    expectNear(camera.viewDirection(), Eigen::Vector3f(0, 0, -1));
    expectNear(camera.rightDirection(), Eigen::Vector3f(1, 0, 0));
    expectNear(camera.upDirection(), Eigen::Vector3f(0, 1, 0));

    // Looking along +x with z up (tilted along the view, which does not matter): right is -y.
    camera.setPose(Point3(-4, 0, 1), Eigen::Vector3f(2, 0, 0), Eigen::Vector3f(0.5f, 0, 1));
    expectNear(camera.eye(), Eigen::Vector3f(-4, 0, 1));
    expectNear(camera.viewDirection(), Eigen::Vector3f(1, 0, 0));
    expectNear(camera.rightDirection(), Eigen::Vector3f(0, -1, 0));
    expectNear(camera.upDirection(), Eigen::Vector3f(0, 0, 1));

    // The view matrix takes the eye to the origin and the target onto -z.
    const Eigen::Vector4f target = camera.viewMatrix() * Eigen::Vector4f(6, 0, 1, 1);
    EXPECT_NEAR(target.z(), -10.0f, tolerance);
}

TEST(CameraTest, NearAndFarFitTheBoxAlongTheViewDirection)
{
    Camera camera(false);
    camera.setZNearAndFarViaBoundingBox(Math::NBoundingBox<float, 3>(Point3(-1, -1, -7), Point3(1, 1, -3)));
    EXPECT_NEAR(camera.zNear(), 3.0f, tolerance);
    EXPECT_NEAR(camera.zFar(), 7.0f, tolerance);
    // The rebuilt perspective maps the box's nearest and farthest depths onto 0 and 1.
    expectMatrixNear(camera.projectionMatrix(), handPerspective(std::sqrt(3.0f) * 0.75f, std::sqrt(3.0f), 3.0f, 7.0f));

    // Looking diagonally in the x-y plane, a box with half extents (1, 2, 5) reaches
    // (1 + 2) / sqrt(2) to either side of its centre, which lies sqrt(2) * 10 ahead.
    camera.setPose(Point3(0, 0, 0), Eigen::Vector3f(1, 1, 0), Eigen::Vector3f::UnitZ());
    camera.setZNearAndFarViaBoundingBox(Math::NBoundingBox<float, 3>(Point3(9, 8, -5), Point3(11, 12, 5)));
    const float centre = 20.0f / std::sqrt(2.0f);
    const float radius = 3.0f / std::sqrt(2.0f);
    EXPECT_NEAR(camera.zNear(), centre - radius, 1e-4f);
    EXPECT_NEAR(camera.zFar(), centre + radius, 1e-4f);
}

TEST(CameraTest, UnProjectReachesTheCornersOfNearAndFarPlanes)
{
    // 90 degrees vertically at 4:3: the near plane at distance 1 is 8/3 wide and 2 high.
    Camera camera(false);
    camera.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    expectNear(camera.unProject(0, 480, 0.0f), Eigen::Vector3f(-4.0f / 3.0f, -1, -1));
    expectNear(camera.unProject(640, 0, 1.0f), Eigen::Vector3f(4, 3, -3), 1e-4f);
    expectNear(camera.unProject(320, 240, 0.0f), Eigen::Vector3f(0, 0, -1));

    Camera reversed(true);
    reversed.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    expectNear(reversed.unProject(0, 480, 1.0f), Eigen::Vector3f(-4.0f / 3.0f, -1, -1));
    expectNear(reversed.unProject(0, 480, 0.0f), Eigen::Vector3f(-4, -3, -3), 1e-4f);
}

TEST(CameraTest, ProjectIsTheInverseOfUnProjectAndKeepsTheInputZ)
{
    Camera camera(false);
    camera.setViewport(300, 200);
    camera.setPose(Point3(5, -2, 3), Point3(0, 1, 0), Eigen::Vector3f::UnitZ());
    camera.setPerspective(50.0f, 0.5f, 50.0f, 0.0f, 0.0f);

    const Point3 world = camera.unProject(75, 150, 0.5f);
    const Point3 pixel = camera.project(world);
    EXPECT_NEAR(pixel.x(), 75.0f, 1e-2f);
    EXPECT_NEAR(pixel.y(), 150.0f, 1e-2f);
    EXPECT_EQ(pixel.z(), world.z());

    // A point straight ahead lands in the middle of the picture.
    const Point3 ahead = camera.eye() + camera.viewDirection() * 7.0f;
    const Point3 centre = camera.project(ahead);
    EXPECT_NEAR(centre.x(), 150.0f, 1e-3f);
    EXPECT_NEAR(centre.y(), 100.0f, 1e-3f);
    EXPECT_EQ(centre.z(), ahead.z());
}

TEST(CameraTest, ViewportChangeAdaptsTheHorizontalScale)
{
    Camera camera(false);
    camera.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    camera.setViewport(800, 400);
    EXPECT_EQ(camera.viewport(), Render::Viewport(800, 400));
    EXPECT_NEAR(camera.projectionMatrix()(0, 0), 0.5f, 1e-6f); // 1 / aspect 2
    EXPECT_NEAR(camera.projectionMatrix()(1, 1), 1.0f, 1e-6f);
    expectMatrixNear(camera.viewProjectionMatrix(), camera.projectionMatrix() * camera.viewMatrix());
    expectNear(camera.unProject(0, 400, 0.0f), Eigen::Vector3f(-2, -1, -1));

    // A zero height on either side stores the size only.
    const Eigen::Matrix4f kept = camera.projectionMatrix();
    camera.setViewport(100, 0);
    EXPECT_EQ(camera.projectionMatrix(), kept);
    camera.setViewport(100, 100);
    EXPECT_EQ(camera.projectionMatrix(), kept);
    EXPECT_EQ(camera.viewport().width(), 100u);
}

TEST(CameraTest, OffCenterPerspectiveReachesItsGivenSides)
{
    Camera camera(false);
    camera.setPerspectiveOffCenter(-1.0f, 3.0f, -1.0f, 1.0f, 1.0f, 3.0f, false);
    expectNear(camera.unProject(0, 480, 0.0f), Eigen::Vector3f(-1, -1, -1));
    expectNear(camera.unProject(640, 0, 0.0f), Eigen::Vector3f(3, 1, -1));
    expectNear(camera.unProject(640, 0, 1.0f), Eigen::Vector3f(9, 3, -3), 1e-4f);
    EXPECT_NEAR(camera.fovYDeg(), 90.0f, 1e-4f);

    // Told not to adapt, it ignores a change of aspect ratio.
    const Eigen::Matrix4f kept = camera.projectionMatrix();
    camera.setViewport(100, 100);
    EXPECT_EQ(camera.projectionMatrix(), kept);

    EXPECT_THROW(camera.setPerspectiveOffCenter(1.0f, 1.0f, -1.0f, 1.0f, 1.0f, 3.0f, false), std::invalid_argument);
}

TEST(CameraTest, FrustaFollowViewModelAndScale)
{
    Camera camera(false);
    camera.setViewport(100, 100);
    camera.setPerspective(90.0f, 1.0f, 3.0f, 0.0f, 0.0f);
    // At distance 2 the view reaches 2 to each side.
    const auto frustum = camera.frustum();
    EXPECT_TRUE(frustum.contains(Point3(1.9f, -1.9f, -2)));
    EXPECT_FALSE(frustum.contains(Point3(2.1f, 0, -2)));
    EXPECT_FALSE(frustum.contains(Point3(0, 0, -3.1f)));
    EXPECT_FALSE(frustum.contains(Point3(0, 0, -0.9f)));

    const Eigen::Affine3f model(Eigen::Translation3f(0, 0, -10));
    const auto modelFrustum = camera.frustum(model.matrix());
    EXPECT_TRUE(modelFrustum.contains(Point3(0, 0, 8)));
    EXPECT_FALSE(modelFrustum.contains(Point3(0, 0, -2)));

    // Twice as wide, as high as before, depth range unchanged.
    const auto wide = camera.scaledFrustum(2.0f, 1.0f, 1.0f, Eigen::Matrix4f::Identity());
    EXPECT_TRUE(wide.contains(Point3(3.9f, 0, -2)));
    EXPECT_FALSE(wide.contains(Point3(4.1f, 0, -2)));
    EXPECT_FALSE(wide.contains(Point3(0, 2.1f, -2)));
    EXPECT_FALSE(wide.contains(Point3(0, 0, -3.1f)));
    EXPECT_THROW(camera.scaledFrustum(0.0f, 1.0f, 1.0f, Eigen::Matrix4f::Identity()), std::invalid_argument);

    // Moving the camera moves the frustum.
    camera.setPose(Point3(100, 0, 0), Point3(100, 0, -1), Eigen::Vector3f::UnitY());
    EXPECT_TRUE(camera.frustum().contains(Point3(100, 0, -2)));
    EXPECT_FALSE(camera.frustum().contains(Point3(0, 0, -2)));
}

} // namespace
