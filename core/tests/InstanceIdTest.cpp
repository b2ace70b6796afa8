#include <lumaro/core/InstanceId.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Each test numbers its own class, so every counter starts at 0 whatever ran before.
struct Renderer : Core::InstanceId<Renderer> {};
struct Renderable : Core::InstanceId<Renderable> {};

TEST(InstanceIdTest, NumbersInstancesOfEachClassFromZeroIndependently)
{
    const Renderer firstRenderer;
    const Renderable firstRenderable;
    const Renderable secondRenderable;
    const Renderer secondRenderer;
    EXPECT_EQ(firstRenderer.id(), 0u);
    EXPECT_EQ(secondRenderer.id(), 1u);
    EXPECT_EQ(firstRenderable.id(), 0u);
    EXPECT_EQ(secondRenderable.id(), 1u);
}

TEST(InstanceIdTest, CopiesKeepTheIdentifierAndOnlyNewObjectsDrawOne)
{
    struct Item : Core::InstanceId<Item> {};
    Item first;  // 0
    Item second; // 1
    const Item copy(first);
    EXPECT_EQ(copy.id(), 0u);
    second = first;
    EXPECT_EQ(second.id(), 0u);
    const Item moved(std::move(second));
    EXPECT_EQ(moved.id(), 0u);
    const Item fresh;
    EXPECT_EQ(fresh.id(), 2u) << "copies must not consume numbers";
}

TEST(InstanceIdTest, ConcurrentConstructionsGetDistinctConsecutiveNumbers)
{
    struct Item : Core::InstanceId<Item> {};
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t perThread = 2000;
    std::vector<std::vector<std::size_t>> ids(threadCount);
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < threadCount; ++t)
            threads.emplace_back([&ids, t] {
                for (std::size_t i = 0; i < perThread; ++i)
                    ids[t].push_back(Item().id());
            });
    }
    std::vector<std::size_t> all;
    for (const auto& part : ids)
        all.insert(all.end(), part.begin(), part.end());
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), threadCount * perThread);
    for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(all[i], i);
}

} // namespace
