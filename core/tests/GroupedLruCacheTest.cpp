#include <lumaro/core/GroupedLruCache.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Per-node distances to a mesh; the group says which mesh they were computed for.
using DistanceCache = Core::GroupedLruCache<int, std::vector<float>, int>;

TEST(GroupedLruCacheTest, ZeroCapacityAndMissingEntriesAreRejectedWithTheirMessages)
{
    try {
        DistanceCache cache(0);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Capacity must be greater than 0");
    }
    DistanceCache cache(4);
    cache.insert(1, 10, {1.0f});
    try {
        cache.get(2, 10);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Error: Key is not in cache");
    }
}

TEST(GroupedLruCacheTest, EachGroupHoldsItsOwnValueOfAKey)
{
    DistanceCache cache(4);
    cache.insert(1, 10, {1.5f});
    cache.insert(2, 10, {-2.5f, 3.0f});
    EXPECT_EQ(cache.get(1, 10), std::vector<float>{1.5f});
    EXPECT_EQ(cache.get(2, 10), (std::vector<float>{-2.5f, 3.0f}));
    EXPECT_FALSE(cache.contains(3, 10));
    EXPECT_FALSE(cache.tryGet(1, 11));
    EXPECT_EQ(cache.insert(1, 10, {9.0f}), std::vector<float>{1.5f}) << "the first value stays";
}

TEST(GroupedLruCacheTest, ErasingAGroupLeavesTheOthers)
{
    DistanceCache cache(10);
    for (int node = 0; node < 3; ++node) {
        cache.insert(1, node, {1.0f});
        cache.insert(2, node, {2.0f});
    }
    EXPECT_EQ(cache.eraseGroup(1), 3u);
    EXPECT_EQ(cache.entryCount(), 3u);
    for (int node = 0; node < 3; ++node) {
        EXPECT_FALSE(cache.contains(1, node));
        EXPECT_TRUE(cache.contains(2, node));
    }
    EXPECT_EQ(cache.eraseGroup(1), 0u);
    cache.clear();
    EXPECT_EQ(cache.entryCount(), 0u);
}

TEST(GroupedLruCacheTest, EvictionIsLeastRecentlyUsedAcrossGroupsAndCountsEntries)
{
    DistanceCache cache(3);
    cache.insert(1, 10, std::vector<float>(1000, 1.0f)); // a large value still counts one entry
    cache.insert(2, 10, {2.0f});
    cache.insert(1, 11, {3.0f});
    cache.get(1, 10); // (2, 10) is now the least recently used
    cache.insert(2, 12, {4.0f});
    EXPECT_FALSE(cache.contains(2, 10));
    EXPECT_TRUE(cache.contains(1, 10));
    EXPECT_TRUE(cache.contains(1, 11));
    EXPECT_TRUE(cache.contains(2, 12));
    EXPECT_EQ(cache.usedSize(), 3u);
    EXPECT_EQ(cache.capacity(), 3u);
}

} // namespace
