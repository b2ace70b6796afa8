#include <lumaro/math/NPlane.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <stdexcept>

namespace {

using Plane = Math::NPlane<float, 3>;
using Point3 = Math::Point<float, 3>;

TEST(NPlaneTest, NormalizedGivesDistancesInLengthUnitsAndFlippedExchangesSides)
{
    const Plane plane = Plane(0, 3, 4, 10).normalized();
    EXPECT_FLOAT_EQ(plane.normal().norm(), 1.0f);
    EXPECT_FLOAT_EQ(plane.offset(), 2.0f);
    EXPECT_FLOAT_EQ(plane.signedDistance(Point3(0, 3, 4)), 7.0f); // (9 + 16 + 10) / 5

    EXPECT_FLOAT_EQ(plane.flipped().signedDistance(Point3(0, 3, 4)), -7.0f);

    const Plane degenerate(0, 0, 0, 1);
    EXPECT_EQ(degenerate.normalized(), degenerate);
}

TEST(NPlaneTest, TransformedMovesThePlaneWithItsPoints)
{
    // The plane z = 1 (normal +z), moved up by 2 and with z scaled by 3, is z = 3 * 1 + 2 = 5.
    Eigen::Affine3f move = Eigen::Translation3f(0, 0, 2) * Eigen::Scaling(1.0f, 1.0f, 3.0f);
    const Plane moved = Plane(0, 0, 1, -1).transformed(move.matrix());
    EXPECT_NEAR(moved.normal().z(), 1.0f, 1e-6f);
    EXPECT_NEAR(moved.offset(), -5.0f, 1e-5f);

    // Rotating x = 2 (normal +x) a quarter turn about z gives y = 2 (normal +y).
    const Eigen::Affine3f turn(Eigen::AngleAxisf(static_cast<float>(EIGEN_PI / 2), Eigen::Vector3f::UnitZ()));
    const Plane turned = Plane(1, 0, 0, -2).transformed(turn.matrix());
    EXPECT_NEAR(turned.normal().y(), 1.0f, 1e-6f);
    EXPECT_NEAR(turned.signedDistance(Point3(0, 2, 0)), 0.0f, 1e-6f);
}

TEST(NPlaneTest, TransformedBySingularMatrixThrows)
{
    EXPECT_THROW(Plane().transformed(Eigen::Matrix4f::Zero()), std::invalid_argument);
}

} // namespace
