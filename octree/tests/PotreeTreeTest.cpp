// Behaviour of PotreeTree on small stores made by the test, where every value is known.
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include "FailureOf.h"
#include "SyntheticStore.h"

#include <gtest/gtest.h>

using OctreeTest::bytesOf;
using OctreeTest::hierarchyRecord;
using OctreeTest::TemporaryFolder;

namespace {

// A BROTLI store whose root holds points with the given 16-bit colours (positions all 0);
// `declaredMax` is written as the rgb attribute's maximum unless it is negative.
std::shared_ptr<Octree::Octree> colourStore(const TemporaryFolder& folder,
                                            const std::vector<std::array<std::uint16_t, 3>>& colours, int declaredMax)
{
    std::string columns;
    for (std::size_t i = 0; i < colours.size(); ++i) columns += OctreeTest::positionCode(1, 1, 1);
    for (const auto& c : colours) columns += OctreeTest::colorCode(c[0], c[1], c[2]);
    const std::string chunk = OctreeTest::brotliStored(columns);
    auto metadata = OctreeTest::syntheticMetadata("BROTLI", {{"position", 12}, {"rgb", 6}}, colours.size(), 22);
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
std::shared_ptr<PoTree::PotreeTree> twoNodeStore(const TemporaryFolder& folder, nlohmann::json metadata, const std::string& rootColumns,
                          std::uint32_t rootPoints, const std::string& childColumns, std::uint32_t childPoints,
                          std::array<std::uint8_t, 2> visibility = {0, 0}, const std::string& rootChunk = "")
{
    const std::string root = rootChunk.empty() ? OctreeTest::brotliStored(rootColumns) : rootChunk;
    const std::string child = OctreeTest::brotliStored(childColumns);
    folder.write("metadata.json", metadata.dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0x01, rootPoints, 0, root.size(), visibility[0])
                                      + hierarchyRecord(0, 0, childPoints, root.size(), child.size(), visibility[1]));
    folder.write("octree.bin", root + child);
    return std::dynamic_pointer_cast<PoTree::PotreeTree>(Octree::Octree::open(PoTree::FileSystemLocation(folder.path())));
}

std::vector<Math::Color> rootColours(const Octree::Octree& tree)
{
    const auto data = tree.nodePointData(Octree::OctreeNodeId::root(), std::stop_token(), Octree::PointAttribute::Color);
    return {data->colors().begin(), data->colors().end()};
}

} // namespace

TEST(PotreeTree, SixteenBitColoursAreScaledByOneDecisionForTheStore)
{
    // A dark 16-bit colour keeps its hue: every channel is divided, also those below 256.
    const std::vector<std::array<std::uint16_t, 3>> colours{{200, 300, 100}, {65535, 256, 0}};
    const TemporaryFolder declared;
    EXPECT_EQ(rootColours(*colourStore(declared, colours, 65535)),
              (std::vector<Math::Color>{{0, 1, 0}, {255, 1, 0}}));

    // Without a declared range the root's colours decide.
    const TemporaryFolder undeclared;
    EXPECT_EQ(rootColours(*colourStore(undeclared, colours, -1)),
              (std::vector<Math::Color>{{0, 1, 0}, {255, 1, 0}}));

    const TemporaryFolder eightBit;
    EXPECT_EQ(rootColours(*colourStore(eightBit, {{200, 30, 100}, {1, 2, 255}}, -1)),
              (std::vector<Math::Color>{{200, 30, 100}, {1, 2, 255}}));
}

TEST(PotreeTree, PointDataCarryOnlyWhatWasAskedForAndExists)
{
    const TemporaryFolder folder;
    const auto tree = colourStore(folder, {{1, 2, 3}}, 255);
    EXPECT_EQ(tree->availableAttributes(), Octree::PointAttribute::Position | Octree::PointAttribute::Color);

    const auto positionsOnly = tree->nodePointData(Octree::OctreeNodeId::root(), std::stop_token(),
                                                   Octree::PointAttribute::Position | Octree::PointAttribute::Intensity);
    ASSERT_TRUE(positionsOnly);
    EXPECT_TRUE(positionsOnly->hasPositions());
    EXPECT_FALSE(positionsOnly->hasIntensities()) << "the store has no intensity";
    EXPECT_FALSE(positionsOnly->hasColors()) << "colours were not asked for";
    EXPECT_TRUE(positionsOnly->colors().empty());
    EXPECT_TRUE(positionsOnly->isVisible(0)) << "without a visibility column every point is visible";
}

