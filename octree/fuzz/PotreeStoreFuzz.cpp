// A whole Potree 2.0 store from one input: metadata.json, hierarchy.bin and octree.bin (see
// Fuzz::splitFiles), opened and walked as the renderer and `lumaro points` do. Opening and every
// node either succeed or fail with std::runtime_error; anything else is a finding.
#include "MemoryStore.h"

#include <lumaro/octree/potree/PotreeTree.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::openAndWalk<PoTree::PotreeTree>("/memory", Fuzz::splitFiles({reinterpret_cast<const char*>(data), size}),
                                          [](const PoTree::PotreeTree& tree, Octree::OctreeNodeId node) {
                                              if (const auto raw = tree.rawPoints(node, {});
                                                  raw && raw->positions.size() != raw->count) {
                                                  __builtin_trap(); // every point a Potree node holds has a position
                                              }
                                          });
    return 0;
}
