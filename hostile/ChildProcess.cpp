#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace Hostile {

ProgramRun runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                      std::chrono::milliseconds deadline)
{
    int errorPipe[2];
    if (::pipe2(errorPipe, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    // Everything exec needs is made before the fork: a child of a threaded process may only make
    // async-signal-safe calls.
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    // The additions first: a program reads the first of two same-named variables.
    std::vector<char*> envp;
    for (const std::string& variable : environment) {
        envp.push_back(const_cast<char*>(variable.c_str()));
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        envp.push_back(*variable);
    }
    envp.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        const int devNull = ::open("/dev/null", O_WRONLY);
        ::dup2(devNull, STDOUT_FILENO);
        ::dup2(errorPipe[1], STDERR_FILENO);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(errorPipe[1]);

    ProgramRun run;
    const auto end = std::chrono::steady_clock::now() + deadline;
    char buffer[4096];
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            run.timedOut = true;
            ::kill(child, SIGKILL);
            break;
        }
        pollfd readable{errorPipe[0], POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
            continue;
        }
        const ssize_t got = ::read(errorPipe[0], buffer, sizeof buffer);
        if (got <= 0) {
            break; // the child closed stderr: it is ending
        }
        run.errors.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(errorPipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status)) {
        run.exitStatus = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        run.signal = WTERMSIG(status);
    }
    return run;
}

} // namespace Hostile
