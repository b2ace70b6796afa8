#pragma once

#include <functional>
#include <stop_token>
#include <string_view>

namespace Tool {

// Ctrl+C asks long work to stop cleanly instead of ending the process: while one of these lives,
// SIGINT only marks the request, and check() turns it into a stop request of token().
class StopOnInterrupt {
public:
    StopOnInterrupt();
    ~StopOnInterrupt();
    StopOnInterrupt(const StopOnInterrupt&) = delete;
    StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;

    std::stop_token token() const { return mStop.get_token(); }
    // Requests the stop when Ctrl+C was pressed; call it where progress is reported.
    void check();

    // The exit status of a command that was stopped.
    static constexpr int exitStatus = 130;

private:
    std::stop_source mStop;
};

// Runs the work of a long command while Ctrl+C stops it cleanly, and returns the work's exit
// status. A stop prints "lumaro: stopped" and `whenStopped` and gives exitStatus; an error prints
// its message and gives 1, on a new line where `barOpen` says that a progress bar waits for the end
// of its line.
int runStoppable(std::string_view whenStopped, const bool& barOpen, const std::function<int(StopOnInterrupt&)>& work);

} // namespace Tool
