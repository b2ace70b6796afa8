#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <unordered_map>

using TestSupport::TemporaryFolder;

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
