#include <lumaro/octree/TreeSummary.h>

#include <algorithm>

namespace Octree {

TreeSummary summarizeTree(const Octree& tree)
{
    TreeSummary summary;
    std::vector<OctreeNodeId> pending{OctreeNodeId::root()};
    while (!pending.empty()) {
        const OctreeNodeId node = pending.back();
        pending.pop_back();
        const std::size_t level = node.level();
        summary.nodes += 1;
        summary.depth = std::max(summary.depth, level);
        if (summary.nodesPerLevel.size() <= level) {
            summary.nodesPerLevel.resize(level + 1, 0);
        }
        summary.nodesPerLevel[level] += 1;
        const std::uint64_t points = tree.pointCount(node);
        summary.pointsInNodes += points;
        summary.nodesWithoutPoints += points == 0 ? 1 : 0;
        const auto children = tree.children(node);
        summary.leafNodes += children.empty() ? 1 : 0;
        pending.insert(pending.end(), children.begin(), children.end());
    }
    return summary;
}

} // namespace Octree
