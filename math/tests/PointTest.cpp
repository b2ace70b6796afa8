#include <lumaro/math/Point.h>

#include <gtest/gtest.h>

#include <Eigen/Core>

namespace {

using Point3 = Math::Point<float, 3>;

TEST(PointTest, DefaultIsOriginAndCoordinatesAreStoredInOrder)
{
    const Point3 origin;
    EXPECT_EQ(origin, Point3(0, 0, 0));

    const Point3 p(1, 2.5, -3);
    EXPECT_FLOAT_EQ(p.x(), 1.0f);
    EXPECT_FLOAT_EQ(p.y(), 2.5f);
    EXPECT_FLOAT_EQ(p.z(), -3.0f);

    const Math::Point<double, 2> q(4, 5);
    EXPECT_DOUBLE_EQ(q[0], 4.0);
    EXPECT_DOUBLE_EQ(q[1], 5.0);
}

TEST(PointTest, IsAPackedTupleUsableAsRawFloats)
{
    const float raw[] = {7.0f, 8.0f, 9.0f};
    const Point3 p(7, 8, 9);
    EXPECT_EQ(sizeof(Point3), sizeof(raw));
    EXPECT_EQ(p.data()[2], raw[2]);
}

TEST(PointTest, TakesPartInEigenArithmetic)
{
    const Point3 eye(1, 1, 1);
    const Point3 target(4, 5, 1);
    const Eigen::Vector3f direction = target - eye;
    EXPECT_FLOAT_EQ(direction.norm(), 5.0f);

    const Point3 moved = eye + Eigen::Vector3f(0, 0, 2);
    EXPECT_EQ(moved, Point3(1, 1, 3));

    Point3 assigned;
    assigned = Eigen::Vector3f::UnitX() * 3.0f;
    EXPECT_EQ(assigned, Point3(3, 0, 0));
}

} // namespace
