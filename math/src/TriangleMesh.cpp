#include <lumaro/math/TriangleMesh.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace Math {

namespace {

using Vector3d = Eigen::Vector3d;

constexpr std::uint32_t maxTrianglesPerLeaf = 4;
// Median splits halve the triangle count at every level, so 2^32 triangles stay below 40 levels;
// each level leaves at most one sibling waiting on the stack.
constexpr std::size_t traversalStackSize = 64;

Vector3d nearestOnSegment(const Vector3d& p, const Vector3d& a, const Vector3d& b)
{
    const Vector3d ab = b - a;
    const double lengthSquared = ab.squaredNorm();
    if (lengthSquared <= 0.0)
        return a;
    const double t = std::clamp((p - a).dot(ab) / lengthSquared, 0.0, 1.0);
    return a + t * ab;
}

Vector3d nearestOnDegenerateTriangle(const Vector3d& p, const Vector3d& a, const Vector3d& b, const Vector3d& c)
{
    Vector3d best = nearestOnSegment(p, a, b);
    for (const Vector3d& candidate : {nearestOnSegment(p, b, c), nearestOnSegment(p, c, a)})
        if ((candidate - p).squaredNorm() < (best - p).squaredNorm())
            best = candidate;
    return best;
}

// Classifies p by the Voronoi regions of the triangle's vertices and edges (Ericson, Real-Time
// Collision Detection, 5.1.5) and projects onto the region's feature.
Vector3d nearestOnTriangle(const Vector3d& p, const Vector3d& a, const Vector3d& b, const Vector3d& c)
{
    const Vector3d ab = b - a;
    const Vector3d ac = c - a;
    const Vector3d ap = p - a;
    const double d1 = ab.dot(ap);
    const double d2 = ac.dot(ap);
    if (d1 <= 0.0 && d2 <= 0.0)
        return a;

    const Vector3d bp = p - b;
    const double d3 = ab.dot(bp);
    const double d4 = ac.dot(bp);
    if (d3 >= 0.0 && d4 <= d3)
        return b;

    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0 && d1 - d3 > 0.0)
        return a + d1 / (d1 - d3) * ab;

    const Vector3d cp = p - c;
    const double d5 = ab.dot(cp);
    const double d6 = ac.dot(cp);
    if (d6 >= 0.0 && d5 <= d6)
        return c;

    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0 && d2 - d6 > 0.0)
        return a + d2 / (d2 - d6) * ac;

    const double va = d3 * d6 - d5 * d4;
    const double towardsC = d4 - d3;
    const double towardsB = d5 - d6;
    if (va <= 0.0 && towardsC >= 0.0 && towardsB >= 0.0 && towardsC + towardsB > 0.0)
        return b + towardsC / (towardsC + towardsB) * (c - b);

    // The sum is |ab x ac|^2. For a triangle whose corners lie on one line it is rounding noise,
    // and dividing by it would put the point anywhere: such slivers (sine of the corner angle below
    // 1e-6) are measured as their edges.
    const double sum = va + vb + vc;
    if (!(sum > 1e-12 * ab.squaredNorm() * ac.squaredNorm()))
        return nearestOnDegenerateTriangle(p, a, b, c);
    return a + ab * (vb / sum) + ac * (vc / sum);
}

template <typename T>
T squaredGap(T low, T high, T value)
{
    const T gap = std::max({low - value, value - high, T(0)});
    return gap * gap;
}

} // namespace

template <typename T>
struct TriangleMesh<T>::Node {
    std::array<T, 3> low;
    std::array<T, 3> high;
    // Leaf: mOrder[first, first + count). Interior (count 0): children at index + 1 and `first`.
    std::uint32_t first = 0;
    std::uint32_t count = 0;

    T squaredDistanceTo(const PointType& point) const
    {
        return squaredGap(low[0], high[0], point[0]) + squaredGap(low[1], high[1], point[1])
            + squaredGap(low[2], high[2], point[2]);
    }

    T squaredDistanceTo(const BoxType& box) const
    {
        T sum = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const T gap = std::max({low[axis] - box.max()[axis], box.min()[axis] - high[axis], T(0)});
            sum += gap * gap;
        }
        return sum;
    }
};

template <typename T>
TriangleMesh<T>::TriangleMesh() = default;

