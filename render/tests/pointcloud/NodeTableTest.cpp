#include <lumaro/testsupport/render/FakeVertexSource.h>

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::NodePrioritizer;
using Render::PointCloudBuffers;
using RenderTest::cubeOf;
using RenderTest::FakeVertexSource;
using RenderTest::priorityOfSize;

constexpr float rootSize = 64.0f;

struct Texel {
    unsigned mask;
    unsigned offset;
};

Texel texelAt(const PointCloudBuffers& buffers, std::size_t index)
{
    const std::uint8_t* texel = &buffers.nodeTexels[index * 4];
    return {texel[0], texel[1] * 256u + texel[2]};
}

// The shader's level-of-detail walk, step by step as the point-cloud shader takes it: from the
// node being drawn down through the resident children that contain the point.
std::size_t lodLevel(const PointCloudBuffers& buffers, std::size_t texel, std::size_t depth, Eigen::Vector3f min,
                     const Eigen::Vector3f& position)
{
    for (int step = 0; step < 22; ++step) {
        const float size = rootSize / std::pow(2.0f, static_cast<float>(depth));
        const Eigen::Vector3f p = (position - min) / size;
        const Eigen::Vector3f half(p.x() >= 0.5f ? 1.0f : 0.0f, p.y() >= 0.5f ? 1.0f : 0.0f,
                                   p.z() >= 0.5f ? 1.0f : 0.0f);
        const unsigned childIndex = static_cast<unsigned>(4 * half.x() + 2 * half.y() + half.z());
        const Texel node = texelAt(buffers, texel);
        if ((node.mask & (1u << childIndex)) == 0)
            return depth;
        texel += node.offset + static_cast<unsigned>(std::popcount(node.mask & ((1u << childIndex) - 1u)));
        depth += 1;
        min += 0.5f * size * half;
    }
    return depth;
}

class NodeTable : public ::testing::Test {
protected:
    NodePrioritizer prioritizer{1000000};
    FakeVertexSource source{[](OctreeNodeId node) { return 1 + node.value() % 5; }};
    Core::TripleBuffer<PointCloudBuffers> buffers;

    void admit(const char* name, std::uint64_t instance = 1, float size = 10.0f)
    {
        const OctreeNodeId node = OctreeNodeId::fromName(name);
        ASSERT_TRUE(
            prioritizer.offer({instance, node}, cubeOf(node, rootSize), priorityOfSize(size), source, {}).resident);
    }

    const PointCloudBuffers& publish(std::uint64_t instance, bool dropDeepestLevel = false)
    {
        prioritizer.updateBuffers(instance, dropDeepestLevel, buffers);
        EXPECT_TRUE(buffers.swapRead());
        return buffers.readSlot();
    }
};

TEST_F(NodeTable, ChildrenFollowEachOtherInLevelOrder)
{
    for (const char* name : {"r52", "r3", "r37", "r", "r0", "r30", "r5"})
        admit(name);
    admit("r1", 2); // another point cloud's node
    const PointCloudBuffers& table = publish(1);

    // r(0) r0(1) r3(2) r5(3) r30(4) r37(5) r52(6)
    const char* order[] = {"r", "r0", "r3", "r5", "r30", "r37", "r52"};
    ASSERT_EQ(table.nodeCount(), 7u);
    ASSERT_EQ(table.nodeTexels.size(), 28u);
    EXPECT_EQ(table.levelCount, 3u);
    std::size_t firstPoint = 0;
    for (std::size_t texel = 0; texel < 7; ++texel) {
        const OctreeNodeId node = OctreeNodeId::fromName(order[texel]);
        const auto& draw = table.nodes[texel];
        EXPECT_EQ(draw.texel, texel);
        EXPECT_EQ(draw.level, node.level());
        EXPECT_EQ(draw.cube, cubeOf(node, rootSize));
        EXPECT_EQ(draw.firstPoint, firstPoint);
        EXPECT_EQ(draw.pointCount, 1 + node.value() % 5);
        for (std::size_t i = 0; i < draw.pointCount; ++i)
            EXPECT_EQ(table.vertices[firstPoint + i].scanIndex, static_cast<std::uint16_t>(node.value()));
        firstPoint += draw.pointCount;
        EXPECT_EQ(table.nodeTexels[texel * 4 + 3], 0u); // alpha unused
    }
    EXPECT_EQ(table.pointCount(), firstPoint);

    EXPECT_EQ(texelAt(table, 0).mask, 0b00101001u); // children 0, 3, 5
    EXPECT_EQ(texelAt(table, 0).offset, 1u);
    EXPECT_EQ(texelAt(table, 1).mask, 0u);
    EXPECT_EQ(texelAt(table, 2).mask, 0b10000001u); // r30, r37
    EXPECT_EQ(texelAt(table, 2).offset, 2u);
    EXPECT_EQ(texelAt(table, 3).mask, 0b00000100u); // r52
    EXPECT_EQ(texelAt(table, 3).offset, 3u);
    for (std::size_t leaf = 4; leaf < 7; ++leaf)
        EXPECT_EQ(texelAt(table, leaf).mask, 0u);
}

