#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

namespace Core {

// Runs one function on its own thread, again and again on request. The function receives a
// std::stop_token and is expected to return soon after a stop is requested; restart() and the
// destructor rely on that.
//
// An exception that escapes the function is logged and kept (see lastError()); it does not end the
// process.
class BackgroundThread {
public:
    using Function = std::function<void(std::stop_token)>;

    // Starts the function at once. Throws std::invalid_argument for an empty function.
    explicit BackgroundThread(Function function);
    // Requests a stop and waits for the function to return. Called from the function itself (its
    // run drops the last owner of this object), it requests the stop and lets the run finish on
    // its own instead: the function and what it captured stay alive until it returns.
    ~BackgroundThread();

    BackgroundThread(const BackgroundThread&) = delete;
    BackgroundThread& operator=(const BackgroundThread&) = delete;

    // Requests a stop of the current run, waits for it to return and starts the function again
    // with a fresh stop token. Also starts it after it had returned or was stopped. Must not be
    // called from the function itself (throws std::logic_error).
    void restart();
    // Requests a stop and waits for the run to return; restart() starts it again.
    void stop();

    // True from a start until the function has returned.
    bool isRunning() const;
    // The exception that escaped the most recent run that threw, or null; cleared by restart().
    std::exception_ptr lastError() const;

private:
    // What a run needs, shared by the object and its thread, so that a run can outlive an object
    // destroyed from inside it.
    struct State {
        explicit State(Function function) : function(std::move(function)) {}
        const Function function;
        mutable std::mutex mutex;
        bool running = false;
        std::exception_ptr lastError;
    };

    void start();
    void stopAndJoin();
    static void run(State& state, std::stop_token stopToken);

    const std::shared_ptr<State> mState;
    // Serialises restart(), stop() and destruction; held while joining, never by the thread.
    std::mutex mControlMutex;
    std::jthread mThread;
};

} // namespace Core
