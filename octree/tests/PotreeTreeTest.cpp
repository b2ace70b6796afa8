// Behaviour of PotreeTree on small stores made by the test, where every value is known.
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

using TestSupport::bytesOf;
using TestSupport::hierarchyRecord;
using TestSupport::TemporaryFolder;

namespace {

// A BROTLI store whose root holds points with the given 16-bit colours (positions all 0);
// `declaredMax` is written as the rgb attribute's maximum unless it is negative.
std::shared_ptr<Octree::Octree> colourStore(const TemporaryFolder& folder,
                                            const std::vector<std::array<std::uint16_t, 3>>& colours, int declaredMax)
{
    std::string columns;
    for (std::size_t i = 0; i < colours.size(); ++i)
        columns += TestSupport::positionCode(1, 1, 1);
    for (const auto& c : colours)
        columns += TestSupport::colorCode(c[0], c[1], c[2]);
    const std::string chunk = TestSupport::brotliStored(columns);
    auto metadata = TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"rgb", 6}}, colours.size(), 22);
    if (declaredMax >= 0) {
        metadata["attributes"][1]["max"] = {declaredMax, declaredMax, declaredMax};
    }
    folder.write("metadata.json", metadata.dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0, static_cast<std::uint32_t>(colours.size()), 0, chunk.size()));
    folder.write("octree.bin", chunk);
    return Octree::Octree::open(PoTree::FileSystemLocation(folder.path()));
}

// A store of a root with child r0, each with one Brotli chunk made of its columns, written one
// after the other; `rootChunk` replaces the root's chunk when not empty (to make it unreadable).
// `visibility` gives the high nibbles of the two records.
std::shared_ptr<PoTree::PotreeTree> twoNodeStore(const TemporaryFolder& folder, nlohmann::json metadata,
                                                 const std::string& rootColumns, std::uint32_t rootPoints,
                                                 const std::string& childColumns, std::uint32_t childPoints,
                                                 std::array<std::uint8_t, 2> visibility = {0, 0},
                                                 const std::string& rootChunk = "")
{
    const std::string root = rootChunk.empty() ? TestSupport::brotliStored(rootColumns) : rootChunk;
    const std::string child = TestSupport::brotliStored(childColumns);
    folder.write("metadata.json", metadata.dump());
    folder.write("hierarchy.bin",
                 hierarchyRecord(0, 0x01, rootPoints, 0, root.size(), visibility[0])
                     + hierarchyRecord(0, 0, childPoints, root.size(), child.size(), visibility[1]));
    folder.write("octree.bin", root + child);
    return std::dynamic_pointer_cast<PoTree::PotreeTree>(
        Octree::Octree::open(PoTree::FileSystemLocation(folder.path())));
}

std::vector<Math::Color> rootColours(const Octree::Octree& tree)
{
    const auto data =
        tree.nodePointData(Octree::OctreeNodeId::root(), std::stop_token(), Octree::PointAttribute::Color);
    return {data->colors().begin(), data->colors().end()};
}

} // namespace

TEST(PotreeTree, SixteenBitColoursAreScaledByOneDecisionForTheStore)
{
    // A dark 16-bit colour keeps its hue: every channel is divided, also those below 256.
    const std::vector<std::array<std::uint16_t, 3>> colours{{200, 300, 100}, {65535, 256, 0}};
    const TemporaryFolder declared;
    EXPECT_EQ(rootColours(*colourStore(declared, colours, 65535)), (std::vector<Math::Color>{{0, 1, 0}, {255, 1, 0}}));

    // Without a declared range the root's colours decide.
    const TemporaryFolder undeclared;
    EXPECT_EQ(rootColours(*colourStore(undeclared, colours, -1)), (std::vector<Math::Color>{{0, 1, 0}, {255, 1, 0}}));

    const TemporaryFolder eightBit;
    EXPECT_EQ(rootColours(*colourStore(eightBit, {{200, 30, 100}, {1, 2, 255}}, -1)),
              (std::vector<Math::Color>{{200, 30, 100}, {1, 2, 255}}));
}

