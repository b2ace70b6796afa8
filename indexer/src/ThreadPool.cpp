#include "ThreadPool.h"

#include <algorithm>
#include <utility>

namespace Index {

ThreadPool::ThreadPool(unsigned threads)
{
    for (unsigned t = 0; t < std::max(threads, 1u); ++t) {
        m_workers.emplace_back([this](std::stop_token shutdown) { work(shutdown); });
    }
}

ThreadPool::~ThreadPool()
{
    m_stop.request_stop();
    for (std::jthread& worker : m_workers) {
        worker.request_stop();
    }
    m_wake.notify_all();
    m_workers.clear();
}

void ThreadPool::submit(Task task)
{
    {
        std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
        ++m_unfinished;
    }
    m_wake.notify_one();
}

bool ThreadPool::waitFor(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    const bool done = m_idle.wait_for(lock, timeout, [this] { return m_unfinished == 0; });
    if (done && m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    }
    return done;
}

void ThreadPool::work(std::stop_token shutdown)
{
    for (;;) {
        Task task;
        {
            std::unique_lock lock(m_mutex);
            if (!m_wake.wait(lock, shutdown, [this] { return !m_tasks.empty(); })) {
                return;
            }
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
        }
        try {
            // After a failure or a stop the remaining tasks are only counted off.
            if (!m_stop.stop_requested()) {
                task(m_stop.get_token());
            }
        } catch (...) {
            std::lock_guard lock(m_mutex);
            if (!m_failure) {
                m_failure = std::current_exception();
            }
            m_stop.request_stop();
        }
        task = nullptr;
        std::lock_guard lock(m_mutex);
        if (--m_unfinished == 0) {
            m_idle.notify_all();
        }
    }
}

} // namespace Index
