#include "BackgroundVolume.h"

#include "../lumaro/ErrorText.h"

#include <lumaro/octree/OperationCancelled.h>

#include <algorithm>
#include <cstdio>

namespace Tool {

BackgroundVolume::BackgroundVolume(Measure::Stores stores, Measure::VolumeOptions options, std::function<void()> notify)
    : m_stores(std::move(stores)), m_options(std::move(options)), m_notify(std::move(notify)),
      m_thread([this](std::stop_token stop) { measure(stop); })
{
}

BackgroundVolume::~BackgroundVolume()
{
    m_thread.request_stop();
    if (m_thread.joinable())
        m_thread.join();
}

void BackgroundVolume::measure(std::stop_token stop)
{
    try {
        Measure::Volume volume = Measure::measureVolume(
            m_stores, m_options,
            [this](double fraction) {
                m_progress = fraction;
                m_notify();
            },
            stop);
        const std::lock_guard lock(m_mutex);
        m_volume = volume;
    } catch (const Octree::OperationCancelled&) {
        const std::lock_guard lock(m_mutex);
        m_error = "stopped";
    } catch (const std::exception& error) {
        const std::lock_guard lock(m_mutex);
        m_error = explain(error);
    }
    m_finished = true;
    m_notify();
}

std::string BackgroundVolume::text() const
{
    const std::lock_guard lock(m_mutex);
    if (!m_volume)
        return "cannot measure the volume: " + (m_error.empty() ? std::string("not finished") : m_error);
    char line[256];
    std::snprintf(line, sizeof line, "volume above %.3f, below %.3f over a base fitted to the edge (cells of %.3g, %zu of %zu filled)",
                  m_volume->above, m_volume->below, m_options.cellSize, m_volume->filledCells,
                  m_volume->cells + m_volume->filledCells);
    return line;
}

double BackgroundVolume::cellFor(const Math::Polygon& polygon)
{
    const Eigen::Vector2d size = polygon.bounds().size();
    return std::max(size.maxCoeff() / 256.0, 0.01);
}

} // namespace Tool
