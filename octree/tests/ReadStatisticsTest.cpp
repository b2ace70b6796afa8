// The store readers count what they read, for `lumaro render --stats`: every read of a file on
// disk is one request with its bytes; asking for a size or whether a file is there reads nothing.
#include <lumaro/octree/ReadStatistics.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>

namespace {

TEST(ReadStatistics, EveryReadOfAStoreOnDiskCountsOnceWithItsBytes)
{
    const std::filesystem::path store = TestSupport::testStore("potree2/autzen_trim-brotli");
    const auto reader = Octree::StoreReader::open(PoTree::FileSystemLocation(store));
    const std::uint64_t metadataBytes = std::filesystem::file_size(store / "metadata.json");
    struct Case {
        const char* what;
        std::function<void()> read;
        std::uint64_t requests;
        std::uint64_t bytes;
    };
    const Case cases[] = {
        {"a whole file", [&] { reader->read("metadata.json"); }, 1, metadataBytes},
        {"a range", [&] { reader->readRange("octree.bin", 100, 2500); }, 1, 2500},
        {"a size", [&] { reader->size("octree.bin"); }, 0, 0},
        {"a look", [&] { reader->exists("hierarchy.bin"); }, 0, 0},
        {"a missing file", [&] { EXPECT_THROW(reader->read("missing.json"), std::runtime_error); }, 0, 0},
    };
    for (const Case& test : cases) {
        const Octree::ReadStatistics before = Octree::readStatistics();
        test.read();
        const Octree::ReadStatistics after = Octree::readStatistics();
        EXPECT_EQ(after.requests - before.requests, test.requests) << test.what;
        EXPECT_EQ(after.bytes - before.bytes, test.bytes) << test.what;
    }
}

} // namespace
