#include <lumaro/math/OrientedBox.h>
#include <lumaro/math/Polygon.h>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

namespace {

using Math::BoxTestResult;
using Math::Polygon;
using V = Polygon::Vertex;
using Rectangle = Math::NBoundingBox<double, 2>;

// An L of area 12: the square 0..4 x 0..2 and 0..2 x 2..4, counter-clockwise, far from the origin
// as georeferenced outlines are.
constexpr double east = 500000.0;
constexpr double north = 5200000.0;
Polygon ell(bool clockwise = false)
{
    std::vector<V> vertices{{0, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 4}, {0, 4}};
    for (V& vertex : vertices)
        vertex += V(east, north);
    if (clockwise)
        std::reverse(vertices.begin(), vertices.end());
    return Polygon(vertices);
}

Rectangle square(double x, double y, double side)
{
    return {V(east + x, north + y), V(east + x + side, north + y + side)};
}

TEST(PolygonTest, AreaAndCentroidWhateverTheOrientation)
{
    for (const bool clockwise : {false, true}) {
        const Polygon polygon = ell(clockwise);
        EXPECT_DOUBLE_EQ(polygon.area(), 12.0);
        // The two parts: 8 at (2, 1) and 4 at (1, 3): (16 + 4) / 12, (8 + 12) / 12.
        EXPECT_NEAR(polygon.centroid().x() - east, 20.0 / 12.0, 1e-9);
        EXPECT_NEAR(polygon.centroid().y() - north, 20.0 / 12.0, 1e-9);
        EXPECT_TRUE(polygon.contains(V(east + 1, north + 3)));
        EXPECT_TRUE(polygon.contains(V(east + 3.9, north + 0.1)));
        EXPECT_FALSE(polygon.contains(V(east + 3, north + 3))); // the notch
        EXPECT_FALSE(polygon.contains(V(east - 0.1, north + 1)));
        EXPECT_DOUBLE_EQ(polygon.distanceToEdge(V(east + 3, north + 3)), 1.0);
        EXPECT_NEAR(polygon.distanceToEdge(V(east + 1, north + 1)), 1.0, 1e-9);
    }
}

TEST(PolygonTest, RectanglesAgainstTheEll)
{
    const Polygon polygon = ell();
    struct Case {
        Rectangle rectangle;
        BoxTestResult expected;
        double insideArea;
    };
    const Case cases[] = {
        {square(0.5, 0.5, 1), BoxTestResult::Inside, 1.0},
        {square(2.5, 2.5, 1), BoxTestResult::Outside, 0.0}, // in the notch, its corner near the ell's
        {square(-3, -3, 2), BoxTestResult::Outside, 0.0}, // beyond the bounds
        {square(3, 1, 2), BoxTestResult::Intersecting, 1.0}, // half over the right edge, half over the notch
        {square(1, 1, 2), BoxTestResult::Intersecting, 3.0}, // over the inner corner: three quarters inside
        {square(-1, -1, 6), BoxTestResult::Intersecting, 12.0}, // holds the whole ell
        {square(4, 0, 1), BoxTestResult::Intersecting, 0.0}, // touches the edge x = 4 only
    };
    for (const Case& c : cases) {
        EXPECT_EQ(polygon.testRectangle(c.rectangle), c.expected) << c.rectangle.min().transpose();
        EXPECT_NEAR(polygon.clip(c.rectangle).area, c.insideArea, 1e-6) << c.rectangle.min().transpose();
    }
    // The part of the 2 x 2 square at (1, 1) inside: the L-shaped three quarters around the inner
    // corner, whose centroid is (1 + 2 + 1.5) / 3 ... worked as 1x1 squares at (1.5, 1.5),
    // (2.5, 1.5), (1.5, 2.5).
    const Polygon::Piece piece = polygon.clip(square(1, 1, 2));
    EXPECT_NEAR(piece.centroid.x() - east, (1.5 + 2.5 + 1.5) / 3.0, 1e-6);
    EXPECT_NEAR(piece.centroid.y() - north, (1.5 + 1.5 + 2.5) / 3.0, 1e-6);
}

TEST(PolygonTest, ClippedPiecesOfAGridAddUpToTheArea)
{
    // A pentagon cut by a grid of 0.37 cells: the pieces' areas sum to its shoelace area.
    const Polygon pentagon({V(0.1, 0.2), V(3.3, -0.4), V(4.0, 2.2), V(1.7, 3.9), V(-0.6, 2.5)});
    // Shoelace by hand over the five vertices.
    const double shoelace = 0.5
        * ((0.1 * -0.4 - 3.3 * 0.2) + (3.3 * 2.2 - 4.0 * -0.4) + (4.0 * 3.9 - 1.7 * 2.2) + (1.7 * 2.5 - -0.6 * 3.9)
           + (-0.6 * 0.2 - 0.1 * 2.5));
    EXPECT_NEAR(pentagon.area(), shoelace, 1e-12);
    double sum = 0.0;
    for (double x = -1.0; x < 4.5; x += 0.37)
        for (double y = -1.0; y < 4.5; y += 0.37)
            sum += pentagon.clip(Rectangle(V(x, y), V(x + 0.37, y + 0.37))).area;
    EXPECT_NEAR(sum, shoelace, 1e-9);
}

TEST(PolygonTest, RefusesWhatIsNoSimplePolygon)
{
    struct Case {
        std::vector<V> vertices;
        std::string named;
    };
    const Case cases[] = {
        {{{0, 0}, {1, 0}}, "at least three vertices, not 2"},
        {{{0, 0}, {2, 2}, {2, 0}, {0, 2}}, "cross"}, // a bow tie
        {{{0, 0}, {4, 0}, {4, 4}, {2, -1}, {0, 4}}, "cross"}, // an edge through the first
        {{{0, 0}, {4, 0}, {2, 0}, {2, 3}}, "cross"}, // folds back along itself
        {{{0, 0}, {1, 0}, {2, 0}}, "no area"},
        {{{0, 0}, {1, 0}, {1, 1}, {0, 0}}, "is the same point as vertex 1"}, // closed by repeating the first
        {{{0, 0}, {1, 0}, {1, std::nan("")}}, "vertex 3"},
    };
    for (const Case& c : cases) {
        try {
            Polygon polygon(c.vertices);
            ADD_FAILURE() << "accepted: " << c.named;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(c.named), std::string::npos) << error.what();
        }
    }
}