TEST_F(NodeTable, DroppingTheDeepestLevelUnlinksItsNodes)
{
    for (const char* name : {"r", "r0", "r3", "r30", "r37"})
        admit(name);
    const PointCloudBuffers& table = publish(1, true);
    EXPECT_EQ(table.levelCount, 2u);
    ASSERT_EQ(table.nodeCount(), 3u);
    EXPECT_EQ(texelAt(table, 0).mask, 0b00001001u);
    EXPECT_EQ(texelAt(table, 2).mask, 0u);
    EXPECT_EQ(table.pointCount(), table.nodes[2].firstPoint + table.nodes[2].pointCount);
}

TEST_F(NodeTable, LevelsCountOnlyWhileContiguousFromTheRoot)
{
    admit("r");
    admit("r12"); // level 2 without a level-1 node
    const PointCloudBuffers& table = publish(1);
    EXPECT_EQ(table.levelCount, 1u);
    ASSERT_EQ(table.nodeCount(), 2u);
    // r12 is drawn but not reachable from the root.
    EXPECT_EQ(texelAt(table, 0).mask, 0u);
    // Dropping "the deepest level" of one level leaves nothing.
    const PointCloudBuffers& dropped = publish(1, true);
    EXPECT_EQ(dropped.levelCount, 0u);
    EXPECT_EQ(dropped.nodeCount(), 0u);
    EXPECT_TRUE(dropped.nodeTexels.empty());
    EXPECT_TRUE(dropped.vertices.empty());
}

TEST_F(NodeTable, DiscardedNodesAreNotDrawn)
{
    for (const char* name : {"r", "r4", "r6"})
        admit(name);
    prioritizer.reprioritize(1, [](OctreeNodeId node, const auto&) {
        return node == OctreeNodeId::fromName("r4") ? Render::NodePriority::discard() : priorityOfSize(10.0f);
    });
    const PointCloudBuffers& table = publish(1);
    ASSERT_EQ(table.nodeCount(), 2u);
    EXPECT_EQ(table.nodes[1].cube, cubeOf(OctreeNodeId::fromName("r6"), rootSize));
    EXPECT_EQ(texelAt(table, 0).mask, 1u << 6);
}

TEST_F(NodeTable, AtMost4096NodesAreWritten)
{
    // 4100 single nodes of level 4 (4096 cells) and 5 (4 more).
    std::vector<OctreeNodeId> nodes;
    for (std::uint32_t x = 0; x < 16; ++x)
        for (std::uint32_t y = 0; y < 16; ++y)
            for (std::uint32_t z = 0; z < 16; ++z)
                nodes.push_back(OctreeNodeId::fromGridPosition(4, x, y, z));
    for (std::uint32_t x = 0; x < 4; ++x)
        nodes.push_back(OctreeNodeId::fromGridPosition(5, x, 0, 0));
    for (const OctreeNodeId node : nodes)
        ASSERT_TRUE(prioritizer.offer({1, node}, cubeOf(node, rootSize), priorityOfSize(5.0f), source, {}).resident);
    const PointCloudBuffers& table = publish(1);
    EXPECT_EQ(table.nodeCount(), Render::maxNodesPerUpdate);
    EXPECT_EQ(table.nodeTexels.size(), 4 * Render::maxNodesPerUpdate);
}

