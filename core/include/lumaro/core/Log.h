#pragma once

#include <functional>
#include <string_view>

namespace Core::Log {

enum class Level {
    Info,
    Warning,
    Error
};

// Receives every message. Calls are serialised, so a sink needs no lock of its own, but it must not
// log itself.
using Sink = std::function<void(Level, std::string_view message)>;

// Replaces where messages go and returns the previous sink, so a host or a test can restore it.
// An empty sink restores the default, which writes one line per message to stderr.
Sink setSink(Sink sink);

void info(std::string_view message);
void warning(std::string_view message);
void error(std::string_view message);

// "info", "warning", "error"
std::string_view levelName(Level level);

} // namespace Core::Log
