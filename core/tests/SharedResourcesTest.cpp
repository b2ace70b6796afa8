#include <lumaro/core/SharedResources.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Keyed like the node caches: a location and a unit scale.
using CacheKey = std::pair<std::string, double>;

struct Cache {
    explicit Cache(std::size_t capacity) : capacity(capacity) {}
    std::size_t capacity;
};

TEST(SharedResourcesTest, OneObjectPerKeyAndLaterSizesAreIgnored)
{
    Core::SharedResources<CacheKey, Cache> registry;
    int creations = 0;
    auto createOrGet = [&](const CacheKey& key, std::size_t capacity) {
        return registry.createOrGet(key, [&] {
            ++creations;
            return std::make_shared<Cache>(capacity);
        });
    };
    const auto first = createOrGet({"/data/cloud", 1.0}, 100);
    const auto second = createOrGet({"/data/cloud", 1.0}, 5);
    const auto otherScale = createOrGet({"/data/cloud", 0.001}, 7);
    const auto otherLocation = createOrGet({"/data/other", 1.0}, 8);

    EXPECT_EQ(first, second);
    EXPECT_EQ(second->capacity, 100u);
    EXPECT_NE(first, otherScale);
    EXPECT_NE(first, otherLocation);
    EXPECT_EQ(creations, 3);
    EXPECT_EQ(registry.size(), 3u);
    EXPECT_EQ(registry.find({"/data/cloud", 0.001}), otherScale);
    EXPECT_EQ(registry.find({"/data/missing", 1.0}), nullptr);
}

TEST(SharedResourcesTest, ObjectsOutliveTheirEntryWhileUsed)
{
    Core::SharedResources<CacheKey, Cache> registry;
    auto held = registry.createOrGet({"a", 1.0}, [] { return std::make_shared<Cache>(1); });
    std::weak_ptr<Cache> watched = held;
    held.reset();
    EXPECT_FALSE(watched.expired()) << "the registry keeps its objects";

    held = watched.lock();
    EXPECT_TRUE(registry.erase({"a", 1.0}));
    EXPECT_FALSE(registry.erase({"a", 1.0}));
    EXPECT_FALSE(watched.expired());
    held.reset();
    EXPECT_TRUE(watched.expired());

    registry.createOrGet({"b", 1.0}, [] { return std::make_shared<Cache>(2); });
    registry.clear();
    EXPECT_EQ(registry.size(), 0u);
    const auto fresh = registry.createOrGet({"b", 1.0}, [] { return std::make_shared<Cache>(3); });
    EXPECT_EQ(fresh->capacity, 3u);
}

TEST(SharedResourcesTest, AFailedCreationRegistersNothing)
{
    Core::SharedResources<CacheKey, Cache> registry;
    EXPECT_THROW(registry.createOrGet({"a", 1.0}, []() -> std::shared_ptr<Cache> { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_THROW(registry.createOrGet({"a", 1.0}, [] { return std::shared_ptr<Cache>(); }), std::logic_error);
    EXPECT_EQ(registry.size(), 0u);
}

TEST(SharedResourcesTest, ConcurrentRequestsForOneKeyCreateOnce)
{
    Core::SharedResources<CacheKey, Cache> registry;
    std::atomic<int> creations{0};
    std::vector<std::shared_ptr<Cache>> results(4);
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < results.size(); ++t)
            threads.emplace_back([&, t] {
                results[t] = registry.createOrGet({"shared", 1.0}, [&] {
                    ++creations;
                    return std::make_shared<Cache>(t);
                });
            });
    }
    EXPECT_EQ(creations, 1);
    for (const auto& result : results)
        EXPECT_EQ(result, results[0]);
}

} // namespace
