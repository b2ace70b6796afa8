#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/NodeChunk.h>

#include <lumaro/testsupport/FailureOf.h>
#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <cstring>

using namespace PoTree;
using Octree::OctreeNodeId;
using TestSupport::bytesOf;
using TestSupport::failureOf;

namespace {

// A Brotli store in a temporary folder with one node whose chunk is `columns`, stored in
// octree.bin after `leadingBytes` bytes of other data.
struct BrotliNodeFixture {
    BrotliNodeFixture(const std::vector<std::pair<std::string, int>>& attributes, std::uint32_t points,
                      const std::string& columns, bool nodeVisibility = false)
        : loader(PoTree::FileSystemLocation(folder.path()))
    {
        // Built directly rather than parsed: the chunk decoder also serves attribute sets that a
        // whole store could not declare (no positions).
        metadata.encoding = Encoding::Brotli;
        metadata.hasNodeVisibility = nodeVisibility;
        for (const auto& [name, size] : attributes) {
            AttributeDescription attribute;
            attribute.name = name;
            attribute.size = static_cast<std::size_t>(size);
            metadata.attributes.push_back(attribute);
        }
        const std::string chunk = TestSupport::brotliStored(columns);
        folder.write("octree.bin", std::string(leadingBytes, 'x') + chunk);
        metadata.points = points;
        node.pointCount = points;
        node.byteOffset = leadingBytes;
        node.byteSize = chunk.size();
    }

    static constexpr std::size_t leadingBytes = 13;
    TestSupport::TemporaryFolder folder;
    FileLoader loader;
    Metadata metadata;
    Node node{OctreeNodeId::root(), Math::NBoundingBox<double, 3>({0.0, 0.0, 0.0}, {16.0, 16.0, 16.0})};
};

} // namespace

TEST(NodeChunk, SplitsColumnsInAttributeOrder)
{
    // Three points: position, "Intensity" (not recognised, 2 bytes), classification, rgb, intensity.
    std::string columns;
    columns += TestSupport::positionCode(1, 2, 3) + TestSupport::positionCode(70000, 5, 6)
        + TestSupport::positionCode(7, 8, 1u << 20);
    columns += bytesOf<std::uint16_t>(0xAAAA) + bytesOf<std::uint16_t>(0xBBBB) + bytesOf<std::uint16_t>(0xCCCC);
    columns += std::string("\x02\x05\x07", 3);
    columns += TestSupport::colorCode(10, 20, 30) + TestSupport::colorCode(1000, 2000, 3000)
        + TestSupport::colorCode(0, 0, 65535);
    columns += bytesOf<std::uint16_t>(100) + bytesOf<std::uint16_t>(200) + bytesOf<std::uint16_t>(300);
    const BrotliNodeFixture store(
        {{"position", 12}, {"Intensity", 2}, {"classification", 1}, {"rgb", 6}, {"intensity", 2}}, 3, columns);
    EXPECT_EQ(store.metadata.bytesPerPoint(), 16u + 2 + 1 + 8 + 2);

    std::vector<PositionCode> positions;
    std::vector<std::uint64_t> colors;
    std::vector<std::uint16_t> intensities;
    std::vector<std::uint8_t> classifications;
    std::vector<std::uint32_t> scanIndices{42};
    std::size_t count = 0;
    NodeColumns wanted;
    wanted.positions = &positions;
    wanted.colors = &colors;
    wanted.intensities = &intensities;
    wanted.classifications = &classifications;
    wanted.scanIndices = &scanIndices;
    ASSERT_TRUE(decodeNodeChunk(store.loader, store.metadata, store.node, std::stop_token(), wanted, count));

    EXPECT_EQ(count, 3u);
    ASSERT_EQ(positions.size(), 3u);
    EXPECT_EQ(decodePositionCode(positions[1]), (std::array<std::uint32_t, 3>{70000, 5, 6}));
    EXPECT_EQ(decodePositionCode(positions[2]), (std::array<std::uint32_t, 3>{7, 8, 1u << 20}));
    ASSERT_EQ(colors.size(), 3u);
    EXPECT_EQ(decodeColorCode(colors[1]), (std::array<std::uint16_t, 3>{1000, 2000, 3000}));
    EXPECT_EQ(intensities, (std::vector<std::uint16_t>{100, 200, 300}));
    EXPECT_EQ(classifications, (std::vector<std::uint8_t>{2, 5, 7}));
    EXPECT_EQ(scanIndices, (std::vector<std::uint32_t>{42})) << "absent attributes leave their column alone";
}

