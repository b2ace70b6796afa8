#pragma once

#include <stop_token>

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

} // namespace Tool