TEST(OrientedBoxTest, ATurnedBoxAgainstPointsAndBoxes)
{
    // 4 x 2 x 2 around (10, 20, 5), turned by 45 degrees: its long axis runs along (1, 1).
    const double quarter = std::numbers::pi / 4.0;
    const auto box =
        Math::OrientedBox::fromAngles(Math::Point<double, 3>(10, 20, 5), Eigen::Vector3d(2, 1, 1), quarter);
    const double r = std::sqrt(0.5);
    EXPECT_TRUE(box.contains(Math::Point<double, 3>(10 + 1.9 * r, 20 + 1.9 * r, 5.9)));
    EXPECT_FALSE(box.contains(Math::Point<double, 3>(10 + 2.1 * r, 20 + 2.1 * r, 5)));
    EXPECT_FALSE(box.contains(Math::Point<double, 3>(10 + 1.1 * r, 20 - 1.1 * r, 5))); // across, beyond 1
    EXPECT_TRUE(box.contains(Math::Point<double, 3>(10 + 0.9 * r, 20 - 0.9 * r, 5)));
    // The matrix gives what unitCoordinates gives.
    const Math::Point<double, 3> p(11.3, 19.2, 4.4);
    EXPECT_TRUE((box.unitFromWorld() * p.homogeneous()).head<3>().isApprox(box.unitCoordinates(p), 1e-12));

    using Box = Math::NBoundingBox<double, 3>;
    using P = Math::Point<double, 3>;
    EXPECT_EQ(box.testBox(Box(P(9.8, 19.8, 4.8), P(10.2, 20.2, 5.2))), BoxTestResult::Inside);
    EXPECT_EQ(box.testBox(Box(P(0, 0, 0), P(1, 1, 1))), BoxTestResult::Outside);
    EXPECT_EQ(box.testBox(Box(P(9, 19, 6.5), P(11, 21, 7))), BoxTestResult::Outside); // above it
    // Beside the long side, within the box's own axis-aligned reach but separated across it.
    EXPECT_EQ(box.testBox(Box(P(11.2, 18.4, 4), P(11.8, 19.0, 6))), BoxTestResult::Outside);
    EXPECT_EQ(box.testBox(Box(P(10, 20, 5), P(13, 23, 6))), BoxTestResult::Intersecting);
    EXPECT_THROW(Math::OrientedBox(P(0, 0, 0), Eigen::Vector3d(1, 0, 1)), std::invalid_argument);
}

} // namespace
