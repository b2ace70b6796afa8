// Broken stores must fail with an exception that names the file and says what is wrong.
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/FailureOf.h>
#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

using TestSupport::failureOf;
using TestSupport::hierarchyRecord;
using TestSupport::TemporaryFolder;

namespace {

std::shared_ptr<Octree::Octree> open(const TemporaryFolder& folder)
{
    return Octree::Octree::open(PoTree::FileSystemLocation(folder.path()));
}

// A valid BROTLI store of one root node with two points, each with position and intensity.
void writeValidStore(const TemporaryFolder& folder)
{
    const std::string columns = TestSupport::positionCode(1, 1, 1) + TestSupport::positionCode(101, 201, 301)
        + TestSupport::bytesOf<std::uint16_t>(5) + TestSupport::bytesOf<std::uint16_t>(6);
    const std::string chunk = TestSupport::brotliStored(columns);
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 22).dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0, 2, 0, chunk.size()));
    folder.write("octree.bin", chunk);
}

#define EXPECT_FAILURE_MENTIONS(action, first, second)                                                                 \
    do {                                                                                                               \
        const std::string message = failureOf([&] { action; });                                                        \
        EXPECT_NE(message.find(first), std::string::npos) << "message: " << message;                                   \
        EXPECT_NE(message.find(second), std::string::npos) << "message: " << message;                                  \
    } while (false)

} // namespace

TEST(BadStore, MissingStoresAndFolders)
{
    const TemporaryFolder folder;
    EXPECT_FAILURE_MENTIONS(Octree::Octree::open(PoTree::FileSystemLocation(folder.path() / "nowhere")), "nowhere",
                            "not found");
    EXPECT_FAILURE_MENTIONS(open(folder), folder.path().filename().string(), "neither metadata.json nor ept.json");
}

TEST(BadStore, MalformedMetadata)
{
    const TemporaryFolder folder;
    writeValidStore(folder);
    auto metadata = TestSupport::syntheticMetadata("BROTLI", {{"position", 12}}, 2, 22);

    folder.write("metadata.json", metadata.dump().substr(0, 100)); // cut short
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "not valid JSON");

    auto noScale = metadata;
    noScale.erase("scale");
    folder.write("metadata.json", noScale.dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "\"scale\"");

    auto zeroScale = metadata;
    zeroScale["scale"] = {0.01, 0.0, 0.01};
    folder.write("metadata.json", zeroScale.dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "positive");

    auto badChunkSize = metadata;
    badChunkSize["hierarchy"]["firstChunkSize"] = "22";
    folder.write("metadata.json", badChunkSize.dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "hierarchy.firstChunkSize");

    auto wideColor = TestSupport::syntheticMetadata("DEFAULT", {{"position", 12}, {"rgb", 8}}, 2, 22);
    folder.write("metadata.json", wideColor.dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "\"rgb\" attribute must take 6 bytes");

    auto flatBox = metadata;
    flatBox["boundingBox"]["max"] = {16.0, 16.0, 0.0};
    folder.write("metadata.json", flatBox.dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "boundingBox");

    // A level's spacing halves the root's; zero or a negative value gives no usable level of detail.
    for (const double spacing : {0.0, -0.125}) {
        auto badSpacing = metadata;
        badSpacing["spacing"] = spacing;
        folder.write("metadata.json", badSpacing.dump());
        EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "\"spacing\"");
    }
}

TEST(BadStore, StoresWithoutTwelveBytePositions)
{
    const TemporaryFolder folder;
    writeValidStore(folder);
    for (const std::string encoding : {"BROTLI", "DEFAULT"}) {
        SCOPED_TRACE(encoding);
        folder.write("metadata.json", TestSupport::syntheticMetadata(encoding, {{"intensity", 2}}, 2, 22).dump());
        EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "\"position\"");
        // "Position" is another attribute: names match exactly.
        folder.write("metadata.json", TestSupport::syntheticMetadata(encoding, {{"Position", 12}}, 2, 22).dump());
        EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "\"position\"");
        // The size is that of three 32-bit integers in both encodings, not the 16 bytes of a Brotli code.
        folder.write("metadata.json", TestSupport::syntheticMetadata(encoding, {{"position", 16}}, 2, 22).dump());
        EXPECT_FAILURE_MENTIONS(open(folder), "metadata.json", "12 bytes, not 16");
    }
}

