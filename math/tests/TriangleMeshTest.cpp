#include <lumaro/math/TriangleMesh.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

namespace {

using Mesh = Math::TriangleMesh<float>;
using P = Math::Point<float, 3>;
using Box = Math::NBoundingBox<float, 3>;

Mesh singleTriangle()
{
    return Mesh({P(0, 0, 0), P(2, 0, 0), P(0, 2, 0)}, {{0, 1, 2}});
}

void expectNearest(const Mesh& mesh, const P& query, const P& expected, std::size_t triangle, float squaredDistance)
{
    const auto nearest = mesh.nearestPoint(query);
    ASSERT_TRUE(nearest) << query.transpose();
    EXPECT_NEAR((nearest->point - expected).norm(), 0.0F, 1e-5F)
        << "query " << query.transpose() << " got " << nearest->point.transpose();
    EXPECT_EQ(nearest->triangle, triangle) << query.transpose();
    EXPECT_NEAR(nearest->squaredDistance, squaredDistance, 1e-5F) << query.transpose();
}

TEST(TriangleMeshTest, NearestPointOnFaceEdgesAndVertices)
{
    const Mesh mesh = singleTriangle();
    expectNearest(mesh, P(0.5F, 0.5F, 3), P(0.5F, 0.5F, 0), 0, 9); // above the face
    expectNearest(mesh, P(0.5F, 0.5F, 0), P(0.5F, 0.5F, 0), 0, 0); // on it
    expectNearest(mesh, P(1, -1, 1), P(1, 0, 0), 0, 2); // beside edge ab
    expectNearest(mesh, P(-2, 1.5F, 0), P(0, 1.5F, 0), 0, 4); // beside edge ca
    expectNearest(mesh, P(2, 2, 0), P(1, 1, 0), 0, 2); // beside the hypotenuse bc
    expectNearest(mesh, P(3, -1, 0), P(2, 0, 0), 0, 2); // beyond vertex b
    expectNearest(mesh, P(-1, -1, -1), P(0, 0, 0), 0, 3); // beyond vertex a
    expectNearest(mesh, P(-1, 4, 2), P(0, 2, 0), 0, 1 + 4 + 4); // beyond vertex c
}

TEST(TriangleMeshTest, ReportsTheTriangleThatHoldsTheNearestPoint)
{
    // A unit square in z = 0 as two triangles, and a far triangle at z = 10.
    const Mesh mesh({P(0, 0, 0), P(1, 0, 0), P(1, 1, 0), P(0, 1, 0), P(0, 0, 10), P(1, 0, 10), P(0, 1, 10)},
                    {{0, 1, 2}, {0, 2, 3}, {4, 5, 6}});
    expectNearest(mesh, P(0.9F, 0.1F, 1), P(0.9F, 0.1F, 0), 0, 1);
    expectNearest(mesh, P(0.1F, 0.9F, -2), P(0.1F, 0.9F, 0), 1, 4);
    expectNearest(mesh, P(0.2F, 0.2F, 8), P(0.2F, 0.2F, 10), 2, 4);
    EXPECT_EQ(mesh.boundingBox(), Box(P(0, 0, 0), P(1, 1, 10)));
}

TEST(TriangleMeshTest, DegenerateTrianglesActAsSegmentsOrPoints)
{
    const Mesh line({P(0, 0, 0), P(1, 0, 0), P(3, 0, 0)}, {{0, 1, 2}});
    expectNearest(line, P(2, 1, 0), P(2, 0, 0), 0, 1);
    expectNearest(line, P(4, 0, 2), P(3, 0, 0), 0, 5);
    const Mesh dot({P(1, 1, 1)}, {{0, 0, 0}});
    expectNearest(dot, P(1, 1, 3), P(1, 1, 1), 0, 4);

    // Corners on one line (up to float rounding) in general position, where the projection's
    // products are rounding noise: the answer is the nearest point of the segment a..c, worked
    // out here in double precision.
    const P a(0.971862257F, 0.855209529F, 0.635047019F);
    const P b(0.356765807F, 0.351029158F, 0.570602417F);
    const P c = a + 3.0F * (b - a);
    const P query(-0.7332F, -0.2674F, 0.9424F);
    const Eigen::Vector3d ad = a.cast<double>();
    const Eigen::Vector3d acd = c.cast<double>() - ad;
    const double t = std::clamp((query.cast<double>() - ad).dot(acd) / acd.squaredNorm(), 0.0, 1.0);
    const Eigen::Vector3d expected = ad + t * acd;
    const Mesh sliver({a, b, c}, {{0, 1, 2}});
    expectNearest(sliver, query, expected.cast<float>(), 0,
                  static_cast<float>((query.cast<double>() - expected).squaredNorm()));
}

TEST(TriangleMeshTest, DistanceBoundAndEmptyMesh)
{
    const Mesh mesh = singleTriangle();
    EXPECT_FALSE(mesh.nearestPoint(P(0.5F, 0.5F, 3), 8.99F));
    EXPECT_TRUE(mesh.nearestPoint(P(0.5F, 0.5F, 3), 9.0F)); // the bound is inclusive
    EXPECT_FALSE(mesh.nearestPoint(P(std::nanf(""), 0, 0)));

    const Mesh empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_FALSE(empty.nearestPoint(P(0, 0, 0)));
    EXPECT_TRUE(empty.boundingBox().isEmpty());
    EXPECT_FALSE(empty.mayBeWithinDistance(Box(P(0, 0, 0), P(1, 1, 1)), 100.0F));
}

TEST(TriangleMeshTest, BadInputIsNamed)
{
    try {
        Mesh({P(0, 0, 0), P(1, 0, 0), P(0, 1, 0)}, {{0, 1, 2}, {0, 5, 1}});
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find("triangle 1 refers to vertex 5"), std::string::npos) << error.what();
    }
    EXPECT_THROW(Mesh({P(0, 0, 0), P(INFINITY, 0, 0), P(0, 1, 0)}, {{0, 1, 2}}), std::invalid_argument);
}

