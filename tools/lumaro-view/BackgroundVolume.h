#pragma once

#include <lumaro/measure/Volume.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace Tool {

// A volume measured on a thread of its own, so that the window goes on drawing: `notify` is called
// from that thread whenever the progress moves and when the measurement ends (a window posts
// itself a message). Destroying it stops the measurement and waits for its thread.
class BackgroundVolume {
public:
    BackgroundVolume(Measure::Stores stores, Measure::VolumeOptions options, std::function<void()> notify);
    ~BackgroundVolume();
    BackgroundVolume(const BackgroundVolume&) = delete;
    BackgroundVolume& operator=(const BackgroundVolume&) = delete;

    bool finished() const { return m_finished.load(); }
    double progress() const { return m_progress.load(); }
    // After finished(): "volume above 12.345, below 0.123 over a base fitted to the edge (cells of
    // 0.25, 3 of 480 filled)", or "cannot measure the volume: REASON".
    std::string text() const;

    // The cell size that keeps the grid of a polygon within 256 cells across, and no finer than 1 cm.
    static double cellFor(const Math::Polygon& polygon);

private:
    void measure(std::stop_token stop);

    Measure::Stores m_stores;
    Measure::VolumeOptions m_options;
    std::function<void()> m_notify;
    std::atomic<double> m_progress{0.0};
    std::atomic<bool> m_finished{false};
    mutable std::mutex m_mutex;
    std::optional<Measure::Volume> m_volume;
    std::string m_error;
    std::jthread m_thread; // last: starts when everything else is there, stops first
};

} // namespace Tool
