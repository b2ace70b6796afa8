#include <lumaro/octree/Octree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>

#include "EntwineTestStore.h"
#include "FailureOf.h"

#include <gtest/gtest.h>
#include <thread>
#include <zstd.h>

using Entwine::EntwineTree;
using Octree::OctreeNodeId;
using Octree::PointAttribute;
using OctreeTest::EptTestPoint;
using OctreeTest::EptTestStore;
using OctreeTest::failureOf;

namespace {

// Cube [100, 116] x [200, 216] x [300, 316]; stored integers are centimetres from (100, 200, 300).
// Root: two points. 1-1-0-1 (upper x, lower y, upper z: [108, 116] x [200, 208] x [308, 316]) one
// point, and below it 2-3-1-3 ([112, 116] x [204, 208] x [312, 316]) one point. 1-0-0-0 is empty.
struct SyntheticNodes {
    std::vector<EptTestPoint> root;
    std::vector<EptTestPoint> upper;
    std::vector<EptTestPoint> deep;
};

SyntheticNodes syntheticNodes(std::uint16_t rootRed, std::uint16_t upperRed)
{
    return {{{100, 100, 100, 7, 2, rootRed, 20, 30, 1}, {1500, 1500, 1500, 8, 6, 255, 0, 1, 0}},
            {{1000, 400, 1200, 9, 1, upperRed, 256, 65535, 2}},
            {{1300, 500, 1300, 10, 9, 1, 2, 3, 3}}};
}

std::string records(const std::vector<EptTestPoint>& points)
{
    std::string bytes;
    for (const auto& point : points) {
        bytes += OctreeTest::eptTestRecord(point);
    }
    return bytes;
}

std::string zstd(std::string_view data)
{
    std::string out(ZSTD_compressBound(data.size()), '\0');
    out.resize(ZSTD_compress(out.data(), out.size(), data.data(), data.size(), 1));
    return out;
}

void writeStore(const EptTestStore& store, const std::string& dataType, const SyntheticNodes& nodes)
{
    store.writeJson("ept.json", OctreeTest::eptTestMetadata(dataType, 4));
    store.writeJson("ept-hierarchy/0-0-0-0.json",
                    {{"0-0-0-0", 2}, {"1-0-0-0", 0}, {"1-1-0-1", -1}});
    store.writeJson("ept-hierarchy/1-1-0-1.json", {{"1-1-0-1", 1}, {"2-3-1-3", 1}});
    const bool packed = dataType == "zstandard";
    const std::string extension = packed ? ".zst" : ".bin";
    auto data = [&](const std::vector<EptTestPoint>& points) { return packed ? zstd(records(points)) : records(points); };
    store.write("ept-data/0-0-0-0" + extension, data(nodes.root));
    store.write("ept-data/1-1-0-1" + extension, data(nodes.upper));
    store.write("ept-data/2-3-1-3" + extension, data(nodes.deep));
}

std::shared_ptr<EntwineTree> openTree(const EptTestStore& store, double unitScale = 1.0)
{
    return std::dynamic_pointer_cast<EntwineTree>(
        Octree::Octree::open(PoTree::FileSystemLocation(store.path()), unitScale));
}

const OctreeNodeId upperId = OctreeNodeId::fromName("r5");
const OctreeNodeId deepId = OctreeNodeId::fromName("r57");

class EntwineSyntheticTree : public ::testing::TestWithParam<std::string> {};

} // namespace

TEST_P(EntwineSyntheticTree, WalksTheHierarchyAcrossFiles)
{
    EptTestStore store;
    writeStore(store, GetParam(), syntheticNodes(10, 40));
    const auto tree = openTree(store);
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->children(OctreeNodeId::root()), (std::vector<OctreeNodeId>{OctreeNodeId::fromName("r0"), upperId}));
    EXPECT_EQ(tree->children(upperId), std::vector<OctreeNodeId>{deepId});
    EXPECT_TRUE(tree->isLeaf(deepId));
    EXPECT_TRUE(tree->contains(deepId));
    EXPECT_FALSE(tree->contains(OctreeNodeId::fromName("r1")));
    EXPECT_EQ(tree->pointCount(upperId), 1u);
    EXPECT_EQ(tree->pointCount(OctreeNodeId::fromName("r0")), 0u);
    EXPECT_THROW(tree->pointCount(OctreeNodeId::fromName("r1")), std::invalid_argument);
    EXPECT_EQ(tree->dataFile(Entwine::Key{2, 3, 1, 3}).filename().string(),
              GetParam() == "binary" ? "2-3-1-3.bin" : "2-3-1-3.zst");
    EXPECT_EQ(tree->availableAttributes(), PointAttribute::Position | PointAttribute::Color | PointAttribute::Intensity
                                               | PointAttribute::Classification | PointAttribute::ScanIndex);
    EXPECT_EQ(tree->nodeVisibility(upperId), Octree::NodeVisibility::AllVisible);
}

