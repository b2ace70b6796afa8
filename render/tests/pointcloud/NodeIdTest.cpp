#include <lumaro/render/pointcloud/NodeId.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::NodeId;

// 64-bit FNV-1a, written out from its definition.
std::uint64_t fnv1a(const std::vector<std::uint8_t>& bytes)
{
    std::uint64_t hash = 14695981039346656037ull;
    for (const std::uint8_t byte : bytes) {
        hash ^= byte;
        hash *= 1099511628211ull;
    }
    return hash;
}

std::vector<std::uint8_t> littleEndian(std::uint64_t value)
{
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 8; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

bool expectedHash(const NodeId& id)
{
    const std::uint64_t h1 = fnv1a(littleEndian(id.instanceId)) + 0x9e3779b9ull;
    const std::uint64_t h2 = fnv1a(littleEndian(id.nodeId.value()));
    return (h1 << 6) + h2 + 0x9e3779b9ull + (h1 >> 2) != h1;
}

TEST(NodeId, ReferenceHashMatchesAPublishedVector)
{
    EXPECT_EQ(fnv1a({}), 0xcbf29ce484222325ull);
    EXPECT_EQ(fnv1a({'a'}), 0xaf63dc4c8601ec8cull);
}

TEST(NodeId, HashIsABooleanOverTheSixteenBytes)
{
    static_assert(std::is_same_v<decltype(std::hash<NodeId>{}(NodeId{})), bool>);
    const std::vector<NodeId> ids{{0, OctreeNodeId::root()},
                                  {1, OctreeNodeId::root()},
                                  {7, OctreeNodeId::fromName("r0")},
                                  {0xFFFFFFFFFFFFFFFFull, OctreeNodeId::fromName("r7777")},
                                  {42, OctreeNodeId::fromName("r01234567012345670123")}};
    for (const NodeId& id : ids)
        EXPECT_EQ(std::hash<NodeId>{}(id), expectedHash(id)) << id.instanceId << " " << id.nodeId.name();
}

TEST(NodeId, EqualityNeedsBothParts)
{
    const NodeId a{3, OctreeNodeId::fromName("r12")};
    EXPECT_TRUE(a == (NodeId{3, OctreeNodeId::fromName("r12")}));
    EXPECT_FALSE(a != (NodeId{3, OctreeNodeId::fromName("r12")}));
    EXPECT_TRUE(a != (NodeId{4, OctreeNodeId::fromName("r12")}));
    EXPECT_TRUE(a != (NodeId{3, OctreeNodeId::fromName("r13")}));
}

TEST(NodeId, ASetOfManyIdsStillFindsEachOne)
{
    std::unordered_set<NodeId> set(8);
    for (std::uint64_t instance = 0; instance < 3; ++instance)
        for (std::size_t child = 0; child < 8; ++child)
            set.insert({instance, OctreeNodeId::root().child(child)});
    EXPECT_EQ(set.size(), 24u);
    EXPECT_TRUE(set.contains({2, OctreeNodeId::fromName("r5")}));
    EXPECT_FALSE(set.contains({3, OctreeNodeId::fromName("r5")}));
}

} // namespace
