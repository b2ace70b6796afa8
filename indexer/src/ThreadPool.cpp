#include "ThreadPool.h"

#include <algorithm>
#include <utility>

namespace Index {

ThreadPool::ThreadPool(unsigned threads)
{
    for (unsigned t = 0; t < std::max(threads, 1u); ++t) {
        mWorkers.emplace_back([this](std::stop_token shutdown) { work(shutdown); });
    }
}

ThreadPool::~ThreadPool()
{
    mStop.request_stop();
    for (std::jthread& worker : mWorkers) {
        worker.request_stop();
    }
    mWake.notify_all();
    mWorkers.clear();
}

void ThreadPool::submit(Task task)
{
    {
        std::lock_guard lock(mMutex);
        mTasks.push_back(std::move(task));
        ++mUnfinished;
    }
    mWake.notify_one();
}

bool ThreadPool::waitFor(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mMutex);
    const bool done = mIdle.wait_for(lock, timeout, [this] { return mUnfinished == 0; });
    if (done && mFailure) {
        std::rethrow_exception(std::exchange(mFailure, nullptr));
    }
    return done;
}

void ThreadPool::work(std::stop_token shutdown)
{
    for (;;) {
        Task task;
        {
            std::unique_lock lock(mMutex);
            if (!mWake.wait(lock, shutdown, [this] { return !mTasks.empty(); })) {
                return;
            }
            task = std::move(mTasks.front());
            mTasks.pop_front();
        }
        try {
            // After a failure or a stop the remaining tasks are only counted off.
            if (!mStop.stop_requested()) {
                task(mStop.get_token());
            }
        } catch (...) {
            std::lock_guard lock(mMutex);
            if (!mFailure) {
                mFailure = std::current_exception();
            }
            mStop.request_stop();
        }
        task = nullptr;
        std::lock_guard lock(mMutex);
        if (--mUnfinished == 0) {
            mIdle.notify_all();
        }
    }
}

} // namespace Index
