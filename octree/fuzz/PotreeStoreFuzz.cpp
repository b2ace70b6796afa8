// A whole Potree 2.0 store from one input: metadata.json, hierarchy.bin and octree.bin (see
// Fuzz::splitFiles), opened and walked as the renderer and `lumaro points` do. Opening and every
// node either succeed or fail with std::runtime_error; anything else is a finding.
#include "MemoryStore.h"

#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto reader = std::make_shared<Fuzz::MemoryStoreReader>(Fuzz::splitFiles(input));
    std::unique_ptr<PoTree::PotreeTree> tree;
    try {
        tree = std::make_unique<PoTree::PotreeTree>(PoTree::FileSystemLocation("/memory"), 1.0, reader);
    } catch (const std::runtime_error&) {
        return 0;
    }
    Fuzz::walk(*tree, [&](Octree::OctreeNodeId node) {
        if (const auto raw = tree->rawPoints(node, {}); raw && raw->positions.size() != raw->count) {
            __builtin_trap(); // every point a Potree node holds has a position
        }
    });
    return 0;
}
