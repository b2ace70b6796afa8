#include <lumaro/core/GroupedLruCache.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Per-node distances to a mesh; the group says which mesh they were computed for.
using DistanceCache = Core::GroupedLruCache<int, std::vector<float>, int>;

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

} // namespace
