#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Math {

// An indexed triangle mesh that answers nearest-point queries through a bounding-volume
// hierarchy, so that a query against a million triangles visits only a few dozen of them. The
// hierarchy is built once in the constructor; the mesh is immutable afterwards and a const
// mesh may be queried from several threads at once.
template <typename T>
class TriangleMesh {
public:
    using PointType = Point<T, 3>;
    using BoxType = NBoundingBox<T, 3>;
    using MatrixType = Eigen::Matrix<T, 4, 4>;
    // Three indices into vertices(), counter-clockwise seen from the side the normal
    // (b - a) x (c - a) points to.
    using Triangle = std::array<std::uint32_t, 3>;

    struct NearestPoint {
        PointType point; // on the mesh
        std::size_t triangle = 0; // index into triangles() of the triangle the point lies on
        T squaredDistance = 0; // from the query point
    };

    TriangleMesh();
    // Throws std::invalid_argument naming the triangle and index when an index is out of range,
    // or when a vertex is not finite.
    TriangleMesh(std::vector<PointType> vertices, std::vector<Triangle> triangles);
    ~TriangleMesh();
    TriangleMesh(const TriangleMesh&);
    TriangleMesh(TriangleMesh&&) noexcept;
    TriangleMesh& operator=(const TriangleMesh&);
    TriangleMesh& operator=(TriangleMesh&&) noexcept;

    const std::vector<PointType>& vertices() const { return mVertices; }
    const std::vector<Triangle>& triangles() const { return mTriangles; }
    std::size_t triangleCount() const { return mTriangles.size(); }
    bool empty() const { return mTriangles.empty(); }
    // Of the vertices that triangles use; empty for a mesh without triangles.
    const BoxType& boundingBox() const { return mBoundingBox; }

    // The mesh with every vertex mapped by a homogeneous matrix (divided by w).
    TriangleMesh transformed(const MatrixType& matrix) const;

    // The point of the mesh nearest to `point`; empty for a mesh without triangles. Among
    // equally near triangles any one may be reported.
    std::optional<NearestPoint> nearestPoint(const PointType& point) const;

    // The same, restricted to the points within sqrt(maxSquaredDistance): a bound lets the search
    // skip more of the mesh. Empty when nothing is that near.
    std::optional<NearestPoint> nearestPoint(const PointType& point, T maxSquaredDistance) const;

    // Whether some triangle may lie within `distance` of the box. Never false when one does;
    // true may be reported for a triangle whose own bounding box, but not the triangle itself,
    // is that near. Cheap enough to decide per octree node whether distances are needed.
    bool mayBeWithinDistance(const BoxType& box, T distance) const;

    // The nearest point of one triangle, in double precision so that long, thin and degenerate
    // triangles are handled; exposed for callers that already know the triangle.
    static PointType nearestPointOnTriangle(const PointType& point, const PointType& a, const PointType& b,
                                            const PointType& c);

private:
    struct Node;

    void buildHierarchy();
    std::uint32_t buildNode(std::vector<PointType>& centroids, std::uint32_t first, std::uint32_t count);

    std::vector<PointType> mVertices;
    std::vector<Triangle> mTriangles;
    BoxType mBoundingBox;
    std::vector<Node> mNodes;
    // Triangle indices in hierarchy order: every leaf owns a contiguous run.
    std::vector<std::uint32_t> mOrder;
};

extern template class TriangleMesh<float>;
extern template class TriangleMesh<double>;

} // namespace Math
