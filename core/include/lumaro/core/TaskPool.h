#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Core {

// A fixed number of worker threads that run submitted work in the order it came. Whoever
// submitted work keeps a ticket for it: the ticket waits for the work, or takes it back while no
// worker has started it, so that work whose result is no longer wanted costs nothing and a caller
// that must not outlive its work (it captured references) can end quickly: withdraw what has not
// started, wait for the rest.
//
// Work must not wait for other work of the same pool (all workers could be waiting then), and
// should not throw: an exception that escapes it is dropped, the ticket only says that it ran.
class TaskPool {
public:
    class Ticket {
    public:
        // Takes the work back unless a worker started it: true when it will never run.
        bool withdraw();
        // Waits until the work has run or was withdrawn.
        void wait();
        // Runs the work on the calling thread unless a worker started it (then waits for it): the
        // caller needs the result now and would otherwise idle while the work waits in the queue.
        void runOrWait();
        // Whether the work has run or was withdrawn.
        bool finished() const;

    private:
        friend class TaskPool;
        enum class Stage {
            Queued,
            Running,
            Finished
        };
        // Runs the work if it is still queued; whether it did.
        bool claimAndRun();

        std::function<void()> mWork;
        mutable std::mutex mMutex;
        std::condition_variable mFinished;
        Stage mStage = Stage::Queued;
    };

    // Throws std::invalid_argument for 0 threads.
    explicit TaskPool(std::size_t threads);
    // Withdraws the work no worker has started, waits for the rest and ends the workers.
    ~TaskPool();
    TaskPool(const TaskPool&) = delete;
    TaskPool& operator=(const TaskPool&) = delete;

    std::size_t threadCount() const { return mWorkers.size(); }

    // Queues the work behind everything submitted before.
    std::shared_ptr<Ticket> submit(std::function<void()> work);

    // The hardware's threads, at least 1.
    static std::size_t hardwareThreads();

private:
    void work();
    void end();

    std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<std::shared_ptr<Ticket>> mQueue;
    bool mEnding = false;
    std::vector<std::thread> mWorkers;
};

} // namespace Core
