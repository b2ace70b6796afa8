#include <lumaro/core/TaskPool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

// A gate that work waits at until the test opens it (or a few seconds pass, so that a fault
// fails the test instead of hanging it).
class Gate {
public:
    void open()
    {
        {
            std::lock_guard lock(mMutex);
            mOpen = true;
        }
        mOpened.notify_all();
    }
    // Whether the gate opened in time.
    bool pass()
    {
        std::unique_lock lock(mMutex);
        return mOpened.wait_for(lock, 10s, [this] { return mOpen; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mOpen = false;
};

TEST(TaskPoolTest, RunsAsManyPiecesOfWorkAtOnceAsItHasThreadsAndNoMore)
{
    Core::TaskPool pool(3);
    EXPECT_EQ(pool.threadCount(), 3u);
    // Three pieces that each wait until all three have started: they finish only when they run at
    // the same time.
    std::mutex mutex;
    std::condition_variable arrived;
    int started = 0;
    std::atomic<int> together{0};
    std::vector<std::shared_ptr<Core::TaskPool::Ticket>> tickets;
    for (int i = 0; i < 3; ++i)
        tickets.push_back(pool.submit([&] {
            std::unique_lock lock(mutex);
            ++started;
            arrived.notify_all();
            if (arrived.wait_for(lock, 10s, [&] { return started == 3; }))
                ++together;
        }));
    for (const auto& ticket : tickets)
        ticket->wait();
    EXPECT_EQ(together.load(), 3);

    // Never more at once than threads.
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    tickets.clear();
    for (int i = 0; i < 24; ++i)
        tickets.push_back(pool.submit([&] {
            const int now = ++running;
            int seen = most.load();
            while (now > seen && !most.compare_exchange_weak(seen, now)) {
            }
            std::this_thread::sleep_for(1ms);
            --running;
        }));
    for (const auto& ticket : tickets)
        ticket->wait();
    EXPECT_LE(most.load(), 3);
    EXPECT_GE(most.load(), 1);
}

TEST(TaskPoolTest, OneThreadRunsWorkInTheOrderItCameAndSurvivesWorkThatThrows)
{
    Core::TaskPool pool(1);
    std::vector<int> order; // one worker: no lock needed, wait() orders the reads
    std::vector<std::shared_ptr<Core::TaskPool::Ticket>> tickets;
    for (int i = 0; i < 5; ++i) {
        tickets.push_back(pool.submit([&order, i] { order.push_back(i); }));
        if (i == 2)
            tickets.push_back(pool.submit([] { throw std::runtime_error("work that fails"); }));
    }
    for (const auto& ticket : tickets)
        ticket->wait();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_TRUE(tickets[3]->finished());
}

TEST(TaskPoolTest, WorkNoThreadStartedCanBeTakenBackOrRunByItsOwner)
{
    Core::TaskPool pool(1);
    Gate gate;
    std::atomic<bool> blocking{false};
    const auto blocker = pool.submit([&] {
        blocking = true;
        gate.pass();
    });
    while (!blocking)
        std::this_thread::yield();

    // Queued behind the blocker: withdrawn, it never runs, and what it captured is released.
    auto captured = std::make_shared<int>(7);
    std::atomic<bool> withdrawnRan{false};
    const auto withdrawn = pool.submit([&withdrawnRan, captured] { withdrawnRan = true; });
    EXPECT_EQ(captured.use_count(), 2);
    EXPECT_TRUE(withdrawn->withdraw());
    EXPECT_TRUE(withdrawn->finished());
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_FALSE(withdrawn->withdraw()); // once

    // Queued too: its owner runs it on its own thread instead of waiting for the queue.
    std::thread::id ranOn;
    const auto owned = pool.submit([&] { ranOn = std::this_thread::get_id(); });
    owned->runOrWait();
    EXPECT_EQ(ranOn, std::this_thread::get_id());

    // Running already: it cannot be taken back, only waited for.
    EXPECT_FALSE(blocker->withdraw());
    EXPECT_FALSE(blocker->finished());
    gate.open();
    blocker->wait();
    EXPECT_TRUE(blocker->finished());
    EXPECT_FALSE(withdrawnRan.load());
}

TEST(TaskPoolTest, AnEndingPoolFinishesWhatRunsAndDropsWhatWaits)
{
    auto pool = std::make_unique<Core::TaskPool>(1);
    Gate gate;
    std::atomic<bool> blocking{false};
    std::atomic<bool> blockerDone{false};
    std::atomic<bool> queuedRan{false};
    const auto blocker = pool->submit([&] {
        blocking = true;
        gate.pass();
        blockerDone = true;
    });
    const auto queued = pool->submit([&] { queuedRan = true; });
    while (!blocking)
        std::this_thread::yield();
    std::thread opener([&] {
        std::this_thread::sleep_for(20ms);
        gate.open();
    });
    pool.reset();
    opener.join();
    EXPECT_TRUE(blockerDone.load());
    EXPECT_FALSE(queuedRan.load());
    EXPECT_TRUE(queued->finished());
    EXPECT_THROW(Core::TaskPool(0), std::invalid_argument);
}

} // namespace
