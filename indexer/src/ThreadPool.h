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
    void requestStop() { m_stop.request_stop(); }
    std::stop_token stopToken() const { return m_stop.get_token(); }
    unsigned size() const { return static_cast<unsigned>(m_workers.size()); }

private:
    void work(std::stop_token shutdown);

    std::stop_source m_stop;
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::condition_variable m_idle;
    std::deque<Task> m_tasks;
    std::size_t m_unfinished = 0;
    std::exception_ptr m_failure;
    std::vector<std::jthread> m_workers;
};

} // namespace Index
