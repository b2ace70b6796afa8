#include <lumaro/core/Log.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

namespace Core::Log {

namespace {

void writeToStderr(Level level, std::string_view message)
{
    const std::string line = "lumaro " + std::string(levelName(level)) + ": " + std::string(message) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

// Function-local statics so that logging from another static's constructor or destructor still
// finds them alive.
std::mutex& sinkMutex()
{
    static std::mutex mutex;
    return mutex;
}

Sink& currentSink()
{
    static Sink sink = writeToStderr;
    return sink;
}

void write(Level level, std::string_view message)
{
    std::lock_guard lock(sinkMutex());
    try {
        currentSink()(level, message);
    } catch (...) {
        // Logging is called from error paths and destructors; a failing sink must not add a
        // second failure there.
    }
}

} // namespace

Sink setSink(Sink sink)
{
    std::lock_guard lock(sinkMutex());
    auto previous = std::exchange(currentSink(), sink ? std::move(sink) : Sink(writeToStderr));
    return previous;
}

void info(std::string_view message)
{
    write(Level::Info, message);
}
void warning(std::string_view message)
{
    write(Level::Warning, message);
}
void error(std::string_view message)
{
    write(Level::Error, message);
}

std::string_view levelName(Level level)
{
    switch (level) {
    case Level::Info: return "info";
    case Level::Warning: return "warning";
    case Level::Error: return "error";
    }
    return "unknown";
}

} // namespace Core::Log