TEST(PotreeTree, InterleavedStoresDecodeEveryRecognisedAttribute)
{
    // Records of 12 + 2 + 1 + 4 + 1 + 2 bytes: position, intensity, classification, ScanIndex,
    // an unknown attribute, and an octahedral normal.
    std::string records;
    records += bytesOf<std::int32_t>(100) + bytesOf<std::int32_t>(250) + bytesOf<std::int32_t>(1600);
    records +=
        bytesOf<std::uint16_t>(777) + std::string(1, '\x09') + bytesOf<std::uint32_t>(123456) + std::string(1, '\x7f');
    records += bytesOf<std::uint16_t>(0); // u = v = -1: the normal (0, 0, -1)
    const TemporaryFolder folder;
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("DEFAULT",
                                                {{"position", 12},
                                                 {"intensity", 2},
                                                 {"classification", 1},
                                                 {"ScanIndex", 4},
                                                 {"user data", 1},
                                                 {"normal_oct16", 2}},
                                                1, 22)
                     .dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0, 1, 0, records.size()));
    folder.write("octree.bin", records);
    const auto tree = Octree::Octree::open(PoTree::FileSystemLocation(folder.path()));

    const auto data = tree->nodePointData(Octree::OctreeNodeId::root(), std::stop_token());
    ASSERT_TRUE(data);
    ASSERT_EQ(data->size(), 1u);
    // Scale 0.01, offset and cube minimum 0: integers (100, 250, 1600) are (1, 2.5, 16).
    EXPECT_FLOAT_EQ(data->position(0).x(), 1.0f);
    EXPECT_FLOAT_EQ(data->position(0).y(), 2.5f);
    EXPECT_FLOAT_EQ(data->position(0).z(), 16.0f);
    EXPECT_EQ(data->intensity(0), 777);
    EXPECT_EQ(data->classification(0), 9);
    EXPECT_EQ(data->scanIndex(0), 123456u);
    ASSERT_TRUE(data->hasNormals());
    EXPECT_NEAR(data->normal(0)[2], -1.0f, 1e-6);
    EXPECT_FALSE(data->hasColors());
}

TEST(PotreeTree, NodeVisibilityOfAStoreWithOnlyPositions)
{
    // Root: all hidden by its record, points (1, 2, 3) and (0.5, 0, 16); r0: visibility per point.
    // Codes hold the integer plus one; scale 0.01 with offset and cube minimum 0.
    auto metadata = TestSupport::syntheticMetadata("BROTLI", {{"position", 12}}, 3, 44);
    metadata["nodeVisibility"] = true;
    const TemporaryFolder folder;
    const auto store = twoNodeStore(folder, metadata,
                                    TestSupport::positionCode(101, 201, 301) + TestSupport::positionCode(51, 1, 1601),
                                    2, TestSupport::positionCode(1201, 1, 1), 1, {2, 0});
    const auto root = Octree::OctreeNodeId::root();
    const auto r0 = Octree::OctreeNodeId::fromName("r0");

    for (const auto wanted :
         {Octree::PointAttributes::all(), Octree::PointAttributes(Octree::PointAttribute::Position)}) {
        SCOPED_TRACE(wanted.bits());
        const auto data = store->nodePointData(root, std::stop_token(), wanted);
        ASSERT_TRUE(data);
        ASSERT_TRUE(data->hasPositions()) << "the sole attribute must still be read";
        ASSERT_EQ(data->size(), 2u);
        EXPECT_FLOAT_EQ(data->position(0).y(), 2.0f);
        EXPECT_FLOAT_EQ(data->position(1).x(), 0.5f);
        EXPECT_FLOAT_EQ(data->position(1).z(), 16.0f);
        EXPECT_EQ(data->hasVisibility(), wanted.contains(Octree::PointAttribute::Visibility));
        EXPECT_EQ(data->isVisible(1), !wanted.contains(Octree::PointAttribute::Visibility));

        const auto child = store->nodePointData(r0, std::stop_token(), wanted);
        ASSERT_TRUE(child);
        ASSERT_TRUE(child->hasPositions());
        ASSERT_EQ(child->size(), 1u);
        EXPECT_FLOAT_EQ(child->position(0).x(), 12.0f);
        EXPECT_TRUE(child->isVisible(0)) << "a per-point node without a visibility column is visible";
    }

    const auto raw = store->rawPoints(root, std::stop_token());
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->count, 2u);
    ASSERT_EQ(raw->positions.size(), 2u);
    EXPECT_EQ(raw->positions[0], (std::array<std::int64_t, 3>{100, 200, 300}));
    EXPECT_EQ(raw->visibilities, (std::vector<std::uint8_t>{1, 1}));
    EXPECT_TRUE(raw->attributes.contains(Octree::PointAttribute::Position));
}

// Hierarchy chunks behind proxies are read when first needed; a walk asked to stop reads none.
TEST(PotreeTree, AStopRequestedBeforeAProxiedChunkIsReadCancelsTheRead)
{
    const auto tree = Octree::Octree::open(
        PoTree::FileSystemLocation(std::filesystem::path(LUMARO_TEST_DATA_DIR) / "potree2" / "test1_4-brotli"));
    // The store's first proxies sit on level 4.
    std::vector<Octree::OctreeNodeId> level{Octree::OctreeNodeId::root()};
    for (int depth = 0; depth < 4; ++depth) {
        std::vector<Octree::OctreeNodeId> next;
        for (const auto node : level)
            for (const auto child : tree->children(node))
                next.push_back(child);
        level = next;
    }
    std::stop_source stop;
    stop.request_stop();
    std::size_t cancelled = 0;
    for (const auto node : level) {
        try {
            tree->children(node, stop.get_token());
        } catch (const Octree::OperationCancelled&) {
            ++cancelled;
            EXPECT_FALSE(tree->children(node).empty()) << node.name(); // proxies are nodes with descendants
        }
    }
    EXPECT_GT(cancelled, 0u);
}
