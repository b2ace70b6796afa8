// Damaged and foreign files: each fails with a message that names the file and the problem,
// either when it is opened or when the damaged node is decoded.
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <lumaro/testsupport/FailureOf.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace {

using Copc::CopcTree;
using Octree::OctreeNodeId;
using TestSupport::failureOf;

// Places in the test data's COPC file (its facts.json): the root page, whose first entry is the
// root node, and the root's chunk.
constexpr std::size_t ROOT_PAGE = 31604;
constexpr std::size_t ROOT_CHUNK = 28853;
constexpr std::size_t INFO = 429;

template <typename T>
void patch(std::string& bytes, std::size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

enum class FailsWhen {
    Opened,
    RootDecoded
};

struct BadFile {
    const char* name;
    std::function<void(std::string&)> damage;
    FailsWhen when;
    const char* problem;
};

void PrintTo(const BadFile& file, std::ostream* out)
{
    *out << file.name;
}

class CopcBadFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(CopcBadFile, FailsNamingTheFileAndTheProblem)
{
    std::string bytes = Core::readLocalFile(TestSupport::testStore("copc/1.2-with-color.copc.laz"));
    GetParam().damage(bytes);
    TestSupport::TemporaryFolder folder;
    const std::filesystem::path file = folder.write("bad.copc.laz", bytes);
    const PoTree::FileSystemLocation location(file);

    const std::string message = failureOf([&] {
        const auto tree = Octree::Octree::open(location);
        ASSERT_EQ(GetParam().when, FailsWhen::RootDecoded) << "opened";
        tree->nodePointData(OctreeNodeId::root(), {});
    });
    EXPECT_NE(message.find(file.string()), std::string::npos) << message;
    EXPECT_NE(message.find(GetParam().problem), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(
    Damage, CopcBadFile,
    ::testing::Values(
        BadFile{"NotLas", [](std::string& b) { b = "x,y,z\n1,2,3\n"; }, FailsWhen::Opened, "is not a LAS file"},
        BadFile{"LasWithoutCopcRecord",
                [](std::string& b) { b = Core::readLocalFile(TestSupport::testStore("copc/1.2-with-color.las")); },
                FailsWhen::Opened, "has no COPC info record"},
        BadFile{"PointFormat3", [](std::string& b) { b[104] = static_cast<char>(0x83); }, FailsWhen::Opened,
                "holds points of format 3"},
        BadFile{"RootPageCutShort", [](std::string& b) { b.resize(ROOT_PAGE + 100); }, FailsWhen::Opened,
                "root hierarchy page"},
        BadFile{"RootPageOfHalfAnEntry", [](std::string& b) { patch<std::uint64_t>(b, INFO + 48, 2080 - 16); },
                FailsWhen::Opened, "32-byte entries"},
        BadFile{"EntryPastTheEndOfTheFile",
                [](std::string& b) { patch<std::uint64_t>(b, ROOT_PAGE + 16, b.size() - 100); }, FailsWhen::Opened,
                "the chunk of 0-0-0-0 (665 bytes at byte 33584) lies outside"},
        BadFile{"EntryOfAnotherLevel", [](std::string& b) { patch<std::int32_t>(b, ROOT_PAGE + 4, 1); },
                FailsWhen::Opened, "entry 0-1-0-0 is not a cell of level 0"},
        BadFile{"ChunkShorterThanItsPointCount", [](std::string& b) { patch<std::int32_t>(b, ROOT_PAGE + 24, 400); },
                FailsWhen::RootDecoded, "need 665 bytes, but the chunk is 400 bytes long"},
        BadFile{"CountOtherThanTheChunks", [](std::string& b) { patch<std::int32_t>(b, ROOT_PAGE + 28, 30); },
                FailsWhen::RootDecoded, "the chunk holds 24 points, but the hierarchy counts 30"},
        // The first layer holds the x and y differences; garbage there puts points far away.
        BadFile{"CorruptChunk",
                [](std::string& b) {
                    for (std::size_t i = 0; i < 60; ++i)
                        b[ROOT_CHUNK + 36 + 4 + 40 + 20 + i] ^= static_cast<char>(0x5A);
                },
                FailsWhen::RootDecoded, "node 0-0-0-0 (the chunk at byte 28853)"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