TEST(TriangleMeshTest, MayBeWithinDistanceOfABox)
{
    const Mesh mesh = singleTriangle(); // bounding box (0,0,0)..(2,2,0)
    const Box above(P(0, 0, 3), P(1, 1, 4));
    EXPECT_FALSE(mesh.mayBeWithinDistance(above, 2.9F));
    EXPECT_TRUE(mesh.mayBeWithinDistance(above, 3.0F));
    EXPECT_TRUE(mesh.mayBeWithinDistance(Box(P(-1, -1, -1), P(5, 5, 5)), 0.0F));
    // The gap to (5, 5, 0) is 3 in x and in y.
    const Box corner(P(5, 5, 0), P(6, 6, 1));
    EXPECT_FALSE(mesh.mayBeWithinDistance(corner, 4.2F));
    EXPECT_TRUE(mesh.mayBeWithinDistance(corner, 4.25F));
    EXPECT_FALSE(mesh.mayBeWithinDistance(Box(), 1000.0F));
}

// Random triangle soups: the hierarchy must find exactly what a scan of every triangle finds.
TEST(TriangleMeshTest, HierarchyAgreesWithAScanOfAllTriangles)
{
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> coordinate(-50.0F, 50.0F);
    std::uniform_real_distribution<float> offset(-2.0F, 2.0F);
    for (const std::size_t triangleCount : {1u, 5u, 37u, 2000u}) {
        std::vector<P> vertices;
        std::vector<Mesh::Triangle> triangles;
        for (std::size_t t = 0; t < triangleCount; ++t) {
            const P centre(coordinate(random), coordinate(random), coordinate(random));
            const auto first = static_cast<std::uint32_t>(vertices.size());
            for (int corner = 0; corner < 3; ++corner)
                vertices.emplace_back(centre + P(offset(random), offset(random), offset(random)));
            triangles.push_back({first, first + 1, first + 2});
        }
        const Mesh mesh(vertices, triangles);
        const int queryCount = triangleCount > 100 ? 40 : 100;
        for (int query = 0; query < queryCount; ++query) {
            const P point(coordinate(random) * 1.3F, coordinate(random) * 1.3F, coordinate(random) * 1.3F);
            float bestSquared = std::numeric_limits<float>::infinity();
            for (const auto& triangle : triangles) {
                const P q = Mesh::nearestPointOnTriangle(point, vertices[triangle[0]], vertices[triangle[1]],
                                                         vertices[triangle[2]]);
                bestSquared = std::min(bestSquared, (q - point).squaredNorm());
            }
            const auto nearest = mesh.nearestPoint(point);
            ASSERT_TRUE(nearest);
            EXPECT_NEAR(nearest->squaredDistance, bestSquared, 1e-4F * (1 + bestSquared)) << triangleCount;
            const auto& triangle = triangles[nearest->triangle];
            const P own = Mesh::nearestPointOnTriangle(point, vertices[triangle[0]], vertices[triangle[1]],
                                                       vertices[triangle[2]]);
            EXPECT_NEAR((own - nearest->point).norm(), 0.0F, 1e-4F);
        }
    }
}

