#include <lumaro/math/NBoundingBox.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <cmath>
#include <sstream>

namespace {

using Box = Math::NBoundingBox<float, 3>;
using Point3 = Math::Point<float, 3>;

TEST(NBoundingBoxTest, ExtendByBoxIgnoresEmptyBoxes)
{
    Box box(Point3(0, 0, 0), Point3(1, 1, 1));
    box.extend(Box());
    EXPECT_EQ(box, Box(Point3(0, 0, 0), Point3(1, 1, 1)));

    box.extend(Box(Point3(-2, 0.5, 0.5), Point3(0, 3, 0.5)));
    EXPECT_EQ(box, Box(Point3(-2, 0, 0), Point3(1, 3, 1)));

    Box empty;
    empty.extend(box);
    EXPECT_EQ(empty, box);
}

TEST(NBoundingBoxTest, ContainsPointsAndBoxesIncludingTheBorder)
{
    const Box box(Point3(0, 0, 0), Point3(2, 2, 2));
    EXPECT_TRUE(box.contains(Point3(1, 1, 1)));
    EXPECT_TRUE(box.contains(Point3(2, 0, 2)));
    EXPECT_FALSE(box.contains(Point3(2.001f, 1, 1)));
    EXPECT_TRUE(box.contains(Box(Point3(0, 1, 1), Point3(2, 2, 2))));
    EXPECT_FALSE(box.contains(Box(Point3(1, 1, 1), Point3(3, 2, 2))));
    EXPECT_FALSE(box.contains(Box()));
    EXPECT_FALSE(Box().contains(Point3(0, 0, 0)));
}

TEST(NBoundingBoxTest, IntersectsWhenOverlappingOrTouching)
{
    const Box box(Point3(0, 0, 0), Point3(1, 1, 1));
    EXPECT_TRUE(box.intersects(Box(Point3(0.5, 0.5, 0.5), Point3(4, 4, 4))));
    EXPECT_TRUE(box.intersects(Box(Point3(1, 0, 0), Point3(2, 1, 1))));
    EXPECT_FALSE(box.intersects(Box(Point3(0, 1.5, 0), Point3(1, 2, 1))));
    EXPECT_FALSE(box.intersects(Box()));
    EXPECT_FALSE(Box().intersects(box));
}

TEST(NBoundingBoxTest, TransformedIsTheBoxAroundTheMovedCorners)
{
    const Box box(Point3(0, 0, 0), Point3(2, 1, 1));

    Eigen::Affine3f shift(Eigen::Translation3f(10, 20, 30));
    EXPECT_EQ(box.transformed(shift.matrix()), Box(Point3(10, 20, 30), Point3(12, 21, 31)));

    // A quarter turn about z takes (x, y) to (-y, x): x in [0, 2], y in [0, 1] becomes
    // x in [-1, 0], y in [0, 2].
    const Eigen::Affine3f turn(Eigen::AngleAxisf(static_cast<float>(EIGEN_PI / 2), Eigen::Vector3f::UnitZ()));
    const Box turned = box.transformed(turn.matrix());
    EXPECT_NEAR(turned.min().x(), -1.0f, 1e-6f);
    EXPECT_NEAR(turned.max().x(), 0.0f, 1e-6f);
    EXPECT_NEAR(turned.min().y(), 0.0f, 1e-6f);
    EXPECT_NEAR(turned.max().y(), 2.0f, 1e-6f);

    // Turned by 45 degrees a unit square's bounds grow to the diagonal sqrt(2).
    const Box square(Point3(-0.5, -0.5, 0), Point3(0.5, 0.5, 0));
    const Eigen::Affine3f eighth(Eigen::AngleAxisf(static_cast<float>(EIGEN_PI / 4), Eigen::Vector3f::UnitZ()));
    EXPECT_NEAR(square.transformed(eighth.matrix()).size().x(), std::sqrt(2.0f), 1e-5f);
}

} // namespace
