#include <lumaro/core/BackgroundThread.h>
#include <lumaro/core/Log.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// A count that a test can wait on without sleeping.
struct Counter {
    std::atomic<int> value{0};

    void bump()
    {
        ++value;
        value.notify_all();
    }
    void waitFor(int count)
    {
        for (int seen = value.load(); seen < count; seen = value.load())
            value.wait(seen);
    }
};

// Starts and ends of the runs of a function that works until it is asked to stop, like a loader
// walking an endless octree.
struct Runs {
    Counter starts;
    Counter ends;
    Counter endsByStop;

    Core::BackgroundThread::Function untilStopped()
    {
        return [this](std::stop_token stop) {
            starts.bump();
            std::mutex mutex;
            std::condition_variable_any wakeUp;
            std::unique_lock lock(mutex);
            wakeUp.wait(lock, stop, [] { return false; });
            if (stop.stop_requested())
                endsByStop.bump();
            ends.bump();
        };
    }
};

// Destruction, stop and restart each return only after the running run has ended; a restart
// runs a function that finished by itself again, with a fresh token.
TEST(BackgroundThreadTest, StopRestartAndDestructionEndTheRunningRunBeforeReturning)
{
    Runs runs;
    {
        Core::BackgroundThread thread(runs.untilStopped());
        runs.starts.waitFor(1);
        thread.restart();
        EXPECT_EQ(runs.endsByStop.value, 1) << "restart returned before the first run ended";
        runs.starts.waitFor(2);
        EXPECT_TRUE(thread.isRunning());
        thread.stop();
        EXPECT_FALSE(thread.isRunning());
        EXPECT_EQ(runs.endsByStop.value, 2) << "stop returned before the run ended";
        thread.stop(); // nothing left to stop
        thread.restart();
        runs.starts.waitFor(3);
    }
    EXPECT_EQ(runs.endsByStop.value, 3) << "the destructor returned before the run ended";

    std::vector<bool> stopRequestedAtStart;
    Counter finished;
    Core::BackgroundThread oneShot([&](std::stop_token stop) {
        stopRequestedAtStart.push_back(stop.stop_requested());
        finished.bump();
    });
    finished.waitFor(1);
    oneShot.restart();
    finished.waitFor(2);
    oneShot.stop();
    EXPECT_EQ(stopRequestedAtStart, (std::vector<bool>{false, false}));
}

// An escaping exception is logged and kept for the owner, and a later run that succeeds clears it.
TEST(BackgroundThreadTest, AnEscapingExceptionIsLoggedAndKeptUntilARunSucceeds)
{
    std::vector<std::string> messages;
    const auto previous = Core::Log::setSink([&](Core::Log::Level level, std::string_view message) {
        if (level == Core::Log::Level::Error)
            messages.emplace_back(message);
    });
    std::atomic<int> runs{0};
    Core::BackgroundThread thread([&](std::stop_token) {
        if (++runs == 1)
            throw std::runtime_error("node 4-2-1-0 is corrupt");
    });
    thread.stop();
    ASSERT_TRUE(thread.lastError());
    EXPECT_THROW(std::rethrow_exception(thread.lastError()), std::runtime_error);
    thread.restart();
    thread.stop();
    Core::Log::setSink(previous);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("node 4-2-1-0 is corrupt"), std::string::npos) << messages[0];
    EXPECT_EQ(runs, 2);
    EXPECT_FALSE(thread.lastError());
}

// Bumps its counter when the last copy of the function that holds it is destroyed.
struct ReleaseWatch {
    explicit ReleaseWatch(std::shared_ptr<Counter> counter) : released(std::move(counter)) {}
    ~ReleaseWatch() { released->bump(); }
    std::shared_ptr<Counter> released;
};

// A loader whose run drops the last reference to the loader, e.g. its renderable goes away while
// it works: the object dies on its own thread, which cannot join itself. The run goes on with its
// captures intact, and an exception it throws then is still logged, not fatal.
TEST(BackgroundThreadTest, TheFunctionMayDestroyItsOwnThreadObject)
{
    const auto released = std::make_shared<Counter>();
    std::mutex mutex;
    std::condition_variable handedOver;
    std::unique_ptr<Core::BackgroundThread> owner;
    bool stopRequestedAfterDestruction = false;
    std::vector<int> capturedAfterDestruction;

    auto watch = std::make_shared<ReleaseWatch>(released);
    auto thread = std::make_unique<Core::BackgroundThread>(
        [&, watch = std::move(watch), captured = std::vector<int>{1, 2, 3}](std::stop_token stop) {
            {
                std::unique_lock lock(mutex);
                handedOver.wait(lock, [&] { return owner != nullptr; });
            }
            owner.reset();
            stopRequestedAfterDestruction = stop.stop_requested();
            capturedAfterDestruction = captured;
            throw std::runtime_error("store closed under the loader");
        });
    std::string logged;
    const auto previous = Core::Log::setSink([&](Core::Log::Level, std::string_view text) { logged = text; });
    {
        std::lock_guard lock(mutex);
        owner = std::move(thread);
        handedOver.notify_all();
    }
    released->waitFor(1); // the function and its captures go once the run is over
    Core::Log::setSink(previous);
    EXPECT_NE(logged.find("store closed under the loader"), std::string::npos) << logged;
    EXPECT_TRUE(stopRequestedAfterDestruction);
    EXPECT_EQ(capturedAfterDestruction, (std::vector<int>{1, 2, 3}));
    std::lock_guard lock(mutex);
    EXPECT_EQ(owner, nullptr);
}

TEST(BackgroundThreadTest, RestartsFromSeveralThreadsLeaveExactlyOneRun)
{
    Runs runs;
    {
        Core::BackgroundThread thread(runs.untilStopped());
        std::vector<std::jthread> restarters;
        for (int t = 0; t < 3; ++t)
            restarters.emplace_back([&] {
                for (int i = 0; i < 20; ++i)
                    thread.restart();
            });
        restarters.clear(); // joins
        runs.starts.waitFor(61);
        EXPECT_EQ(runs.ends.value, 60) << "every restart ends exactly one run";
    }
    EXPECT_EQ(runs.starts.value, 61);
    EXPECT_EQ(runs.ends.value, 61);
}

} // namespace