TEST(BadStore, HierarchyShorterThanItsRecordsClaim)
{
    const TemporaryFolder folder;
    writeValidStore(folder);
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 44).dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "hierarchy.bin", "beyond the end");

    // The root announces two children, but the chunk has records for only one of them.
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 44).dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0x03, 2, 0, 10) + hierarchyRecord(0, 0, 0, 0, 0));
    EXPECT_FAILURE_MENTIONS(open(folder), "hierarchy.bin", "announce 3");

    folder.write("hierarchy.bin", std::string(10, '\0'));
    folder.write("metadata.json", TestSupport::syntheticMetadata("BROTLI", {{"position", 12}}, 2, 10).dump());
    EXPECT_FAILURE_MENTIONS(open(folder), "hierarchy.bin", "no whole record");
}

TEST(BadStore, ProxyPastTheEndOfTheHierarchy)
{
    const TemporaryFolder folder;
    writeValidStore(folder);
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 44).dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0x01, 0, 0, 0) + hierarchyRecord(2, 0, 2, 44, 22));
    const auto tree = open(folder); // the proxy is read only when its node is visited
    EXPECT_FAILURE_MENTIONS(tree->children(Octree::OctreeNodeId::fromName("r0")), "hierarchy.bin", "beyond the end");

    // A proxy chunk that begins with yet another proxy would never end.
    folder.write("hierarchy.bin",
                 hierarchyRecord(0, 0x01, 0, 0, 0) + hierarchyRecord(2, 0, 2, 44, 22)
                     + hierarchyRecord(2, 0, 2, 44, 22));
    const auto looping = open(folder);
    EXPECT_FAILURE_MENTIONS(looping->children(Octree::OctreeNodeId::fromName("r0")), "hierarchy.bin", "proxy");
}

TEST(BadStore, BadProxyChunkFailsOnEveryVisit)
{
    // r0 is a proxy whose chunk (at byte 44) announces two children of r0 but describes neither.
    const TemporaryFolder folder;
    writeValidStore(folder);
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("BROTLI", {{"position", 12}, {"intensity", 2}}, 2, 44).dump());
    folder.write("hierarchy.bin",
                 hierarchyRecord(0, 0x01, 0, 0, 0) + hierarchyRecord(2, 0, 2, 44, 22)
                     + hierarchyRecord(0, 0x03, 2, 0, 0));
    const auto tree = open(folder);
    const auto r0 = Octree::OctreeNodeId::fromName("r0");
    for (int visit = 1; visit <= 2; ++visit) {
        SCOPED_TRACE("visit " + std::to_string(visit));
        EXPECT_FAILURE_MENTIONS(tree->children(r0), "hierarchy.bin", "announce 3");
        EXPECT_FAILURE_MENTIONS(tree->contains(Octree::OctreeNodeId::fromName("r00")), "hierarchy.bin", "announce 3");
        EXPECT_FAILURE_MENTIONS(tree->pointCount(r0), "hierarchy.bin", "announce 3");
    }
}

TEST(BadStore, InterleavedNodeOfTheWrongSize)
{
    const TemporaryFolder folder;
    folder.write("metadata.json",
                 TestSupport::syntheticMetadata("DEFAULT", {{"position", 12}, {"intensity", 2}}, 2, 22).dump());
    folder.write("hierarchy.bin", hierarchyRecord(0, 0, 2, 0, 27)); // 2 points of 14 bytes need 28
    folder.write("octree.bin", std::string(27, '\0'));
    EXPECT_FAILURE_MENTIONS(open(folder)->nodePointData(Octree::OctreeNodeId::root(), std::stop_token()), "octree.bin",
                            "need 28");
}
