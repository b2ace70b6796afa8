#include <lumaro/core/CacheMemory.h>
#include <lumaro/core/GroupedLruCache.h>
#include <lumaro/core/LruCache.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

// A value of n bytes; its size in capacity units is 1, so that only the shared limit in bytes
// decides what is evicted.
using Bytes = std::vector<char>;
using Cache = Core::LruCache<int, Bytes>;

std::shared_ptr<Cache> cacheSharing(const std::shared_ptr<Core::CacheMemory>& memory)
{
    return std::make_shared<Cache>(1000, 0, memory, [](const Bytes& value) { return std::uint64_t(value.size()); });
}

Bytes bytes(std::size_t count, char fill = 'x')
{
    return Bytes(count, fill);
}

TEST(CacheMemoryTest, TheLeastRecentlyUsedEntryOfAllCachesGoesFirst)
{
    const auto memory = std::make_shared<Core::CacheMemory>(100);
    const auto a = cacheSharing(memory);
    const auto b = cacheSharing(memory);
    a->insert(1, bytes(30));
    a->insert(2, bytes(30));
    b->insert(1, bytes(30));
    EXPECT_EQ(memory->usedBytes(), 90u);
    a->get(1); // a's 1 is now the most recent entry; a's 2 the oldest of all
    b->insert(2, bytes(30)); // 10 free, 30 needed: a's 2 goes, from the other cache
    EXPECT_TRUE(a->contains(1));
    EXPECT_FALSE(a->contains(2));
    EXPECT_TRUE(b->contains(1));
    EXPECT_TRUE(b->contains(2));
    EXPECT_EQ(memory->usedBytes(), 90u);
    EXPECT_EQ(a->usedBytes(), 30u);
    EXPECT_EQ(b->usedBytes(), 60u);

    // Oldest first: b's 1, then a's 1; then 70 fit beside b's 2, exactly up to the limit.
    b->insert(3, bytes(70));
    EXPECT_FALSE(b->contains(1));
    EXPECT_FALSE(a->contains(1));
    EXPECT_TRUE(b->contains(2));
    EXPECT_EQ(memory->usedBytes(), 100u);
    EXPECT_EQ(memory->peakBytes(), 100u);
}

TEST(CacheMemoryTest, BytesComeBackWhenEntriesOrCachesGoAndALowerLimitEvictsAtOnce)
{
    const auto memory = std::make_shared<Core::CacheMemory>(100);
    auto a = cacheSharing(memory);
    const auto b = cacheSharing(memory);

    // Larger than the whole limit: handed back, not kept, nothing evicted for it.
    a->insert(1, bytes(10));
    EXPECT_EQ(a->insert(2, bytes(101, 'y')), bytes(101, 'y'));
    EXPECT_FALSE(a->contains(2));
    EXPECT_TRUE(a->contains(1));
    // A key that is cached keeps its value and reserves nothing more.
    EXPECT_EQ(a->insert(1, bytes(50, 'z')), bytes(10));
    EXPECT_EQ(memory->usedBytes(), 10u);

    a->insert(3, bytes(20));
    b->insert(1, bytes(40));
    b->insert(2, bytes(25));
    EXPECT_EQ(memory->usedBytes(), 95u);
    a->erase(3);
    EXPECT_EQ(memory->usedBytes(), 75u);
    b->eraseIf([](int key, const Bytes&) { return key == 2; });
    EXPECT_EQ(memory->usedBytes(), 50u);

    memory->setLimit(45); // a's 1 (10) is older than b's 1 (40): 10 go, 40 stay
    EXPECT_FALSE(a->contains(1));
    EXPECT_TRUE(b->contains(1));
    EXPECT_EQ(memory->usedBytes(), 40u);

    a->insert(4, bytes(5));
    a.reset(); // a cache that goes gives its bytes back and is asked nothing any more
    EXPECT_EQ(memory->usedBytes(), 40u);
    b->insert(3, bytes(5));
    EXPECT_EQ(memory->usedBytes(), 45u);
    b->clear();
    EXPECT_EQ(memory->usedBytes(), 0u);
}

TEST(CacheMemoryTest, AGroupedCacheCountsItsEntriesBytesToo)
{
    const auto memory = std::make_shared<Core::CacheMemory>(64);
    Core::GroupedLruCache<int, Bytes, int> grouped(100, memory,
                                                   [](const Bytes& value) { return std::uint64_t(value.size()); });
    grouped.insert(1, 10, bytes(40));
    grouped.insert(2, 10, bytes(40)); // the other group's entry is evicted for it
    EXPECT_FALSE(grouped.contains(1, 10));
    EXPECT_TRUE(grouped.contains(2, 10));
    EXPECT_EQ(grouped.usedBytes(), 40u);
    EXPECT_EQ(memory->usedBytes(), 40u);
}

// Many threads inserting, reading and erasing in caches that share a small limit: the limit is
// never exceeded, and afterwards the shared count is exactly what the caches hold.
TEST(CacheMemoryTest, ConcurrentCachesStayWithinTheLimitAndAccountEveryByte)
{
    constexpr std::uint64_t limit = 1000;
    const auto memory = std::make_shared<Core::CacheMemory>(limit);
    std::vector<std::shared_ptr<Cache>> caches;
    for (int i = 0; i < 3; ++i)
        caches.push_back(cacheSharing(memory));
    std::vector<std::thread> threads;
    std::vector<std::string> faults(4);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 3000; ++i) {
                Cache& cache = *caches[static_cast<std::size_t>((i + t) % 3)];
                const int key = (i * 7 + t * 13) % 40;
                const std::size_t size = 20 + static_cast<std::size_t>(key) * 3;
                const char fill = static_cast<char>('a' + key % 26);
                std::optional<Bytes> value;
                if (i % 5 == 4)
                    cache.erase(key);
                else if (i % 2 == 0)
                    value = cache.getOrLoad(key, [&] { return std::optional(Bytes(size, fill)); });
                else
                    value = cache.tryGet(key);
                if (value && *value != Bytes(size, fill))
                    faults[static_cast<std::size_t>(t)] = "wrong value for key " + std::to_string(key);
                if (memory->usedBytes() > limit)
                    faults[static_cast<std::size_t>(t)] = "over the limit: " + std::to_string(memory->usedBytes());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& fault : faults)
        EXPECT_EQ(fault, "");
    EXPECT_LE(memory->peakBytes(), limit);
    EXPECT_GT(memory->peakBytes(), limit / 2);
    std::uint64_t held = 0;
    for (const auto& cache : caches)
        held += cache->usedBytes();
    EXPECT_EQ(memory->usedBytes(), held);
}

} // namespace
