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

// Records what the runs of a background function did, and lets the test wait for a given number
// of starts or ends without sleeping.
class RunLog {
public:
    void started()
    {
        std::lock_guard lock(mMutex);
        ++mStarts;
        mChanged.notify_all();
    }
    void ended(bool byStopRequest)
    {
        std::lock_guard lock(mMutex);
        ++mEnds;
        mEndsByStop += byStopRequest ? 1 : 0;
        mChanged.notify_all();
    }
    void waitForStarts(int count)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [&] { return mStarts >= count; });
    }
    void waitForEnds(int count)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [&] { return mEnds >= count; });
    }
    int starts() const { std::lock_guard lock(mMutex); return mStarts; }
    int ends() const { std::lock_guard lock(mMutex); return mEnds; }
    int endsByStop() const { std::lock_guard lock(mMutex); return mEndsByStop; }

private:
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    int mStarts = 0;
    int mEnds = 0;
    int mEndsByStop = 0;
};

// A run that works until it is asked to stop, like a loader walking an endless octree.
Core::BackgroundThread::Function runUntilStopped(RunLog& log)
{
    return [&log](std::stop_token stop) {
        log.started();
        std::mutex mutex;
        std::condition_variable_any wakeUp;
        std::unique_lock lock(mutex);
        wakeUp.wait(lock, stop, [] { return false; });
        log.ended(stop.stop_requested());
    };
}

TEST(BackgroundThreadTest, DestructionStopsTheRunAndWaitsForIt)
{
    RunLog log;
    {
        Core::BackgroundThread thread(runUntilStopped(log));
        log.waitForStarts(1);
        EXPECT_TRUE(thread.isRunning());
    }
    EXPECT_EQ(log.ends(), 1) << "the destructor returned before the run ended";
    EXPECT_EQ(log.endsByStop(), 1);
}

TEST(BackgroundThreadTest, RestartEndsTheCurrentRunBeforeStartingTheNext)
{
    RunLog log;
    Core::BackgroundThread thread(runUntilStopped(log));
    log.waitForStarts(1);
    thread.restart();
    EXPECT_EQ(log.ends(), 1) << "restart returned before the first run ended";
    EXPECT_EQ(log.endsByStop(), 1);
    log.waitForStarts(2);
    EXPECT_TRUE(thread.isRunning());
    thread.restart();
    log.waitForStarts(3);
    EXPECT_EQ(log.ends(), 2);
    EXPECT_EQ(log.endsByStop(), 2);
}

TEST(BackgroundThreadTest, RestartRunsAFinishedFunctionAgainWithAFreshToken)
{
    RunLog log;
    std::vector<bool> stopRequestedAtStart;
    Core::BackgroundThread thread([&](std::stop_token stop) {
        stopRequestedAtStart.push_back(stop.stop_requested());
        log.started();
        log.ended(false);
    });
    log.waitForEnds(1);
    thread.restart();
    log.waitForEnds(2);
    thread.stop();
    EXPECT_FALSE(thread.isRunning());
    EXPECT_EQ(log.starts(), 2);
    EXPECT_EQ(stopRequestedAtStart, (std::vector<bool>{false, false}));
}

TEST(BackgroundThreadTest, StopWaitsAndRestartResumes)
{
    RunLog log;
    Core::BackgroundThread thread(runUntilStopped(log));
    log.waitForStarts(1);
    thread.stop();
    EXPECT_FALSE(thread.isRunning());
    EXPECT_EQ(log.endsByStop(), 1);
    thread.stop(); // nothing left to stop
    thread.restart();
    log.waitForStarts(2);
    EXPECT_TRUE(thread.isRunning());
}

TEST(BackgroundThreadTest, AnEscapingExceptionIsLoggedAndKeptNotFatal)
{
    std::vector<std::string> messages;
    const auto previous = Core::Log::setSink([&](Core::Log::Level level, std::string_view message) {
        if (level == Core::Log::Level::Error)
            messages.emplace_back(message);
    });
    Core::BackgroundThread thread([](std::stop_token) { throw std::runtime_error("node 4-2-1-0 is corrupt"); });
    thread.stop();
    Core::Log::setSink(previous);

    ASSERT_TRUE(thread.lastError());
    EXPECT_THROW(std::rethrow_exception(thread.lastError()), std::runtime_error);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("node 4-2-1-0 is corrupt"), std::string::npos) << messages[0];

}

TEST(BackgroundThreadTest, ARestartThatSucceedsClearsTheLastError)
{
    const auto previous = Core::Log::setSink([](Core::Log::Level, std::string_view) {});
    std::atomic<int> runs{0};
    Core::BackgroundThread thread([&](std::stop_token) {
        if (++runs == 1)
            throw std::runtime_error("first run fails");
    });
    thread.stop();
    EXPECT_TRUE(thread.lastError());
    thread.restart();
    thread.stop();
    Core::Log::setSink(previous);
    EXPECT_EQ(runs, 2);
    EXPECT_FALSE(thread.lastError());
}

