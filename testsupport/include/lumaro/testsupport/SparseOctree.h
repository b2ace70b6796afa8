#pragma once

#include <lumaro/octree/Octree.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace TestSupport {

// A sparse synthetic store of any size, made procedurally: no data behind it, so a store of 10^10
// points costs nothing to open. Its points lie on a horizontal plane (a flat terrain), a third of
// the way up its root cube: the nodes are the cells the plane passes through, four children per
// node down to `depth`, (4^(depth+1) - 1) / 3 nodes in all, and the `totalPoints` are spread evenly
// over them (the first nodes in level order take one more each, for the remainder). A node's points follow closed
// formulas of the node and the point's number, with colours and intensities.
//
// It counts what users ask of it, so that tests can tell how much of the store a walk touched.
class SparseOctree : public Octree::Octree {
public:
    static constexpr double cubeMin = 1000.0;
    static constexpr double cubeSize = 1024.0;

    // Throws std::invalid_argument for a depth beyond the deepest level a node id holds, or fewer
    // points than nodes.
    SparseOctree(const std::string& name, std::size_t depth, std::uint64_t totalPoints);

    // Nodes of the whole store, and the points of a node (one more for some).
    std::uint64_t nodeCount() const { return mNodes; }
    std::uint64_t pointsPerNode() const { return mPointsPerNode; }
    // The height of the plane, unscaled.
    static double planeHeight() { return cubeMin + cubeSize / 3.0; }

    // What was asked so far: node ids handed out by children(), and nodes read.
    std::uint64_t nodesNamed() const { return mNamed.load(); }
    std::uint64_t nodesRead() const { return mRead.load(); }

    using ::Octree::Octree::children;
    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId node) const override;
    std::uint64_t pointCount() const override { return mTotal; }
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override;
    std::optional<::Octree::NodePointData> nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                                                         ::Octree::PointAttributes wanted) const override;

private:
    std::size_t mDepth;
    std::uint64_t mTotal;
    std::uint64_t mNodes;
    std::uint64_t mPointsPerNode;
    mutable std::atomic<std::uint64_t> mNamed{0};
    mutable std::atomic<std::uint64_t> mRead{0};
};

} // namespace TestSupport
