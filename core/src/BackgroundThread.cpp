#include <lumaro/core/BackgroundThread.h>

#include <lumaro/core/Log.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace Core {

namespace {

// The BackgroundThread whose function runs on this thread, so that a call that would make the
// thread wait for itself is refused instead of deadlocking.
thread_local const BackgroundThread* runningHere = nullptr;

void refuseFromOwnThread(const BackgroundThread* thread, const char* operation)
{
    if (runningHere == thread)
        throw std::logic_error(std::string("BackgroundThread::") + operation + " called from its own thread");
}

} // namespace

BackgroundThread::BackgroundThread(Function function) : mFunction(std::move(function))
{
    if (!mFunction)
        throw std::invalid_argument("BackgroundThread needs a function to run");
    std::lock_guard control(mControlMutex);
    start();
}

BackgroundThread::~BackgroundThread()
{
    std::lock_guard control(mControlMutex);
    stopAndJoin();
}

void BackgroundThread::restart()
{
    refuseFromOwnThread(this, "restart");
    std::lock_guard control(mControlMutex);
    stopAndJoin();
    start();
}

void BackgroundThread::stop()
{
    refuseFromOwnThread(this, "stop");
    std::lock_guard control(mControlMutex);
    stopAndJoin();
}

bool BackgroundThread::isRunning() const
{
    std::lock_guard lock(mStateMutex);
    return mRunning;
}

std::exception_ptr BackgroundThread::lastError() const
{
    std::lock_guard lock(mStateMutex);
    return mLastError;
}

void BackgroundThread::start()
{
    {
        std::lock_guard lock(mStateMutex);
        mRunning = true;
        mLastError = nullptr;
    }
    try {
        mThread = std::jthread([this](std::stop_token stopToken) { run(std::move(stopToken)); });
    } catch (...) {
        std::lock_guard lock(mStateMutex);
        mRunning = false;
        throw;
    }
}

void BackgroundThread::stopAndJoin()
{
    if (!mThread.joinable())
        return;
    mThread.request_stop();
    mThread.join();
}

void BackgroundThread::run(std::stop_token stopToken)
{
    runningHere = this;
    std::exception_ptr error;
    try {
        mFunction(std::move(stopToken));
    } catch (const std::exception& exception) {
        error = std::current_exception();
        Log::error(std::string("Background thread ended with an exception: ") + exception.what());
    } catch (...) {
        error = std::current_exception();
        Log::error("Background thread ended with an exception of unknown type");
    }
    std::lock_guard lock(mStateMutex);
    mRunning = false;
    if (error)
        mLastError = error;
}

} // namespace Core