// The single-triangle projection checked against a dense barycentric sampling of the triangle:
// no sample may be nearer than the reported point, and the reported point lies on the triangle.
TEST(TriangleMeshTest, TriangleProjectionBeatsEverySampleOfTheTriangle)
{
    std::mt19937 random(777);
    std::uniform_real_distribution<double> coordinate(-3.0, 3.0);
    using D = Math::Point<double, 3>;
    for (int trial = 0; trial < 100; ++trial) {
        const D a(coordinate(random), coordinate(random), coordinate(random));
        const D b(coordinate(random), coordinate(random), coordinate(random));
        const D c(coordinate(random), coordinate(random), coordinate(random));
        const D p(coordinate(random), coordinate(random), coordinate(random));
        const D q = Math::TriangleMesh<double>::nearestPointOnTriangle(p, a, b, c);
        const double reported = (q - p).squaredNorm();
        constexpr int steps = 40;
        double sampled = std::numeric_limits<double>::infinity();
        for (int i = 0; i <= steps; ++i)
            for (int j = 0; i + j <= steps; ++j) {
                const D s = a + (b - a) * (double(i) / steps) + (c - a) * (double(j) / steps);
                sampled = std::min(sampled, (s - p).squaredNorm());
            }
        EXPECT_LE(reported, sampled + 1e-9) << "trial " << trial;
        // q = a + u (b - a) + v (c - a) with u, v >= 0 and u + v <= 1, in the triangle's plane.
        const Eigen::Vector3d normal = (b - a).cross(c - a);
        EXPECT_NEAR(normal.dot(q - a), 0.0, 1e-9 * (1 + normal.norm()));
        Eigen::Matrix<double, 3, 2> edges;
        edges << b - a, c - a;
        const Eigen::Vector2d uv = edges.colPivHouseholderQr().solve(q - a);
        EXPECT_GE(uv[0], -1e-9);
        EXPECT_GE(uv[1], -1e-9);
        EXPECT_LE(uv[0] + uv[1], 1 + 1e-9);
    }
}

TEST(TriangleMeshTest, ManyTrianglesWithOneCentroidStillSplit)
{
    std::vector<Mesh::Triangle> triangles(100, Mesh::Triangle{0, 1, 2});
    triangles.push_back({3, 4, 5});
    const Mesh mesh({P(0, 0, 0), P(1, 0, 0), P(0, 1, 0), P(5, 5, 5), P(6, 5, 5), P(5, 6, 5)}, triangles);
    expectNearest(mesh, P(5.2F, 5.2F, 6), P(5.2F, 5.2F, 5), 100, 1);
    const auto nearest = mesh.nearestPoint(P(0.2F, 0.2F, -1));
    ASSERT_TRUE(nearest);
    EXPECT_LT(nearest->triangle, 100u);
    EXPECT_NEAR(nearest->squaredDistance, 1.0F, 1e-6F);
}

} // namespace
