// Runs a program as a child process, as a user would, with a deadline.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Hostile {

struct ProgramRun {
    int exitStatus = -1; // when it exited
    int signal = 0; // when a signal ended it
    bool timedOut = false; // when it was still running at the deadline (and was killed)
    std::string errors; // what it wrote to stderr; stdout is discarded
};

// Runs `arguments` (the program first) with `environment` added to this process's, and waits at
// most `deadline`.
ProgramRun runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                      std::chrono::milliseconds deadline);

} // namespace Hostile
