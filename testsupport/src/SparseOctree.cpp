#include <lumaro/testsupport/SparseOctree.h>

#include <lumaro/octree/potree/FileSystemLocation.h>

#include <cmath>
#include <stdexcept>

namespace TestSupport {

using ::Octree::OctreeNodeId;

namespace {

Math::NBoundingBox<double, 3> cube()
{
    constexpr double min = SparseOctree::cubeMin;
    constexpr double max = SparseOctree::cubeMin + SparseOctree::cubeSize;
    return {Math::Point<double, 3>(min, min, min), Math::Point<double, 3>(max, max, max)};
}

Math::NBoundingBox<double, 3> plane()
{
    constexpr double min = SparseOctree::cubeMin;
    constexpr double max = SparseOctree::cubeMin + SparseOctree::cubeSize;
    const double z = SparseOctree::planeHeight();
    return {Math::Point<double, 3>(min, min, z), Math::Point<double, 3>(max, max, z)};
}

// The z cell of the plane in the grid of a level: a third never falls on a cell's edge.
std::uint32_t planeCell(std::size_t level)
{
    return static_cast<std::uint32_t>((std::uint64_t(1) << level) / 3);
}

std::uint64_t nodesDownTo(std::size_t depth)
{
    return ((std::uint64_t(1) << (2 * (depth + 1))) - 1) / 3;
}

// A well-spread fraction in [0, 1) of a node and a number (splitmix64).
double fraction(std::uint64_t node, std::uint64_t k)
{
    std::uint64_t x = node * 0x9e3779b97f4a7c15ull + k;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    x ^= x >> 31;
    return static_cast<double>(x >> 11) / 9007199254740992.0;
}

} // namespace

SparseOctree::SparseOctree(const std::string& name, std::size_t depth, std::uint64_t totalPoints)
    : ::Octree::Octree(PoTree::FileSystemLocation("/synthetic/" + name), 1.0, cube(), plane(), cubeSize / 128.0),
      mDepth(depth),
      mTotal(totalPoints)
{
    if (depth > OctreeNodeId::MAX_REPRESENTABLE_LEVEL)
        throw std::invalid_argument("a sparse octree of depth " + std::to_string(depth)
                                    + " is deeper than node ids reach");
    mNodes = nodesDownTo(depth);
    if (totalPoints < mNodes)
        throw std::invalid_argument("a sparse octree of " + std::to_string(mNodes) + " nodes needs as many points");
    mPointsPerNode = totalPoints / mNodes;
}

std::vector<OctreeNodeId> SparseOctree::children(OctreeNodeId node, std::stop_token) const
{
    std::vector<OctreeNodeId> result;
    if (!contains(node) || node.level() >= mDepth)
        return result;
    const std::uint32_t z = planeCell(node.level() + 1);
    for (std::size_t i = 0; i < 8; ++i) {
        const OctreeNodeId child = node.child(i);
        if (child.gridPosition()[2] == z)
            result.push_back(child);
    }
    mNamed += result.size();
    return result;
}

bool SparseOctree::contains(OctreeNodeId node) const
{
    return node.level() <= mDepth && node.gridPosition()[2] == planeCell(node.level());
}

::Octree::NodeVisibility SparseOctree::nodeVisibility(OctreeNodeId) const
{
    return ::Octree::NodeVisibility::AllVisible;
}

std::uint64_t SparseOctree::pointCount(OctreeNodeId node) const
{
    if (!contains(node))
        return 0;
    // The nodes in level order, row by row: the first ones take a point each of the remainder.
    const std::size_t level = node.level();
    const auto cell = node.gridPosition();
    const std::uint64_t index = (level == 0 ? 0 : nodesDownTo(level - 1)) + (std::uint64_t(cell[1]) << level) + cell[0];
    return mPointsPerNode + (index < mTotal - mPointsPerNode * mNodes ? 1 : 0);
}

::Octree::PointAttributes SparseOctree::availableAttributes() const
{
    return ::Octree::PointAttribute::Position | ::Octree::PointAttribute::Color | ::Octree::PointAttribute::Intensity;
}

std::optional<::Octree::NodePointData> SparseOctree::nodePointData(OctreeNodeId node, std::stop_token stop,
                                                                   ::Octree::PointAttributes wanted) const
{
    if (!contains(node))
        throw std::invalid_argument("no node " + node.name() + " in " + location().toString());
    ++mRead;
    if (stop.stop_requested())
        return std::nullopt;
    const std::size_t count = static_cast<std::size_t>(pointCount(node));
    ::Octree::NodePointData points(wanted & availableAttributes(), count);
    const auto box = worldBoundingCube(node);
    const Math::Point<double, 3> reference = referencePosition();
    const double edge = box.max().x() - box.min().x();
    for (std::size_t k = 0; k < count; ++k) {
        const double fx = fraction(node.value(), 2 * k);
        const double fy = fraction(node.value(), 2 * k + 1);
        if (points.hasPositions()) {
            const Math::Point<double, 3> world(box.min().x() + edge * fx, box.min().y() + edge * fy,
                                               planeHeight() * unitScale());
            points.setPosition(k, Math::Point<float, 3>((world - reference).cast<float>()));
        }
        if (points.hasColors())
            points.setColor(k,
                            {static_cast<std::uint8_t>(fx * 255.0), static_cast<std::uint8_t>(fy * 255.0),
                             static_cast<std::uint8_t>(node.level() * 20), 255});
        if (points.hasIntensities())
            points.setIntensity(k, static_cast<std::uint16_t>(fx * 65535.0));
    }
    return points;
}

} // namespace TestSupport