template <typename T>
TriangleMesh<T>::~TriangleMesh() = default;

template <typename T>
TriangleMesh<T>::TriangleMesh(const TriangleMesh&) = default;

template <typename T>
TriangleMesh<T>::TriangleMesh(TriangleMesh&&) noexcept = default;

template <typename T>
TriangleMesh<T>& TriangleMesh<T>::operator=(const TriangleMesh&) = default;

template <typename T>
TriangleMesh<T>& TriangleMesh<T>::operator=(TriangleMesh&&) noexcept = default;

template <typename T>
TriangleMesh<T>::TriangleMesh(std::vector<PointType> vertices, std::vector<Triangle> triangles)
    : mVertices(std::move(vertices)), mTriangles(std::move(triangles))
{
    if (mTriangles.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::invalid_argument("TriangleMesh: " + std::to_string(mTriangles.size())
                                    + " triangles are more than a mesh can index");
    for (std::size_t i = 0; i < mVertices.size(); ++i)
        if (!mVertices[i].allFinite())
            throw std::invalid_argument("TriangleMesh: vertex " + std::to_string(i) + " is not finite");
    for (std::size_t t = 0; t < mTriangles.size(); ++t)
        for (const std::uint32_t index : mTriangles[t])
            if (index >= mVertices.size())
                throw std::invalid_argument("TriangleMesh: triangle " + std::to_string(t) + " refers to vertex "
                                            + std::to_string(index) + " but the mesh has "
                                            + std::to_string(mVertices.size()) + " vertices");
    buildHierarchy();
}

template <typename T>
void TriangleMesh<T>::buildHierarchy()
{
    if (mTriangles.empty())
        return;
    std::vector<PointType> centroids;
    centroids.reserve(mTriangles.size());
    for (const Triangle& triangle : mTriangles)
        centroids.emplace_back((mVertices[triangle[0]] + mVertices[triangle[1]] + mVertices[triangle[2]]) / T(3));
    mOrder.resize(mTriangles.size());
    for (std::uint32_t i = 0; i < mOrder.size(); ++i)
        mOrder[i] = i;
    mNodes.reserve(2 * (mTriangles.size() / maxTrianglesPerLeaf + 1));
    buildNode(centroids, 0, static_cast<std::uint32_t>(mTriangles.size()));
    const Node& root = mNodes.front();
    mBoundingBox =
        BoxType(PointType(root.low[0], root.low[1], root.low[2]), PointType(root.high[0], root.high[1], root.high[2]));
}

template <typename T>
std::uint32_t TriangleMesh<T>::buildNode(std::vector<PointType>& centroids, std::uint32_t first, std::uint32_t count)
{
    const auto index = static_cast<std::uint32_t>(mNodes.size());
    BoxType bounds;
    BoxType centroidBounds;
    for (std::uint32_t i = first; i < first + count; ++i) {
        const std::uint32_t triangle = mOrder[i];
        for (const std::uint32_t vertex : mTriangles[triangle])
            bounds.extend(mVertices[vertex]);
        centroidBounds.extend(centroids[triangle]);
    }
    Node node;
    for (int axis = 0; axis < 3; ++axis) {
        node.low[axis] = bounds.min()[axis];
        node.high[axis] = bounds.max()[axis];
    }
    mNodes.push_back(node);
    if (count <= maxTrianglesPerLeaf) {
        mNodes[index].first = first;
        mNodes[index].count = count;
        return index;
    }

    // Splitting at the median centroid along the widest axis keeps the tree balanced, which bounds
    // its depth; triangles with one common centroid are simply halved.
    int axis = 0;
    centroidBounds.size().maxCoeff(&axis);
    const std::uint32_t half = count / 2;
    const auto begin = mOrder.begin() + first;
    std::nth_element(begin, begin + half, begin + count, [&](std::uint32_t left, std::uint32_t right) {
        return centroids[left][axis] < centroids[right][axis];
    });
    buildNode(centroids, first, half);
    const std::uint32_t right = buildNode(centroids, first + half, count - half);
    mNodes[index].first = right;
    mNodes[index].count = 0;
    return index;
}

template <typename T>
TriangleMesh<T> TriangleMesh<T>::transformed(const MatrixType& matrix) const
{
    std::vector<PointType> vertices;
    vertices.reserve(mVertices.size());
    for (const PointType& vertex : mVertices)
        vertices.emplace_back((matrix * vertex.homogeneous()).hnormalized());
    return TriangleMesh(std::move(vertices), mTriangles);
}

template <typename T>
typename TriangleMesh<T>::PointType TriangleMesh<T>::nearestPointOnTriangle(const PointType& point, const PointType& a,
                                                                            const PointType& b, const PointType& c)
{
    return nearestOnTriangle(point.template cast<double>(), a.template cast<double>(), b.template cast<double>(),
                             c.template cast<double>())
        .template cast<T>();
}

template <typename T>
std::optional<typename TriangleMesh<T>::NearestPoint> TriangleMesh<T>::nearestPoint(const PointType& point) const
{
    return nearestPoint(point, std::numeric_limits<T>::infinity());
}

template <typename T>
std::optional<typename TriangleMesh<T>::NearestPoint> TriangleMesh<T>::nearestPoint(const PointType& point,
                                                                                    T maxSquaredDistance) const
{
    if (mNodes.empty() || !point.allFinite() || !(maxSquaredDistance >= T(0)))
        return std::nullopt;
    const Vector3d p = point.template cast<double>();
    std::optional<NearestPoint> best;
    T bound = maxSquaredDistance;

    std::array<std::uint32_t, traversalStackSize> stack{};
    std::size_t size = 0;
    stack[size++] = 0;
    while (size > 0) {
        const Node& node = mNodes[stack[--size]];
        if (node.squaredDistanceTo(point) > bound)
            continue;
        if (node.count > 0) {
            for (std::uint32_t i = node.first; i < node.first + node.count; ++i) {
                const Triangle& triangle = mTriangles[mOrder[i]];
                const Vector3d q = nearestOnTriangle(p, mVertices[triangle[0]].template cast<double>(),
                                                     mVertices[triangle[1]].template cast<double>(),
                                                     mVertices[triangle[2]].template cast<double>());
                const auto squaredDistance = static_cast<T>((q - p).squaredNorm());
                if (squaredDistance < bound || (!best && squaredDistance <= bound)) {
                    best = NearestPoint{q.template cast<T>(), mOrder[i], squaredDistance};
                    bound = squaredDistance;
                }
            }
            continue;
        }
        // Visit the nearer child first: it usually tightens the bound enough to skip the other.
        std::uint32_t nearer = static_cast<std::uint32_t>(&node - mNodes.data()) + 1;
        std::uint32_t farther = node.first;
        T nearerDistance = mNodes[nearer].squaredDistanceTo(point);
        T fartherDistance = mNodes[farther].squaredDistanceTo(point);
        if (fartherDistance < nearerDistance) {
            std::swap(nearer, farther);
            std::swap(nearerDistance, fartherDistance);
        }
        if (fartherDistance <= bound)
            stack[size++] = farther;
        if (nearerDistance <= bound)
            stack[size++] = nearer;
    }
    return best;
}

template <typename T>
bool TriangleMesh<T>::mayBeWithinDistance(const BoxType& box, T distance) const
{
    if (mNodes.empty() || box.isEmpty() || !(distance >= T(0)))
        return false;
    const T bound = distance * distance;
    std::array<std::uint32_t, traversalStackSize> stack{};
    std::size_t size = 0;
    stack[size++] = 0;
    while (size > 0) {
        const std::uint32_t index = stack[--size];
        const Node& node = mNodes[index];
        if (node.squaredDistanceTo(box) > bound)
            continue;
        if (node.count == 0) {
            stack[size++] = node.first;
            stack[size++] = index + 1;
            continue;
        }
        for (std::uint32_t i = node.first; i < node.first + node.count; ++i) {
            BoxType triangleBox;
            for (const std::uint32_t vertex : mTriangles[mOrder[i]])
                triangleBox.extend(mVertices[vertex]);
            Node single{{triangleBox.min()[0], triangleBox.min()[1], triangleBox.min()[2]},
                        {triangleBox.max()[0], triangleBox.max()[1], triangleBox.max()[2]}};
            if (single.squaredDistanceTo(box) <= bound)
                return true;
        }
    }
    return false;
}

template class TriangleMesh<float>;
template class TriangleMesh<double>;

} // namespace Math
