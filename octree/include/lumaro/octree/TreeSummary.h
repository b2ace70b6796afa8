#pragma once

#include <lumaro/octree/Octree.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Octree {

// Facts about a whole octree, gathered by walking every node (reads the complete hierarchy).
struct TreeSummary {
    std::uint64_t pointsInNodes = 0; // sum over all nodes
    std::size_t nodes = 0;
    std::vector<std::size_t> nodesPerLevel;
    std::size_t depth = 0; // deepest level that has a node
    std::size_t leafNodes = 0;
    std::size_t nodesWithoutPoints = 0;
};

TreeSummary summarizeTree(const Octree& tree);

} // namespace Octree
