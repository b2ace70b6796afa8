#include <lumaro/octree/Octree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>

#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/FailureOf.h>

#include <gtest/gtest.h>
#include <thread>
#include <zstd.h>

using Entwine::EntwineTree;
using Octree::OctreeNodeId;
using Octree::PointAttribute;
using TestSupport::EptTestPoint;
using TestSupport::EptTestStore;
using TestSupport::failureOf;

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
        bytes += TestSupport::eptTestRecord(point);
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
    store.writeJson("ept.json", TestSupport::eptTestMetadata(dataType, 4));
    store.writeJson("ept-hierarchy/0-0-0-0.json", {{"0-0-0-0", 2}, {"1-0-0-0", 0}, {"1-1-0-1", -1}});
    store.writeJson("ept-hierarchy/1-1-0-1.json", {{"1-1-0-1", 1}, {"2-3-1-3", 1}});
    const bool packed = dataType == "zstandard";
    const std::string extension = packed ? ".zst" : ".bin";
    auto data = [&](const std::vector<EptTestPoint>& points) {
        return packed ? zstd(records(points)) : records(points);
    };
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
