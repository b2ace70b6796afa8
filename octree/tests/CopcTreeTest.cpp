// COPC files that the tests write themselves, for what the real file does not have: point formats
// 6 and 8, extra bytes, 16-bit colours, child hierarchy pages, nodes without points, chunk size 0.
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/CopcFileWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using Copc::CopcTree;
using Octree::OctreeNodeId;
using Octree::PointAttribute;
using TestSupport::CopcLayout;
using TestSupport::CopcNode;
using TestSupport::CopcPoint;

constexpr double SCALE = 0.01;

OctreeNodeId idOf(const std::string& key)
{
    return Entwine::Key::parse(key).nodeId();
}

// `count` points spread inside the node's cell of a root cube [0, 16]^3, with distinct values in
// every field. `wide` colours use the 16-bit range.
CopcNode nodeOf(const std::string& key, int count, bool wide)
{
    const OctreeNodeId id = idOf(key);
    const double edge = 16.0 / std::ldexp(1.0, static_cast<int>(id.level()));
    CopcNode node{key, {}};
    for (int i = 0; i < count; ++i) {
        CopcPoint p;
        for (int axis = 0; axis < 3; ++axis) {
            const double fraction = (i + 1.0 + axis) / (count + 4.0);
            p.stored[axis] =
                static_cast<std::int32_t>(std::lround((id.gridPosition()[axis] + fraction) * edge / SCALE));
        }
        p.intensity = static_cast<std::uint16_t>(100 * id.level() + i);
        p.classification = static_cast<std::uint8_t>(40 + i); // beyond the 5 bits of old formats
        p.pointSource = static_cast<std::uint16_t>(7000 + i);
        const std::uint16_t unit = wide ? 257 : 1;
        p.rgb = {static_cast<std::uint16_t>((10 + i) * unit), static_cast<std::uint16_t>((90 + i) * unit),
                 static_cast<std::uint16_t>((200 - i) * unit)};
        p.nir = static_cast<std::uint16_t>(3000 + i);
        p.normal = {0.0f, static_cast<float>(i) / count, 1.0f};
        node.points.push_back(p);
    }
    return node;
}

struct WrittenFile {
    const char* name;
    CopcLayout layout;
    bool rootWithoutPoints = false;
    bool wideColors = false;
};

void PrintTo(const WrittenFile& file, std::ostream* out)
{
    *out << file.name;
}

CopcLayout layout(unsigned format)
{
    CopcLayout layout;
    layout.pointFormat = format;
    layout.center = {8, 8, 8};
    layout.halfSize = 8;
    layout.spacing = 0.125;
    return layout;
}

CopcLayout with(CopcLayout base, auto change)
{
    change(base);
    return base;
}

class CopcWrittenFile : public ::testing::TestWithParam<WrittenFile> {
protected:
    std::vector<CopcNode> writtenNodes() const
    {
        std::vector<CopcNode> nodes;
        if (!GetParam().rootWithoutPoints) {
            nodes.push_back(nodeOf("0-0-0-0", 5, GetParam().wideColors));
        }
        for (const char* key : {"1-1-0-0", "2-2-1-0", "3-5-2-1", "1-0-1-1"}) {
            nodes.push_back(nodeOf(key, 3, GetParam().wideColors));
        }
        return nodes;
    }

    TestSupport::TemporaryFolder folder;
};

