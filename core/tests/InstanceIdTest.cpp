#include <lumaro/core/InstanceId.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace {

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