// Independently of the table: the deepest level down to which the nodes containing the point are
// all drawn, starting from `start`.
std::size_t expectedLevel(const std::set<OctreeNodeId>& drawn, OctreeNodeId start, const Eigen::Vector3f& position)
{
    std::size_t level = start.level();
    while (level < 21) {
        const float cells = std::pow(2.0f, static_cast<float>(level + 1));
        const auto cell = [&](int axis) {
            return static_cast<std::uint32_t>(std::floor(position[axis] / rootSize * cells));
        };
        if (!drawn.contains(OctreeNodeId::fromGridPosition(level + 1, cell(0), cell(1), cell(2))))
            break;
        ++level;
    }
    return level;
}

TEST_F(NodeTable, TheShaderWalkFindsTheDeepestDrawnNodeOfEveryPoint)
{
    // A best-first walk under a budget, as a loader makes it: larger nodes and nodes nearer the
    // corner (0, 0, 0) matter more; a tight budget leaves an irregular resident set.
    prioritizer.setTotalMaxPointCount(900);
    std::mt19937 random(2024);
    std::uniform_real_distribution<float> jitter(0.8f, 1.2f);
    std::vector<OctreeNodeId> frontier{OctreeNodeId::root()};
    for (std::size_t i = 0; i < frontier.size() && frontier.size() < 3000; ++i) {
        const OctreeNodeId node = frontier[i];
        const auto cube = cubeOf(node, rootSize);
        const float nearness = 1.0f + cube.center().norm() / 4.0f;
        const float size = 1000.0f / static_cast<float>(1u << node.level()) / (nearness * nearness);
        if (!prioritizer.offer({1, node}, cube, priorityOfSize(size * jitter(random)), source, {}).resident)
            continue;
        if (node.level() < 6)
            for (std::size_t child = 0; child < 8; ++child)
                frontier.push_back(node.child(child));
    }
    const PointCloudBuffers& table = publish(1);
    std::set<OctreeNodeId> drawn;
    for (const OctreeNodeId node : frontier)
        if (prioritizer.isResident({1, node}))
            drawn.insert(node);
    ASSERT_EQ(table.nodeCount(), drawn.size());
    ASSERT_TRUE(drawn.contains(OctreeNodeId::root()));
    ASSERT_GE(table.levelCount, 4u);

    // Positions on a grid of 1/1024 of the root, so that every division above is exact.
    std::uniform_int_distribution<int> coordinate(0, 1023);
    const auto randomPoint = [&]() -> Eigen::Vector3f {
        return Eigen::Vector3f(coordinate(random), coordinate(random), coordinate(random)) * (rootSize / 1024.0f);
    };
    std::map<std::size_t, int> levelsSeen;
    for (int i = 0; i < 4000; ++i) {
        const Eigen::Vector3f point = randomPoint();
        const std::size_t level = lodLevel(table, 0, 0, Eigen::Vector3f::Zero(), point);
        EXPECT_EQ(level, expectedLevel(drawn, OctreeNodeId::root(), point)) << point.transpose();
        ++levelsSeen[level];
    }
    EXPECT_GE(levelsSeen.size(), 4u) << "the resident set is too regular to test much";

    // From any drawn node, for points inside it.
    for (const auto& draw : table.nodes) {
        const OctreeNodeId node = *std::next(drawn.begin(), static_cast<std::ptrdiff_t>(draw.texel));
        for (int i = 0; i < 20; ++i) {
            const Eigen::Vector3f inside =
                draw.cube.min() + (draw.cube.max() - draw.cube.min()).cwiseProduct(randomPoint() / rootSize);
            EXPECT_EQ(lodLevel(table, draw.texel, draw.level, draw.cube.min(), inside),
                      expectedLevel(drawn, node, inside));
        }
    }
}