TEST(PotreeTree, InterleavedStoresDecodeEveryRecognisedAttribute)
{
    // Records of 12 + 2 + 1 + 4 + 1 + 2 bytes: position, intensity, classification, ScanIndex,
    // an unknown attribute, and an octahedral normal.
    std::string records;
    records += bytesOf<std::int32_t>(100) + bytesOf<std::int32_t>(250) + bytesOf<std::int32_t>(1600);
    records += bytesOf<std::uint16_t>(777) + std::string(1, '\x09') + bytesOf<std::uint32_t>(123456) + std::string(1, '\x7f');
    records += bytesOf<std::uint16_t>(0); // u = v = -1: the normal (0, 0, -1)
    const TemporaryFolder folder;
    folder.write("metadata.json",
                 OctreeTest::syntheticMetadata("DEFAULT", {{"position", 12}, {"intensity", 2}, {"classification", 1},
                                                           {"ScanIndex", 4}, {"user data", 1}, {"normal_oct16", 2}},
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

TEST(NodePointData, ColumnsFollowTheCarriedAttributes)
{
    Octree::NodePointData data(Octree::PointAttribute::Position | Octree::PointAttribute::Visibility, 2);
    EXPECT_EQ(data.size(), 2u);
    EXPECT_EQ(data.positions().size(), 2u);
    EXPECT_TRUE(data.intensities().empty());
    data.setPosition(1, {1.0f, 2.0f, 3.0f});
    data.setVisibility(1, 1);
    EXPECT_EQ(data.position(1).y(), 2.0f);
    EXPECT_TRUE(data.isVisible(0));
    EXPECT_FALSE(data.isVisible(1));

    data.resize(5);
    EXPECT_EQ(data.positions().size(), 5u);
    EXPECT_EQ(data.position(4), (Math::Point<float, 3>(0.0f, 0.0f, 0.0f)));
    data.drop(Octree::PointAttribute::Visibility);
    EXPECT_FALSE(data.hasVisibility());
    EXPECT_TRUE(data.visibilities().empty());
    EXPECT_TRUE(data.isVisible(1)) << "without the column every point counts as visible";

    const Octree::NodePointData all;
    EXPECT_EQ(all.attributes(), Octree::PointAttributes::all());
    EXPECT_TRUE(all.empty());
}

TEST(PotreeTree, NodeVisibilityOfAStoreWithOnlyPositions)
{
    // Root: all hidden by its record, points (1, 2, 3) and (0.5, 0, 16); r0: visibility per point.
    // Codes hold the integer plus one; scale 0.01 with offset and cube minimum 0.
    auto metadata = OctreeTest::syntheticMetadata("BROTLI", {{"position", 12}}, 3, 44);
    metadata["nodeVisibility"] = true;
    const TemporaryFolder folder;
    const auto store = twoNodeStore(folder, metadata,
                                    OctreeTest::positionCode(101, 201, 301) + OctreeTest::positionCode(51, 1, 1601), 2,
                                    OctreeTest::positionCode(1201, 1, 1), 1, {2, 0});
    const auto root = Octree::OctreeNodeId::root();
    const auto r0 = Octree::OctreeNodeId::fromName("r0");

    for (const auto wanted : {Octree::PointAttributes::all(), Octree::PointAttributes(Octree::PointAttribute::Position)}) {
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

TEST(PotreeTree, TheColourRangeIsDecidedOnlyWhenColoursAreDecoded)
{
    // The root's chunk is unreadable, so any node whose decoding reads the root to decide the
    // colour range fails; r0 is intact.
    const std::string brokenRoot(40, '\x5a');
    const std::string childColumns = OctreeTest::positionCode(1, 1, 1) + OctreeTest::colorCode(300, 0, 0);
    const auto r0 = Octree::OctreeNodeId::fromName("r0");

    const TemporaryFolder colourless;
    const auto noRgb = twoNodeStore(colourless, OctreeTest::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 44),
                                    "", 1, OctreeTest::positionCode(1, 1, 1) + bytesOf<std::uint16_t>(9), 1, {0, 0},
                                    brokenRoot);
    const auto plain = noRgb->nodePointData(r0, std::stop_token());
    ASSERT_TRUE(plain) << "a store without rgb has no colour range to decide";
    EXPECT_EQ(plain->intensity(0), 9);

    // rgb without a declared maximum: only a request for colours reads the root.
    const TemporaryFolder undeclared;
    const auto rgb = twoNodeStore(undeclared, OctreeTest::syntheticMetadata("BROTLI", {{"position", 12}, {"rgb", 6}}, 2, 44),
                                  "", 1, childColumns, 1, {0, 0}, brokenRoot);
    const auto positions = rgb->nodePointData(r0, std::stop_token(), Octree::PointAttribute::Position);
    ASSERT_TRUE(positions);
    EXPECT_EQ(positions->size(), 1u);
    EXPECT_NE(OctreeTest::failureOf([&] { rgb->nodePointData(r0, std::stop_token()); }).find("octree.bin"),
              std::string::npos);

    // A stop request also ends the reading of the root: no result, no error.
    std::stop_source stop;
    stop.request_stop();
    std::optional<Octree::NodePointData> stopped;
    EXPECT_NO_THROW(stopped = rgb->nodePointData(r0, stop.get_token()));
    EXPECT_FALSE(stopped);
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
