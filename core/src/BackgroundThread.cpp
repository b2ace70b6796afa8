#include <lumaro/core/BackgroundThread.h>

#include <lumaro/core/Log.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace Core {

namespace {

// The state of the BackgroundThread whose function runs on this thread, so that a call that would
// make the thread wait for itself is refused (or, for the destructor, avoided) instead of
// deadlocking.
thread_local const void* runningHere = nullptr;

void refuseFromOwnThread(const void* state, const char* operation)
{
    if (runningHere == state)
        throw std::logic_error(std::string("BackgroundThread::") + operation + " called from its own thread");
}

} // namespace

BackgroundThread::BackgroundThread(Function function) : mState(std::make_shared<State>(std::move(function)))
{
    if (!mState->function)
        throw std::invalid_argument("BackgroundThread needs a function to run");
    std::lock_guard control(mControlMutex);
    start();
}

BackgroundThread::~BackgroundThread()
{
    if (runningHere == mState.get()) {
        // The run cannot wait for itself. It keeps its own share of the state, so it may go on
        // until it notices the stop; no lock either, as a restart() elsewhere may hold it while
        // waiting for this very run.
        if (mThread.joinable()) {
            mThread.request_stop();
            mThread.detach();
        }
        return;
    }
    std::lock_guard control(mControlMutex);
    stopAndJoin();
}

void BackgroundThread::restart()
{
    refuseFromOwnThread(mState.get(), "restart");
    std::lock_guard control(mControlMutex);
    stopAndJoin();
    start();
}

void BackgroundThread::stop()
{
    refuseFromOwnThread(mState.get(), "stop");
    std::lock_guard control(mControlMutex);
    stopAndJoin();
}

bool BackgroundThread::isRunning() const
{
    std::lock_guard lock(mState->mutex);
    return mState->running;
}

std::exception_ptr BackgroundThread::lastError() const
{
    std::lock_guard lock(mState->mutex);
    return mState->lastError;
}

void BackgroundThread::start()
{
    {
        std::lock_guard lock(mState->mutex);
        mState->running = true;
        mState->lastError = nullptr;
    }
    try {
        mThread = std::jthread([state = mState](std::stop_token stopToken) { run(*state, std::move(stopToken)); });
    } catch (...) {
        std::lock_guard lock(mState->mutex);
        mState->running = false;
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

void BackgroundThread::run(State& state, std::stop_token stopToken)
{
    runningHere = &state;
    std::exception_ptr error;
    try {
        state.function(std::move(stopToken));
    } catch (const std::exception& exception) {
        error = std::current_exception();
        Log::error(std::string("Background thread ended with an exception: ") + exception.what());
    } catch (...) {
        error = std::current_exception();
        Log::error("Background thread ended with an exception of unknown type");
    }
    runningHere = nullptr;
    std::lock_guard lock(state.mutex);
    state.running = false;
    if (error)
        state.lastError = error;
}

} // namespace Core
