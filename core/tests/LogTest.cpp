#include <lumaro/core/Log.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

class LogTest : public ::testing::Test {
protected:
    std::vector<std::pair<Core::Log::Level, std::string>> received;
    Core::Log::Sink previous;

    void SetUp() override
    {
        previous = Core::Log::setSink([this](Core::Log::Level level, std::string_view message) {
            received.emplace_back(level, std::string(message));
        });
    }
    void TearDown() override { Core::Log::setSink(previous); }
};

TEST_F(LogTest, MessagesReachTheSinkWithTheirLevel)
{
    Core::Log::info("loading cloud.las");
    Core::Log::warning("no colours");
    Core::Log::error("Error loading point data");
    const decltype(received) expected = {{Core::Log::Level::Info, "loading cloud.las"},
                                         {Core::Log::Level::Warning, "no colours"},
                                         {Core::Log::Level::Error, "Error loading point data"}};
    EXPECT_EQ(received, expected);
}

TEST_F(LogTest, AThrowingSinkDoesNotFailTheCaller)
{
    Core::Log::setSink([](Core::Log::Level, std::string_view) { throw std::runtime_error("disk full"); });
    EXPECT_NO_THROW(Core::Log::error("anything"));
}

TEST_F(LogTest, CallsFromManyThreadsAreSerialised)
{
    // The sink appends without a lock of its own; the log must serialise the calls.
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([t] {
                for (int i = 0; i < 250; ++i)
                    Core::Log::info("thread " + std::to_string(t));
            });
    }
    ASSERT_EQ(received.size(), 1000u);
    for (int t = 0; t < 4; ++t) {
        const auto name = "thread " + std::to_string(t);
        EXPECT_EQ(
            std::count_if(received.begin(), received.end(), [&](const auto& entry) { return entry.second == name; }),
            250);
    }
}

} // namespace
