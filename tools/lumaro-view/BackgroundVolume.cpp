#include "BackgroundVolume.h"

#include "../lumaro/ErrorText.h"

#include <lumaro/octree/OperationCancelled.h>

#include <algorithm>
#include <cstdio>

namespace Tool {

BackgroundVolume::BackgroundVolume(Measure::Stores stores, Measure::VolumeOptions options, std::function<void()> notify)
    : mStores(std::move(stores)),
      mOptions(std::move(options)),
      mNotify(std::move(notify)),
      mThread([this](std::stop_token stop) { measure(stop); })
{}

BackgroundVolume::~BackgroundVolume()
{
    mThread.request_stop();
    if (mThread.joinable())
        mThread.join();
}

void BackgroundVolume::measure(std::stop_token stop)
{
    try {
        Measure::Volume volume = Measure::measureVolume(
            mStores, mOptions,
            [this](double fraction) {
                mProgress = fraction;
                mNotify();
            },
            stop);
        const std::lock_guard lock(mMutex);
        mVolume = volume;
    } catch (const Octree::OperationCancelled&) {
        const std::lock_guard lock(mMutex);
        mError = "stopped";
    } catch (const std::exception& error) {
        const std::lock_guard lock(mMutex);
        mError = explain(error);
    }
    mFinished = true;
    mNotify();
}

std::string BackgroundVolume::text() const
{
    const std::lock_guard lock(mMutex);
    if (!mVolume)
        return "cannot measure the volume: " + (mError.empty() ? std::string("not finished") : mError);
    char line[256];
    std::snprintf(line, sizeof line,
                  "volume above %.3f, below %.3f over a base fitted to the edge (cells of %.3g, %zu of %zu filled)",
                  mVolume->above, mVolume->below, mOptions.cellSize, mVolume->filledCells,
                  mVolume->cells + mVolume->filledCells);
    return line;
}

double BackgroundVolume::cellFor(const Math::Polygon& polygon)
{
    const Eigen::Vector2d size = polygon.bounds().size();
    return std::max(size.maxCoeff() / 256.0, 0.01);
}

} // namespace Tool
