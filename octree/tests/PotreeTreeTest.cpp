// Behaviour of PotreeTree on small stores made by the test, where every value is known.
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

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