TEST_P(CopcWrittenFile, EveryNodeDecodesToTheWrittenPoints)
{
    const std::filesystem::path file = folder.path() / "written.copc.laz";
    const std::vector<CopcNode> nodes = writtenNodes();
    TestSupport::writeCopcFile(file, nodes, GetParam().layout);
    const auto tree = std::dynamic_pointer_cast<CopcTree>(Octree::Octree::open(PoTree::FileSystemLocation(file)));
    ASSERT_NE(tree, nullptr);

    const unsigned format = GetParam().layout.pointFormat;
    EXPECT_EQ(tree->availableAttributes().contains(PointAttribute::Color), format != 6);
    EXPECT_EQ(tree->availableAttributes().contains(PointAttribute::Normal), GetParam().layout.normals);
    EXPECT_DOUBLE_EQ(tree->spacing(3), 0.125 / 8);
    EXPECT_EQ(tree->pointCount(OctreeNodeId::root()), GetParam().rootWithoutPoints ? 0u : 5u);
    EXPECT_EQ(tree->pointCount(), GetParam().rootWithoutPoints ? 12u : 17u);
    EXPECT_EQ(tree->colorsAre16Bit(), GetParam().wideColors && format != 6);

    for (const CopcNode& node : nodes) {
        const auto decoded = tree->decodedPoints(idOf(node.key), {});
        const auto model = tree->nodePointData(idOf(node.key), {});
        ASSERT_TRUE(decoded && model);
        ASSERT_EQ(decoded->points.count, node.points.size()) << node.key;
        for (std::size_t i = 0; i < node.points.size(); ++i) {
            const CopcPoint& expected = node.points[i];
            for (int axis = 0; axis < 3; ++axis) {
                EXPECT_EQ(decoded->points.positions[i][axis], expected.stored[axis]) << node.key;
                EXPECT_NEAR(model->position(i)[axis], expected.stored[axis] * SCALE, 1e-4) << node.key;
            }
            EXPECT_EQ(decoded->points.intensities[i], expected.intensity);
            EXPECT_EQ(decoded->points.classifications[i], expected.classification);
            EXPECT_EQ(decoded->points.scanIndices[i], expected.pointSource);
            if (format != 6) {
                EXPECT_EQ(decoded->points.colors[i], expected.rgb) << node.key;
                EXPECT_EQ(model->color(i).g(), GetParam().wideColors ? expected.rgb[1] / 256 : expected.rgb[1]);
            }
            if (GetParam().layout.normals) {
                EXPECT_EQ(decoded->points.normals[i], expected.normal) << node.key;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, CopcWrittenFile,
    ::testing::Values(WrittenFile{"Format6", layout(6)},
                      WrittenFile{"Format8WithNormalsAnd16BitColours",
                                  with(layout(8), [](CopcLayout& l) { l.normals = true; }), false, true},
                      WrittenFile{"ChildPagesAndARootWithoutPoints",
                                  with(layout(7),
                                       [](CopcLayout& l) {
                                           l.pageRoots = {"1-1-0-0", "2-2-1-0"};
                                           l.emptyKeys = {"0-0-0-0", "2-0-2-2"};
                                       }),
                                  true},
                      WrittenFile{"ChunkSizeZero", with(layout(7), [](CopcLayout& l) { l.chunkSize = 0; })}),
    [](const auto& info) { return std::string(info.param.name); });

// Pages are read when the walk first needs a node they describe, and nodes of pages never
// reached stay unread; a node listed with no points still has its children.
TEST(CopcHierarchy, ChildPagesAreReadOnlyWhenTheWalkReachesThem)
{
    TestSupport::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "paged.copc.laz";
    CopcLayout paged = layout(7);
    paged.pageRoots = {"1-1-0-0", "2-2-1-0", "1-0-1-1"};
    paged.emptyKeys = {"2-0-2-2"};
    TestSupport::writeCopcFile(file,
                               {nodeOf("0-0-0-0", 2, false), nodeOf("1-1-0-0", 1, false), nodeOf("2-2-1-0", 1, false),
                                nodeOf("1-0-1-1", 1, false), nodeOf("3-1-5-5", 1, false)},
                               paged);
    const CopcTree tree(PoTree::FileSystemLocation(file), 1.0);
    using Key = Entwine::Key;
    EXPECT_EQ(tree.pagesRead(), (std::vector<Key>{Key{}}));

    // The root page names both children (by their page pointers) without reading their pages.
    EXPECT_EQ(tree.children(OctreeNodeId::root()), (std::vector<OctreeNodeId>{idOf("1-0-1-1"), idOf("1-1-0-0")}));
    EXPECT_EQ(tree.pagesRead().size(), 1u);

    // A stopped walk reads neither a page nor a chunk.
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(tree.children(idOf("1-1-0-0"), stopped.get_token()), Octree::OperationCancelled);
    EXPECT_FALSE(tree.nodePointData(OctreeNodeId::root(), stopped.get_token()));
    EXPECT_EQ(tree.pagesRead().size(), 1u);

    EXPECT_EQ(tree.pointCount(idOf("2-2-1-0")), 1u); // two pages on the way
    EXPECT_EQ(tree.pagesRead(), (std::vector<Key>{Key{}, Key{1, 1, 0, 0}, Key{2, 2, 1, 0}}));

    EXPECT_EQ(tree.pointCount(idOf("2-0-2-2")), 0u);
    EXPECT_EQ(tree.children(idOf("2-0-2-2")), std::vector<OctreeNodeId>{idOf("3-1-5-5")});
    EXPECT_FALSE(tree.contains(idOf("2-0-2-3")));
    EXPECT_EQ(tree.pagesRead().size(), 4u);
}

} // namespace
