#include <lumaro/core/LruCache.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// A node's points stand in as a vector; its size is its point count.
using Points = std::vector<int>;
using PointCache = Core::LruCache<int, Points, Core::CacheEntrySizeCount<Points>>;

Points points(std::size_t count, int value)
{
    return Points(count, value);
}

TEST(LruCacheTest, CapacityCountsSizeUnitsAndEvictsTheLeastRecentlyUsed)
{
    PointCache cache(10, 4);
    cache.insert(1, points(4, 1));
    cache.insert(2, points(4, 2));
    EXPECT_EQ(cache.usedSize(), 8u);
    EXPECT_EQ(cache.get(1), points(4, 1)); // 1 is now more recent than 2
    cache.insert(3, points(4, 3)); // 2 free, 4 needed: evict 2 only
    EXPECT_TRUE(cache.contains(1));
    EXPECT_FALSE(cache.contains(2));
    EXPECT_TRUE(cache.contains(3));
    EXPECT_EQ(cache.usedSize(), 8u);
    EXPECT_EQ(cache.entryCount(), 2u);

    cache.insert(4, points(2, 4)); // exactly fills the capacity, nothing evicted
    EXPECT_EQ(cache.usedSize(), 10u);
    EXPECT_EQ(cache.entryCount(), 3u);

    cache.insert(5, points(5, 5)); // evicts 1 (4 units, still 1 short), then 3
    EXPECT_FALSE(cache.contains(1));
    EXPECT_FALSE(cache.contains(3));
    EXPECT_TRUE(cache.contains(4));
    EXPECT_EQ(cache.usedSize(), 7u);
}

TEST(LruCacheTest, AnEntryLargerThanTheCapacityEmptiesTheCacheAndIsStillKept)
{
    PointCache cache(10, 4);
    cache.insert(1, points(3, 1));
    cache.insert(2, points(3, 2));
    cache.insert(3, points(15, 3));
    EXPECT_EQ(cache.entryCount(), 1u);
    EXPECT_EQ(cache.get(3), points(15, 3));
    EXPECT_EQ(cache.usedSize(), 15u);
    cache.insert(4, points(1, 4)); // nothing is free, so the oversized entry goes
    EXPECT_FALSE(cache.contains(3));
    EXPECT_EQ(cache.usedSize(), 1u);
}

TEST(LruCacheTest, TheFirstValueOfAKeyStaysAndEveryInserterGetsIt)
{
    PointCache cache(10, 4);
    EXPECT_EQ(cache.insert(1, points(2, 1)), points(2, 1));
    EXPECT_EQ(cache.insert(1, points(3, 9)), points(2, 1));
    EXPECT_EQ(cache.usedSize(), 2u);
    EXPECT_EQ(cache.entryCount(), 1u);
}

TEST(LruCacheTest, GetOrLoadLoadsOnlyOnAMissAndCachesNothingOnFailure)
{
    PointCache cache(10, 4);
    int loads = 0;
    auto load = [&]() -> std::optional<Points> {
        ++loads;
        return points(3, 6);
    };
    EXPECT_EQ(cache.getOrLoad(6, load), points(3, 6));
    EXPECT_EQ(cache.getOrLoad(6, load), points(3, 6));
    EXPECT_EQ(loads, 1);

    EXPECT_FALSE(cache.getOrLoad(8, [] { return std::optional<Points>(); }));
    EXPECT_FALSE(cache.contains(8));
    EXPECT_EQ(cache.usedSize(), 3u);
}

TEST(LruCacheTest, EraseAndClearGiveBackTheirSize)
{
    PointCache cache(20, 4);
    for (int key = 1; key <= 4; ++key)
        cache.insert(key, points(static_cast<std::size_t>(key), key));
    EXPECT_EQ(cache.usedSize(), 10u);
    EXPECT_TRUE(cache.erase(2));
    EXPECT_FALSE(cache.erase(2));
    EXPECT_EQ(cache.usedSize(), 8u);
    EXPECT_EQ(cache.eraseIf([](int key, const Points&) { return key % 2 == 1; }), 2u); // 1 and 3
    EXPECT_EQ(cache.usedSize(), 4u);
    EXPECT_TRUE(cache.contains(4));
    cache.clear();
    EXPECT_EQ(cache.usedSize(), 0u);
    EXPECT_EQ(cache.entryCount(), 0u);
    EXPECT_EQ(cache.capacity(), 20u);
}

TEST(LruCacheTest, TheDefaultSizeCountsEntriesUnlessTheCallerGivesOne)
{
    Core::LruCache<std::string, std::string> cache(2);
    cache.insert("a", std::string(100, 'a'));
    cache.insert("b", "b");
    cache.insert("c", "c");
    EXPECT_FALSE(cache.contains("a"));
    EXPECT_EQ(cache.usedSize(), 2u);

    cache.insert("d", "d", 2); // needs the whole capacity: "b" and "c" go
    EXPECT_EQ(cache.entryCount(), 1u);
    EXPECT_EQ(cache.usedSize(), 2u);
    EXPECT_TRUE(cache.erase("d"));
    EXPECT_EQ(cache.usedSize(), 0u) << "erasing gives back the size the entry was inserted with";
}

// Loader threads of several point clouds share one cache: they look nodes up, load misses and
// insert while others evict. Every value must come out whole, and the bookkeeping must add up.
TEST(LruCacheTest, ConcurrentInsertsEvictionsAndLookupsStayConsistent)
{
    constexpr int keyCount = 64;
    constexpr std::size_t capacity = 40;
    auto sizeOf = [](int key) { return static_cast<std::size_t>(key % 7 + 1); };
    PointCache cache(capacity, keyCount);
    std::vector<std::string> faults[4];
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < 3000; ++i) {
                    const int key = (i * 7 + t * 13) % keyCount;
                    std::optional<Points> value;
                    switch ((i + t) % 4) {
                    case 0: value = cache.insert(key, points(sizeOf(key), key)); break;
                    case 1:
                        value = cache.getOrLoad(key, [&] { return std::optional(points(sizeOf(key), key)); });
                        break;
                    case 2: {
                        std::lock_guard lock(cache.mutex());
                        if (cache.contains(key))
                            value = cache.get(key);
                        break;
                    }
                    default:
                        value = cache.tryGet(key);
                        if (i % 50 == 0)
                            cache.erase(key);
                    }
                    if (value && *value != points(sizeOf(key), key))
                        faults[t].push_back("wrong value for key " + std::to_string(key));
                }
            });
    }
    for (const auto& threadFaults : faults)
        EXPECT_TRUE(threadFaults.empty()) << threadFaults.front();

    std::size_t summedSize = 0;
    std::size_t entries = 0;
    cache.eraseIf([&](int key, const Points& value) {
        summedSize += value.size();
        ++entries;
        EXPECT_EQ(value.size(), sizeOf(key));
        return false;
    });
    EXPECT_EQ(cache.usedSize(), summedSize);
    EXPECT_EQ(cache.entryCount(), entries);
    EXPECT_LE(cache.usedSize(), capacity + 3 * 7) << "at most one overshoot per concurrent inserter";
}

} // namespace
