// A whole EPT store from one input: ept.json, hierarchy files and node data of any of the three
// encodings (see Fuzz::splitFiles), opened and walked as the renderer and `lumaro points` do.
// Opening and every node either succeed or fail with std::runtime_error; anything else is a
// finding.
#include "MemoryStore.h"

#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto reader = std::make_shared<Fuzz::MemoryStoreReader>(Fuzz::splitFiles(input));
    std::unique_ptr<Entwine::EntwineTree> tree;
    try {
        tree = std::make_unique<Entwine::EntwineTree>(PoTree::FileSystemLocation("/memory"), 1.0, reader);
    } catch (const std::runtime_error&) {
        return 0;
    }
    Fuzz::walk(*tree, [&](Octree::OctreeNodeId node) {
        const auto decoded = tree->decodedPoints(node, {});
        if (decoded && decoded->points.positions.size() != decoded->points.count) {
            __builtin_trap(); // every decoded point has a position
        }
    });
    return 0;
}
