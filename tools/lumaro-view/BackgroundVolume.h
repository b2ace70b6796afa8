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

    bool finished() const { return mFinished.load(); }
    double progress() const { return mProgress.load(); }
    // After finished(): "volume above 12.345, below 0.123 over a base fitted to the edge (cells of
    // 0.25, 3 of 480 filled)", or "cannot measure the volume: REASON".
    std::string text() const;

    // The cell size that keeps the grid of a polygon within 256 cells across, and no finer than 1 cm.
    static double cellFor(const Math::Polygon& polygon);

private:
    void measure(std::stop_token stop);

    Measure::Stores mStores;
    Measure::VolumeOptions mOptions;
    std::function<void()> mNotify;
    std::atomic<double> mProgress{0.0};
    std::atomic<bool> mFinished{false};
    mutable std::mutex mMutex;
    std::optional<Measure::Volume> mVolume;
    std::string mError;
    std::jthread mThread; // last: starts when everything else is there, stops first
};

} // namespace Tool