TEST_P(EntwineSyntheticTree, PointDataAreScaledModelCoordinates)
{
    EptTestStore store;
    writeStore(store, GetParam(), syntheticNodes(10, 40));
    const auto tree = openTree(store, 2.0);
    // Model = world x 2 - (200, 400, 600).
    const auto root = tree->nodePointData(OctreeNodeId::root(), std::stop_token());
    ASSERT_TRUE(root);
    ASSERT_EQ(root->size(), 2u);
    EXPECT_EQ(root->position(0), (Math::Point<float, 3>(2, 2, 2)));    // world (101, 201, 301)
    EXPECT_EQ(root->position(1), (Math::Point<float, 3>(30, 30, 30))); // world (115, 215, 315)
    EXPECT_EQ(root->color(0), Math::Color(10, 20, 30, 255));
    EXPECT_EQ(root->intensity(1), 8);
    EXPECT_EQ(root->classification(1), 6);
    EXPECT_EQ(root->scanIndex(0), 1u);

    const auto deep = tree->nodePointData(deepId, std::stop_token(), PointAttribute::Position);
    ASSERT_TRUE(deep);
    EXPECT_EQ(deep->attributes(), Octree::PointAttributes(PointAttribute::Position));
    EXPECT_EQ(deep->position(0), (Math::Point<float, 3>(26, 10, 26))); // world (113, 205, 313)

    const auto empty = tree->nodePointData(OctreeNodeId::fromName("r0"), std::stop_token());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->size(), 0u);

    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(tree->nodePointData(upperId, stop.get_token()).has_value());
    EXPECT_THROW(tree->nodePointData(OctreeNodeId::fromName("r1"), std::stop_token()), std::invalid_argument);
}

TEST_P(EntwineSyntheticTree, TheRootDecidesTheColourRangeOfTheWholeStore)
{
    {
        // 8-bit root: a 16-bit value further down is clipped, not divided.
        EptTestStore store;
        writeStore(store, GetParam(), syntheticNodes(10, 40704));
        const auto tree = openTree(store);
        const auto upper = tree->nodePointData(upperId, std::stop_token());
        EXPECT_FALSE(tree->colorsAre16Bit());
        EXPECT_EQ(upper->color(0), Math::Color(255, 255, 255, 255));
    }
    {
        // 16-bit root: every node is divided by 256, even one whose own values fit in 8 bits.
        EptTestStore store;
        writeStore(store, GetParam(), syntheticNodes(40704, 255));
        const auto tree = openTree(store);
        const auto upper = tree->nodePointData(upperId, std::stop_token());
        EXPECT_TRUE(tree->colorsAre16Bit());
        EXPECT_EQ(upper->color(0), Math::Color(0, 1, 255, 255)); // 255, 256, 65535 / 256
    }
}

TEST_P(EntwineSyntheticTree, BrokenNodeFilesNameTheFileAndTheProblem)
{
    EptTestStore store;
    auto nodes = syntheticNodes(10, 40);
    // 2-3-1-3 holds a point of its parent's box that is outside its own.
    nodes.deep[0].x = 900;
    writeStore(store, GetParam(), nodes);
    const auto tree = openTree(store);
    const std::string extension = GetParam() == "binary" ? ".bin" : ".zst";
    const auto upperFile = (store.path() / "ept-data" / ("1-1-0-1" + extension)).string();
    auto failure = [&](OctreeNodeId id) { return failureOf([&] { tree->nodePointData(id, std::stop_token()); }); };

    const std::string outside = failure(deepId);
    EXPECT_NE(outside.find("2-3-1-3" + extension + ": point 0 lies outside its node"), std::string::npos) << outside;

    std::filesystem::remove(upperFile);
    const std::string missing = failure(upperId);
    EXPECT_NE(missing.find(upperFile), std::string::npos) << missing;
    EXPECT_NE(missing.find("no such file"), std::string::npos) << missing;

    const std::string tooShort = records(nodes.upper).substr(0, 20);
    store.write("ept-data/1-1-0-1" + extension, GetParam() == "binary" ? tooShort : zstd(tooShort));
    const std::string shortMessage = failure(upperId);
    EXPECT_NE(shortMessage.find(upperFile + ": "), std::string::npos) << shortMessage;
    EXPECT_NE(shortMessage.find(GetParam() == "binary" ? "holds 20 bytes, but 1 points of 25 bytes need 25"
                                                       : "decompresses to 20 bytes, but its point count needs 25"),
              std::string::npos)
        << shortMessage;

    if (GetParam() == "zstandard") {
        std::string corrupt = zstd(records(nodes.upper));
        corrupt[corrupt.size() / 2] ^= 0x5A;
        corrupt[0] ^= 0x01;
        store.write("ept-data/1-1-0-1.zst", corrupt);
        EXPECT_NE(failure(upperId).find(upperFile + ": corrupt Zstandard data"), std::string::npos);
    }
}

