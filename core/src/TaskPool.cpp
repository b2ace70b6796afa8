#include <lumaro/core/TaskPool.h>

#include <stdexcept>

namespace Core {

bool TaskPool::Ticket::claimAndRun()
{
    {
        std::lock_guard lock(mMutex);
        if (mStage != Stage::Queued)
            return false;
        mStage = Stage::Running;
    }
    try {
        mWork();
    } catch (...) {
        // The work reports through what it captured; nothing may escape a worker.
    }
    // What the work captured goes before anyone hears that it finished.
    mWork = nullptr;
    {
        std::lock_guard lock(mMutex);
        mStage = Stage::Finished;
    }
    mFinished.notify_all();
    return true;
}

bool TaskPool::Ticket::withdraw()
{
    std::function<void()> dropped;
    {
        std::lock_guard lock(mMutex);
        if (mStage != Stage::Queued)
            return false;
        mStage = Stage::Finished;
        dropped.swap(mWork);
    }
    mFinished.notify_all();
    return true;
}

void TaskPool::Ticket::wait()
{
    std::unique_lock lock(mMutex);
    mFinished.wait(lock, [this] { return mStage == Stage::Finished; });
}

void TaskPool::Ticket::runOrWait()
{
    if (!claimAndRun())
        wait();
}

bool TaskPool::Ticket::finished() const
{
    std::lock_guard lock(mMutex);
    return mStage == Stage::Finished;
}

TaskPool::TaskPool(std::size_t threads)
{
    if (threads == 0)
        throw std::invalid_argument("a task pool needs at least one thread");
    mWorkers.reserve(threads);
    try {
        for (std::size_t i = 0; i < threads; ++i)
            mWorkers.emplace_back([this] { work(); });
    } catch (...) {
        end();
        throw;
    }
}

TaskPool::~TaskPool()
{
    end();
}

void TaskPool::end()
{
    std::deque<std::shared_ptr<Ticket>> unstarted;
    {
        std::lock_guard lock(mMutex);
        mEnding = true;
        unstarted.swap(mQueue);
    }
    mWake.notify_all();
    for (const auto& ticket : unstarted)
        ticket->withdraw();
    for (std::thread& worker : mWorkers)
        if (worker.joinable())
            worker.join();
    mWorkers.clear();
}

std::shared_ptr<TaskPool::Ticket> TaskPool::submit(std::function<void()> work)
{
    auto ticket = std::make_shared<Ticket>();
    ticket->mWork = std::move(work);
    {
        std::lock_guard lock(mMutex);
        if (mEnding)
            throw std::logic_error("work submitted to a task pool that is ending");
        mQueue.push_back(ticket);
    }
    mWake.notify_one();
    return ticket;
}

std::size_t TaskPool::hardwareThreads()
{
    const unsigned threads = std::thread::hardware_concurrency();
    return threads == 0 ? 1 : threads;
}

void TaskPool::work()
{
    while (true) {
        std::shared_ptr<Ticket> next;
        {
            std::unique_lock lock(mMutex);
            mWake.wait(lock, [this] { return mEnding || !mQueue.empty(); });
            if (mQueue.empty())
                return;
            next = std::move(mQueue.front());
            mQueue.pop_front();
        }
        // Withdrawn (or run by its owner) meanwhile: nothing to do.
        next->claimAndRun();
    }
}

} // namespace Core
