#include "LoadingStats.h"

#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <cmath>

namespace Tool {

namespace {

// Milliseconds to a tenth, so that the line stays short.
double tenths(double milliseconds)
{
    return std::round(milliseconds * 10.0) / 10.0;
}

} // namespace

LoadingStats::LoadingStats() : mStart(Clock::now())
{
    // The library's own counters: its readers count there, not in this program's copy.
    const Octree::ReadStatistics before = Render::storeReadStatistics();
    mRequestsBefore = before.requests;
    mBytesBefore = before.bytes;
}

double LoadingStats::millisecondsSinceStart() const
{
    return std::chrono::duration<double, std::milli>(Clock::now() - mStart).count();
}

void LoadingStats::storesOpened()
{
    mOpen = millisecondsSinceStart();
}

void LoadingStats::published(std::size_t points)
{
    if (!mFirstPicture && points > 0)
        mFirstPicture = millisecondsSinceStart();
}

void LoadingStats::walked(std::size_t nodes, std::size_t points, std::size_t threads)
{
    mLoaded = millisecondsSinceStart();
    mNodes = nodes;
    mPoints = points;
    mThreads = threads;
    const Octree::ReadStatistics now = Render::storeReadStatistics();
    mRequests = now.requests - mRequestsBefore;
    mBytes = now.bytes - mBytesBefore;
}

nlohmann::json LoadingStats::json() const
{
    return {{"open_ms", tenths(mOpen)},
            {"first_picture_ms", mFirstPicture ? nlohmann::json(tenths(*mFirstPicture)) : nlohmann::json()},
            {"loaded_ms", tenths(mLoaded)},
            {"nodes", mNodes},
            {"points", mPoints},
            {"requests", mRequests},
            {"bytes_read", mBytes},
            {"threads", mThreads}};
}

} // namespace Tool
