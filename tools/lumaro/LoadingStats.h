#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Tool {

// The figures of `lumaro render --stats`: times from the start of the command's loading (when the
// stores begin to open) until every store is open, until the loaders first published nodes that a
// frame could draw, and until the last walk finished; what was loaded then, and what was read
// (files on disk or HTTP requests, and their bytes) from the start until then.
class LoadingStats {
public:
    // Starts the clock, and takes the library's read counters as they are now.
    LoadingStats();

    void storesOpened();
    // A loader published: `points` are drawn now.
    void published(std::size_t points);
    // A walk ended, with `nodes` and `points` loaded in all clouds and `threads` loader threads.
    void walked(std::size_t nodes, std::size_t points, std::size_t threads);

    // One JSON object: open_ms, first_picture_ms (null when nothing was ever drawn), loaded_ms,
    // nodes, points, requests, bytes_read, threads.
    nlohmann::json json() const;

private:
    using Clock = std::chrono::steady_clock;
    double millisecondsSinceStart() const;

    Clock::time_point mStart;
    std::uint64_t mRequestsBefore;
    std::uint64_t mBytesBefore;
    double mOpen = 0.0;
    std::optional<double> mFirstPicture;
    double mLoaded = 0.0;
    std::size_t mNodes = 0;
    std::size_t mPoints = 0;
    std::uint64_t mRequests = 0;
    std::uint64_t mBytes = 0;
    std::size_t mThreads = 0;
};

} // namespace Tool
