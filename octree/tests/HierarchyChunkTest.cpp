#include <lumaro/octree/potree/HierarchyChunk.h>

#include <lumaro/testsupport/PotreeEncoding.h>

#include <gtest/gtest.h>

using namespace PoTree;
using Octree::OctreeNodeId;
using TestSupport::hierarchyRecord;

namespace {

std::shared_ptr<Node> cubeNode(OctreeNodeId id = OctreeNodeId::root())
{
    return std::make_shared<Node>(id, Math::NBoundingBox<double, 3>({0.0, 0.0, 0.0}, {16.0, 16.0, 16.0}));
}

} // namespace

TEST(HierarchyChunk, ReadsWholeRecordsOnly)
{
    const std::string twoRecords = hierarchyRecord(0, 0x01, 10, 0, 100) + hierarchyRecord(1, 0, 5, 100, 50);
    EXPECT_TRUE(parseHierarchyChunk(twoRecords.substr(0, 21), cubeNode()).nodes.empty());

    const auto chunk = parseHierarchyChunk(twoRecords + std::string(1, '\x07'), cubeNode()); // 45 bytes
    ASSERT_EQ(chunk.nodes.size(), 2u);
    EXPECT_EQ(chunk.describedCount, 2u);
    EXPECT_EQ(chunk.nodes[1]->id, OctreeNodeId::fromName("r0"));
    EXPECT_EQ(chunk.nodes[1]->pointCount, 5u);
    EXPECT_EQ(chunk.nodes[1]->byteOffset, 100u);
}

TEST(HierarchyChunk, CopiesEveryFieldOfARecord)
{
    const std::uint64_t offset = (std::uint64_t(1) << 40) + 5;
    const std::uint64_t size = (std::uint64_t(3) << 33) + 7;
    const auto root = cubeNode();
    parseHierarchyChunk(hierarchyRecord(1, 0, 0x89ABCDEFu, offset, size, 2), root);
    EXPECT_EQ(root->type, NodeType::Leaf);
    EXPECT_EQ(root->visibility, Octree::NodeVisibility::AllHidden);
    EXPECT_EQ(root->childMask, 0);
    EXPECT_EQ(root->pointCount, 0x89ABCDEFu);
    EXPECT_EQ(root->byteOffset, offset);
    EXPECT_EQ(root->byteSize, size);
    EXPECT_TRUE(root->described);
}

TEST(HierarchyChunk, OnlyVisibilityNibblesOneAndTwoSpeakForTheWholeNode)
{
    const std::vector<std::pair<std::uint8_t, Octree::NodeVisibility>> cases{
        {0, Octree::NodeVisibility::PerPoint},  {1, Octree::NodeVisibility::AllVisible},
        {2, Octree::NodeVisibility::AllHidden}, {3, Octree::NodeVisibility::PerPoint},
        {7, Octree::NodeVisibility::PerPoint},  {15, Octree::NodeVisibility::PerPoint}};
    for (const auto& [nibble, expected] : cases) {
        const auto root = cubeNode();
        parseHierarchyChunk(hierarchyRecord(0, 0, 1, 0, 1, nibble), root);
        EXPECT_EQ(root->visibility, expected) << "nibble " << int(nibble);
        EXPECT_EQ(root->type, NodeType::Normal) << "the visibility nibble must not leak into the type";
    }
}

TEST(HierarchyChunk, ExpandsChildrenBreadthFirstIntoTheirOctants)
{
    // Root with children 0 and 6; child 6 has child 1. Type 1 says "leaf" but the mask decides.
    const std::string records = hierarchyRecord(0, 0x41, 1, 0, 1) + hierarchyRecord(1, 0, 1, 1, 1)
        + hierarchyRecord(1, 0x02, 1, 2, 1) + hierarchyRecord(1, 0, 1, 3, 1);
    const auto root = cubeNode();
    const auto chunk = parseHierarchyChunk(records, root);
    ASSERT_EQ(chunk.nodes.size(), 4u);
    EXPECT_EQ(chunk.nodes[1]->id.name(), "r0");
    EXPECT_EQ(chunk.nodes[2]->id.name(), "r6");
    EXPECT_EQ(chunk.nodes[3]->id.name(), "r61");
    EXPECT_EQ(root->children[6], chunk.nodes[2]);
    EXPECT_EQ(chunk.nodes[2]->byteOffset, 2u);

    // Child 6 = upper x, upper y, lower z; its child 1 = lower x, lower y, upper z of that.
    const auto& r6 = chunk.nodes[2]->box;
    EXPECT_EQ(r6.min(), (Math::Point<double, 3>(8.0, 8.0, 0.0)));
    EXPECT_EQ(r6.max(), (Math::Point<double, 3>(16.0, 16.0, 8.0)));
    const auto& r61 = chunk.nodes[3]->box;
    EXPECT_EQ(r61.min(), (Math::Point<double, 3>(8.0, 8.0, 4.0)));
    EXPECT_EQ(r61.max(), (Math::Point<double, 3>(12.0, 12.0, 8.0)));
}

TEST(HierarchyChunk, ProxiesAndTheDeepestLevelGetNoChildren)
{
    const auto proxy = cubeNode();
    const auto fromProxy = parseHierarchyChunk(hierarchyRecord(2, 0xFF, 9, 440, 44), proxy);
    EXPECT_EQ(fromProxy.nodes.size(), 1u);
    EXPECT_TRUE(proxy->isProxy());
    EXPECT_EQ(proxy->byteOffset, 440u);

    const auto deepest = cubeNode(OctreeNodeId::fromName("r" + std::string(21, '3')));
    const auto fromDeepest =
        parseHierarchyChunk(hierarchyRecord(0, 0xFF, 1, 0, 1) + hierarchyRecord(0, 0, 1, 0, 1), deepest);
    EXPECT_EQ(fromDeepest.nodes.size(), 1u);
    for (const auto& child : deepest->children) {
        EXPECT_EQ(child, nullptr);
    }
}
