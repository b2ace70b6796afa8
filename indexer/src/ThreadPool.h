#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace Index {

// Worker threads that run tasks in the order given; a task may give further tasks. The first
// exception a task throws stops the pool (its stop token, which tasks watch) and is rethrown by
// wait().
class ThreadPool {
public:
    using Task = std::function<void(std::stop_token)>;

    explicit ThreadPool(unsigned threads);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    void submit(Task task);
    // Waits up to `timeout` for every task given so far to finish; true when they have. Rethrows
    // the first failure of a task.
    bool waitFor(std::chrono::milliseconds timeout);
    void requestStop() { mStop.request_stop(); }
    std::stop_token stopToken() const { return mStop.get_token(); }
    unsigned size() const { return static_cast<unsigned>(mWorkers.size()); }

private:
    void work(std::stop_token shutdown);

    std::stop_source mStop;
    std::mutex mMutex;
    std::condition_variable_any mWake;
    std::condition_variable mIdle;
    std::deque<Task> mTasks;
    std::size_t mUnfinished = 0;
    std::exception_ptr mFailure;
    std::vector<std::jthread> mWorkers;
};

} // namespace Index
