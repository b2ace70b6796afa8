#pragma once

// Two stores hold the same points when every node, walked in the same order, decodes to the same
// positions and colours: how a store read over a network is checked against the same store on disk.

#include <lumaro/octree/Octree.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

// Every node's points, in a walk order that does not depend on the store's location.
inline std::vector<Octree::NodePointData> allPoints(const Octree::Octree& tree)
{
    std::vector<Octree::NodePointData> points;
    std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        const Octree::OctreeNodeId node = pending.back();
        pending.pop_back();
        points.push_back(*tree.nodePointData(node, {}));
        for (const Octree::OctreeNodeId child : tree.children(node)) {
            pending.push_back(child);
        }
    }
    return points;
}

inline void expectSamePoints(const Octree::Octree& remote, const Octree::Octree& local)
{
    EXPECT_EQ(remote.pointCount(), local.pointCount());
    EXPECT_EQ(remote.referencePosition(), local.referencePosition());
    const auto remotePoints = allPoints(remote);
    const auto localPoints = allPoints(local);
    ASSERT_EQ(remotePoints.size(), localPoints.size());
    for (std::size_t n = 0; n < remotePoints.size(); ++n) {
        ASSERT_EQ(remotePoints[n].size(), localPoints[n].size());
        for (std::size_t i = 0; i < remotePoints[n].size(); ++i) {
            ASSERT_EQ(remotePoints[n].position(i), localPoints[n].position(i)) << "node " << n << " point " << i;
            ASSERT_EQ(remotePoints[n].color(i), localPoints[n].color(i)) << "node " << n << " point " << i;
        }
    }
}

} // namespace