TEST_P(EntwineSyntheticTree, ServesSeveralThreadsAtOnce)
{
    // Threads that start together race for the subtree file and for the colour decision.
    EptTestStore store;
    writeStore(store, GetParam(), syntheticNodes(40704, 255));
    const auto tree = openTree(store);
    const std::vector<OctreeNodeId> nodes{deepId, upperId, OctreeNodeId::root()};
    std::vector<std::vector<std::optional<Octree::NodePointData>>> results(4);
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < results.size(); ++t) {
            threads.emplace_back([&, t] {
                for (std::size_t i = 0; i < nodes.size(); ++i) {
                    results[t].push_back(tree->nodePointData(nodes[(i + t) % nodes.size()], std::stop_token()));
                }
            });
        }
    }
    for (std::size_t t = 0; t < results.size(); ++t) {
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const auto& data = results[t][i];
            const OctreeNodeId id = nodes[(i + t) % nodes.size()];
            ASSERT_TRUE(data);
            EXPECT_EQ(data->size(), tree->pointCount(id));
        }
        // The deep node's colour (1, 2, 3) is divided like every other: the root is 16-bit.
        const std::size_t deepIndex = (nodes.size() - t % nodes.size()) % nodes.size();
        EXPECT_EQ(results[t][deepIndex]->color(0), Math::Color(0, 0, 0, 255));
    }
}

INSTANTIATE_TEST_SUITE_P(DataTypes, EntwineSyntheticTree, ::testing::Values("binary", "zstandard"));

TEST(EntwineTree, MissingOrMalformedMetadataNameTheFile)
{
    EptTestStore store;
    const std::string missing = failureOf([&] { EntwineTree tree(PoTree::FileSystemLocation(store.path())); });
    EXPECT_NE(missing.find((store.path() / "ept.json").string()), std::string::npos) << missing;
    EXPECT_NE(missing.find("no such file"), std::string::npos) << missing;

    store.write("ept.json", "{\"bounds\": [0, 0, 0, 1, 1, 1], ");
    const std::string malformed = failureOf([&] { openTree(store); });
    EXPECT_NE(malformed.find((store.path() / "ept.json").string() + ": not valid JSON"), std::string::npos) << malformed;

    store.writeJson("ept.json", OctreeTest::eptTestMetadata("binary", 0));
    const std::string noHierarchy = failureOf([&] { openTree(store); });
    EXPECT_NE(noHierarchy.find((store.path() / "ept-hierarchy" / "0-0-0-0.json").string()), std::string::npos)
        << noHierarchy;
}

TEST(EntwineTree, DamagedLazNodesNameTheFile)
{
    const std::filesystem::path source = std::filesystem::path(LUMARO_TEST_DATA_DIR) / "ept" / "1.2-with-color";
    const std::string laz = Core::readLocalFile(source / "ept-data" / "0-0-0-0.laz");
    EptTestStore store;
    store.write("ept.json", Core::readLocalFile(source / "ept.json"));
    store.write("ept-hierarchy/0-0-0-0.json", Core::readLocalFile(source / "ept-hierarchy" / "0-0-0-0.json"));
    const auto file = (store.path() / "ept-data" / "0-0-0-0.laz").string();

    // Damage inside the compressed points must not pass unnoticed: the arithmetic decoder either
    // runs out of data or produces points that fail the node-box check.
    std::string damaged = laz;
    for (std::size_t i = laz.size() / 2; i < laz.size() / 2 + 64; ++i) {
        damaged[i] = static_cast<char>(damaged[i] ^ 0xA5);
    }
    store.write("ept-data/0-0-0-0.laz", damaged);
    const auto tree = openTree(store);
    const std::string garbage = failureOf([&] { tree->nodePointData(OctreeNodeId::root(), std::stop_token()); });
    EXPECT_EQ(garbage.rfind(file + ": ", 0), 0u) << garbage;
}

// A hierarchy count beyond the store's own total is refused before anything is sized by it.
TEST(EntwineTree, ANodeClaimingMorePointsThanTheStoreIsRefused)
{
    EptTestStore store;
    writeStore(store, "zstandard", syntheticNodes(1, 2));
    store.writeJson("ept-hierarchy/0-0-0-0.json", {{"0-0-0-0", 40000000000}, {"1-0-0-0", 0}, {"1-1-0-1", -1}});
    const std::string message =
        failureOf<std::runtime_error>([&] { openTree(store)->nodePointData(OctreeNodeId::root(), {}); });
    EXPECT_NE(message.find("ept-hierarchy"), std::string::npos) << message;
    EXPECT_NE(message.find("whole store holds 4"), std::string::npos) << message;
}