TEST(BackgroundThreadTest, TheFunctionCannotRestartOrStopItsOwnThread)
{
    std::mutex mutex;
    std::condition_variable ready;
    Core::BackgroundThread* self = nullptr;
    std::vector<std::string> refusals;
    Core::BackgroundThread thread([&](std::stop_token) {
        std::unique_lock lock(mutex);
        ready.wait(lock, [&] { return self != nullptr; });
        for (auto operation : {&Core::BackgroundThread::restart, &Core::BackgroundThread::stop}) {
            try {
                (self->*operation)();
            } catch (const std::logic_error& error) {
                refusals.emplace_back(error.what());
            }
        }
    });
    {
        std::lock_guard lock(mutex);
        self = &thread;
    }
    ready.notify_all();
    thread.stop();
    ASSERT_EQ(refusals.size(), 2u);
    EXPECT_NE(refusals[0].find("restart"), std::string::npos);
    EXPECT_NE(refusals[1].find("stop"), std::string::npos);
}

// A one-shot signal that one thread raises and another waits for. Shared, so that the raising
// thread never touches it after the waiter has moved on and destroyed its own share.
struct Signal {
    std::mutex mutex;
    std::condition_variable raised;
    bool isRaised = false;

    void raise()
    {
        std::lock_guard lock(mutex);
        isRaised = true;
        raised.notify_all();
    }
    void wait()
    {
        std::unique_lock lock(mutex);
        raised.wait(lock, [&] { return isRaised; });
    }
};

// Raises its signal when the last copy of the function that holds it is destroyed.
struct ReleaseWatch {
    std::shared_ptr<Signal> signal;
    ~ReleaseWatch() { signal->raise(); }
};

// A loader whose run drops the last reference to the loader, e.g. its renderable goes away while
// it works: the object dies on its own thread, which cannot join itself.
TEST(BackgroundThreadTest, TheFunctionMayDestroyItsOwnThreadObject)
{
    const auto released = std::make_shared<Signal>();
    const auto finished = std::make_shared<Signal>();
    std::mutex mutex;
    std::condition_variable handedOver;
    std::unique_ptr<Core::BackgroundThread> owner;
    bool stopRequestedAfterDestruction = false;
    std::vector<int> capturedAfterDestruction;

    auto watch = std::make_shared<ReleaseWatch>(ReleaseWatch{released});
    std::vector<int> captured{1, 2, 3};
    auto thread = std::make_unique<Core::BackgroundThread>(
        [&, watch = std::move(watch), captured = std::move(captured), finished](std::stop_token stop) {
            {
                std::unique_lock lock(mutex);
                handedOver.wait(lock, [&] { return owner != nullptr; });
            }
            owner.reset();
            // Still running, with everything the function captured intact.
            stopRequestedAfterDestruction = stop.stop_requested();
            capturedAfterDestruction = captured;
            EXPECT_TRUE(watch);
            finished->raise();
        });
    {
        std::lock_guard lock(mutex);
        owner = std::move(thread);
        handedOver.notify_all();
    }
    finished->wait();
    released->wait(); // the function and its captures go once the run is over
    EXPECT_TRUE(stopRequestedAfterDestruction);
    EXPECT_EQ(capturedAfterDestruction, (std::vector<int>{1, 2, 3}));
    std::lock_guard lock(mutex);
    EXPECT_EQ(owner, nullptr);
}

// An exception that a run throws after its object is gone is still logged, not fatal.
TEST(BackgroundThreadTest, ARunThatOutlivesItsObjectMayStillThrow)
{
    const auto logged = std::make_shared<Signal>();
    std::string message;
    const auto previous = Core::Log::setSink([&message, logged](Core::Log::Level level, std::string_view text) {
        if (level == Core::Log::Level::Error) {
            message = text;
            logged->raise();
        }
    });
    std::mutex mutex;
    std::condition_variable handedOver;
    std::unique_ptr<Core::BackgroundThread> owner;
    auto thread = std::make_unique<Core::BackgroundThread>([&](std::stop_token) {
        {
            std::unique_lock lock(mutex);
            handedOver.wait(lock, [&] { return owner != nullptr; });
        }
        owner.reset();
        throw std::runtime_error("store closed under the loader");
    });
    {
        std::lock_guard lock(mutex);
        owner = std::move(thread);
        handedOver.notify_all();
    }
    logged->wait();
    Core::Log::setSink(previous);
    EXPECT_NE(message.find("store closed under the loader"), std::string::npos) << message;
}

TEST(BackgroundThreadTest, AnEmptyFunctionIsRejected)
{
    EXPECT_THROW(Core::BackgroundThread(Core::BackgroundThread::Function{}), std::invalid_argument);
}

TEST(BackgroundThreadTest, RestartsFromSeveralThreadsLeaveExactlyOneRun)
{
    RunLog log;
    {
        Core::BackgroundThread thread(runUntilStopped(log));
        std::vector<std::jthread> restarters;
        for (int t = 0; t < 3; ++t)
            restarters.emplace_back([&] {
                for (int i = 0; i < 20; ++i)
                    thread.restart();
            });
        restarters.clear(); // joins
        log.waitForStarts(61);
        EXPECT_EQ(log.ends(), 60) << "every restart ends exactly one run";
    }
    EXPECT_EQ(log.starts(), 61);
    EXPECT_EQ(log.ends(), 61);
}

} // namespace
