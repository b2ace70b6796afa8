#pragma once

#include <lumaro/octree/OctreeNodeId.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace Render {

// An octree node of one particular point cloud: the clouds that share a prioritizer are told apart
// by the instance id of their renderable.
struct NodeId {
    std::uint64_t instanceId = 0;
    Octree::OctreeNodeId nodeId;

    friend bool operator==(const NodeId& a, const NodeId& b)
    {
        return a.instanceId == b.instanceId && a.nodeId == b.nodeId;
    }
    friend bool operator!=(const NodeId& a, const NodeId& b) { return !(a == b); }
};

static_assert(sizeof(NodeId) == 16 && offsetof(NodeId, nodeId) == 8);

} // namespace Render

// The hash of the prioritizer's resident map. Its result type is bool: every NodeId hashes to 0 or
// 1, so the map keeps all nodes in at most two buckets and a lookup compares against about half of
// the resident nodes. That is slow but correct, and the bucket layout of the map is kept as it is
// on purpose; the benchmarks measure what it costs.
template <>
struct std::hash<Render::NodeId> {
    static constexpr std::uint64_t fnvOffsetBasis = 0xcbf29ce484222325ull;
    static constexpr std::uint64_t fnvPrime = 0x100000001b3ull;
    static constexpr std::uint64_t goldenRatio = 0x9e3779b9ull;

    // 64-bit FNV-1a over eight bytes of the id as they lie in memory.
    static std::uint64_t fnv1a(const std::array<unsigned char, 16>& bytes, std::size_t first)
    {
        std::uint64_t hash = fnvOffsetBasis;
        for (std::size_t i = first; i < first + 8; ++i) {
            hash ^= bytes[i];
            hash *= fnvPrime;
        }
        return hash;
    }

    bool operator()(const Render::NodeId& id) const noexcept
    {
        const auto bytes = std::bit_cast<std::array<unsigned char, 16>>(id);
        const std::uint64_t h1 = fnv1a(bytes, 0) + goldenRatio;
        const std::uint64_t h2 = fnv1a(bytes, 8);
        const std::uint64_t v = (h1 << 6) + h2 + goldenRatio + (h1 >> 2);
        return v != h1;
    }
};
