#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include "SyntheticStore.h"

#include <gtest/gtest.h>

#include <unordered_map>

using OctreeTest::TemporaryFolder;

TEST(Location, FolderAndItsMetadataFileNameTheSameStore)
{
    const TemporaryFolder folder;
    const PoTree::FileSystemLocation byFolder(folder.path());
    const PoTree::FileSystemLocation byFile(folder.path() / "metadata.json");
    const PoTree::FileSystemLocation withSlash(folder.path().string() + "/");
    const PoTree::FileSystemLocation roundabout(folder.path() / "sub" / "..");
    EXPECT_EQ(byFolder, byFile);
    EXPECT_EQ(byFolder, withSlash);
    EXPECT_EQ(byFolder, roundabout);
    EXPECT_EQ(std::hash<Octree::Location>{}(byFolder), std::hash<Octree::Location>{}(withSlash));
    EXPECT_EQ(byFolder.file("octree.bin"), folder.path() / "octree.bin");
}

TEST(Location, ExistsOnlyWhereAStoreIs)
{
    const TemporaryFolder folder;
    const PoTree::FileSystemLocation location(folder.path());
    EXPECT_FALSE(location.exists());
    EXPECT_FALSE(PoTree::FileSystemLocation(folder.path() / "missing").exists());
    folder.write("ept.json", "{}");
    EXPECT_TRUE(location.exists());
}

TEST(Location, CopiesServeAsKeysOfCachesAndPalettes)
{
    const TemporaryFolder a;
    const TemporaryFolder b;
    const Octree::Location first = PoTree::FileSystemLocation(a.path());
    const Octree::Location second = PoTree::FileSystemLocation(b.path());
    EXPECT_NE(first, second);

    std::unordered_map<Octree::CacheIdentifier, int> caches;
    caches[{first, 1.0}] = 1;
    caches[{first, 0.001}] = 2;
    caches[{second, 1.0}] = 3;
    caches[{PoTree::FileSystemLocation(a.path() / "metadata.json"), 1.0}] = 4; // same as the first
    EXPECT_EQ(caches.size(), 3u);
    EXPECT_EQ((caches[{first, 1.0}]), 4);
}