TEST(NodeChunk, NormalsFromThreeDoubleColumnsOrOctahedralCodes)
{
    auto doubleBytes = [](double value) {
        std::string bytes(8, '\0');
        std::memcpy(bytes.data(), &value, 8);
        return bytes;
    };
    const std::string xyz = doubleBytes(0.6) + doubleBytes(0.0) + doubleBytes(0.8);
    {
        const BrotliNodeFixture store({{"NormalX", 8}, {"NormalY", 8}, {"NormalZ", 8}}, 1, xyz);
        std::vector<std::array<float, 3>> normals;
        NodeColumns wanted;
        wanted.normals = &normals;
        std::size_t count = 0;
        decodeNodeChunk(store.loader, store.metadata, store.node, std::stop_token(), wanted, count);
        ASSERT_EQ(normals.size(), 1u);
        EXPECT_EQ(normals[0], (std::array<float, 3>{0.6f, 0.0f, 0.8f}));
    }
    {
        const BrotliNodeFixture store({{"NormalX", 8}, {"NormalY", 8}}, 1, xyz.substr(0, 16));
        std::vector<std::array<float, 3>> normals;
        NodeColumns wanted;
        wanted.normals = &normals;
        std::size_t count = 0;
        decodeNodeChunk(store.loader, store.metadata, store.node, std::stop_token(), wanted, count);
        EXPECT_TRUE(normals.empty()) << "without NormalZ there are no normals";
        EXPECT_EQ(count, 1u);
    }
    {
        const BrotliNodeFixture store({{"normal_oct16", 2}}, 2,
                                      bytesOf<std::uint16_t>(128 | 128 << 8) + bytesOf<std::uint16_t>(0));
        std::vector<std::array<float, 3>> normals;
        NodeColumns wanted;
        wanted.normals = &normals;
        std::size_t count = 0;
        decodeNodeChunk(store.loader, store.metadata, store.node, std::stop_token(), wanted, count);
        ASSERT_EQ(normals.size(), 2u);
        EXPECT_NEAR(normals[0][2], 1.0f, 1e-4);
        EXPECT_NEAR(normals[1][2], -1.0f, 1e-6);
    }
}

TEST(NodeChunk, BadChunksNameTheFileAndTheProblem)
{
    const std::string twoPoints = std::string(32, '\x01');
    BrotliNodeFixture store({{"position", 12}}, 2, twoPoints);
    std::vector<PositionCode> positions;
    NodeColumns wanted;
    wanted.positions = &positions;
    std::size_t count = 0;
    std::string message;
    auto decode = [&] { decodeNodeChunk(store.loader, store.metadata, store.node, std::stop_token(), wanted, count); };

    // A record cannot claim more points than the whole store has, not even where the record's
    // visibility would fill the column without reading the chunk.
    store.node.pointCount = 3;
    EXPECT_NE(failureOf<std::exception>(decode).find("but the whole store holds 2"), std::string::npos);
    BrotliNodeFixture recordVisibility({{"visibility", 1}}, 2, std::string(2, '\0'), true);
    recordVisibility.node.pointCount = 0xFFFFFFFFu;
    recordVisibility.node.visibility = Octree::NodeVisibility::AllHidden;
    std::vector<std::uint8_t> visibilities;
    NodeColumns onlyVisibility;
    onlyVisibility.visibilities = &visibilities;
    std::size_t claimed = 0xFFFFFFFFu;
    message = failureOf<std::exception>([&] {
        decodeNodeChunk(recordVisibility.loader, recordVisibility.metadata, recordVisibility.node, {}, onlyVisibility,
                        claimed);
    });
    EXPECT_NE(message.find("but the whole store holds 2"), std::string::npos) << message;
    EXPECT_TRUE(visibilities.empty());

    store.metadata.points = std::uint64_t(1) << 40; // a store so large that only the chunk can tell
    store.node.pointCount = 3; // the stream holds only two points
    message = failureOf<std::exception>(decode);
    EXPECT_NE(message.find("octree.bin"), std::string::npos) << message;
    EXPECT_NE(message.find("decompresses to"), std::string::npos) << message;

    store.node.pointCount = 0x80000000u; // 32 GiB of positions: refused before allocating
    message = failureOf<std::exception>(decode);
    EXPECT_NE(message.find("octree.bin"), std::string::npos) << message;
    EXPECT_NE(message.find("more than any real node holds"), std::string::npos) << message;

    store.node.pointCount = 2;
    store.node.byteSize += 1000; // past the end of the file
    message = failureOf<std::exception>(decode);
    EXPECT_NE(message.find("octree.bin"), std::string::npos) << message;
    EXPECT_NE(message.find("beyond the end"), std::string::npos) << message;

    store.folder.write("octree.bin", std::string(BrotliNodeFixture::leadingBytes, 'x') + std::string(40, '\xff'));
    store.node.byteSize = 40;
    message = failureOf<std::exception>(decode);
    EXPECT_NE(message.find("octree.bin"), std::string::npos) << message;
    EXPECT_NE(message.find("Brotli"), std::string::npos) << message;

    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(decodeNodeChunk(store.loader, store.metadata, store.node, stop.get_token(), wanted, count),
                 Octree::OperationCancelled);
}