// Every node down to level 3 is resident: texel 0 the root, 1 to 8 level 1, 9 to 72 level 2, 73
// to 584 level 3, and behind them r4470 (585) and r7777 (586). Level-2 node number j (r<a><b>, j =
// 8a + b) sits at texel 9 + j and its first child at 73 + 8j, so 64 + 7j texels further: from j = 28
// on, that no longer fits in one byte.
TEST_F(NodeTable, ChildOffsetsBeyond255UseTheHighByteToo)
{
    std::vector<OctreeNodeId> resident{OctreeNodeId::root()};
    for (std::size_t i = 0; resident.size() < 1 + 8 + 64 + 512; ++i)
        for (std::size_t child = 0; child < 8; ++child)
            resident.push_back(resident[i].child(child));
    resident.push_back(OctreeNodeId::fromName("r4470"));
    resident.push_back(OctreeNodeId::fromName("r7777"));
    for (const OctreeNodeId node : resident)
        ASSERT_TRUE(prioritizer.offer({1, node}, cubeOf(node, rootSize), priorityOfSize(10.0f), source, {}).resident);
    const PointCloudBuffers& table = publish(1);
    ASSERT_EQ(table.nodeCount(), 587u);
    EXPECT_EQ(table.levelCount, 5u);

    const auto bytesAt = [&](std::size_t texel) {
        const std::uint8_t* bytes = &table.nodeTexels[texel * 4];
        return std::array<unsigned, 3>{bytes[0], bytes[1], bytes[2]}; // mask, high, low
    };
    // r33 (j = 27): 253, still one byte. r34 (j = 28): 260 = 0x104. r44 (j = 36): 316 = 0x13C.
    // r77 (j = 63): 505 = 0x1F9.
    EXPECT_EQ(table.nodes[36].cube, cubeOf(OctreeNodeId::fromName("r33"), rootSize));
    EXPECT_EQ(bytesAt(36), (std::array<unsigned, 3>{0xFF, 0x00, 0xFD}));
    EXPECT_EQ(table.nodes[37].cube, cubeOf(OctreeNodeId::fromName("r34"), rootSize));
    EXPECT_EQ(bytesAt(37), (std::array<unsigned, 3>{0xFF, 0x01, 0x04}));
    EXPECT_EQ(table.nodes[45].cube, cubeOf(OctreeNodeId::fromName("r44"), rootSize));
    EXPECT_EQ(bytesAt(45), (std::array<unsigned, 3>{0xFF, 0x01, 0x3C}));
    EXPECT_EQ(table.nodes[72].cube, cubeOf(OctreeNodeId::fromName("r77"), rootSize));
    EXPECT_EQ(bytesAt(72), (std::array<unsigned, 3>{0xFF, 0x01, 0xF9}));
    for (unsigned j = 0; j < 64; ++j)
        EXPECT_EQ(texelAt(table, 9 + j).offset, 64 + 7 * j) << "level-2 node " << j;
    // r447 at 73 + 8 * 36 + 7 = 368 and r777 at 584, each with one child at the end.
    EXPECT_EQ(bytesAt(368), (std::array<unsigned, 3>{0b00000001, 0, 585 - 368}));
    EXPECT_EQ(bytesAt(584), (std::array<unsigned, 3>{0b10000000, 0, 2}));

    // r4470 is [56, 60) x [8, 12) x [8, 12), r7777 is [60, 64)^3. Read with the low byte alone, the
    // walk would land on a childless level-3 node and answer 3.
    const Eigen::Vector3f origin = Eigen::Vector3f::Zero();
    EXPECT_EQ(lodLevel(table, 0, 0, origin, Eigen::Vector3f(57.0f, 9.0f, 11.5f)), 4u);
    EXPECT_EQ(lodLevel(table, 0, 0, origin, Eigen::Vector3f(61.0f, 9.0f, 9.0f)), 3u); // r4474
    EXPECT_EQ(lodLevel(table, 0, 0, origin, Eigen::Vector3f(62.0f, 63.5f, 60.0f)), 4u);
    EXPECT_EQ(lodLevel(table, 0, 0, origin, Eigen::Vector3f(59.0f, 63.0f, 63.0f)), 3u); // r7773
    // From the level-2 nodes themselves, as when drawing them.
    EXPECT_EQ(lodLevel(table, 45, 2, Eigen::Vector3f(48.0f, 0.0f, 0.0f), Eigen::Vector3f(57.0f, 9.0f, 11.5f)), 4u);
    EXPECT_EQ(lodLevel(table, 72, 2, Eigen::Vector3f(48.0f, 48.0f, 48.0f), Eigen::Vector3f(62.0f, 63.5f, 60.0f)), 4u);

    const std::set<OctreeNodeId> drawn(resident.begin(), resident.end());
    std::mt19937 random(7);
    std::uniform_int_distribution<int> coordinate(0, 255);
    for (int i = 0; i < 2000; ++i) {
        const Eigen::Vector3f point =
            Eigen::Vector3f(coordinate(random), coordinate(random), coordinate(random)) * (rootSize / 256.0f);
        EXPECT_EQ(lodLevel(table, 0, 0, origin, point), expectedLevel(drawn, OctreeNodeId::root(), point))
            << point.transpose();
    }
}

} // namespace
