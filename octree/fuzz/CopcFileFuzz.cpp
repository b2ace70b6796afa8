// A whole COPC file as the input: header, COPC info, LASzip record, hierarchy pages anywhere in
// the file and the node chunks, each framed as a LAZ file of its own and decoded by LASzip. Opened
// and walked as the renderer and `lumaro points` do; opening and every node either succeed or fail
// with std::runtime_error, anything else is a finding.
#include "MemoryStore.h"

#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The store is one file, named by the empty name.
    const auto reader = std::make_shared<Fuzz::MemoryStoreReader>(
        std::map<std::string, std::string, std::less<>>{{"", std::string(reinterpret_cast<const char*>(data), size)}});
    std::unique_ptr<Copc::CopcTree> tree;
    try {
        tree = std::make_unique<Copc::CopcTree>(PoTree::FileSystemLocation("/memory.copc.laz"), 1.0, reader);
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
