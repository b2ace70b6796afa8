#pragma once

#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Node.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string_view>
#include <vector>

namespace PoTree {

inline constexpr std::size_t HIERARCHY_RECORD_SIZE = 22;

// Nodes of one hierarchy chunk in breadth-first order, the chunk's root first. Nodes beyond
// `describedCount` were announced by a child mask but the chunk ran out of records for them.
struct HierarchyChunk {
    std::vector<std::shared_ptr<Node>> nodes;
    std::size_t describedCount = 0;
};

// Reads the chunk of `byteSize` bytes at `byteOffset` of hierarchy.bin into `root` and the nodes
// below it, linking children into their parents. Returns false when `stop` is signalled before
// the bytes are read. Throws what the loader throws.
bool loadHierarchyChunk(const FileLoader& loader, const std::shared_ptr<Node>& root, std::uint64_t byteOffset,
                        std::uint64_t byteSize, std::stop_token stop, HierarchyChunk* chunk = nullptr);

// The decoding half of loadHierarchyChunk, on bytes already in memory. Whole records only: a
// trailing partial record is ignored.
HierarchyChunk parseHierarchyChunk(std::string_view bytes, const std::shared_ptr<Node>& root);

} // namespace PoTree
