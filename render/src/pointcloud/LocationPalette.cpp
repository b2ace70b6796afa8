#include "LocationPalette.h"

#include <map>
#include <mutex>

namespace Render {

double HueSequence::next()
{
    if (mIntervals.empty()) {
        mIntervals.emplace_back(0.0, 360.0);
        return 0.0;
    }
    const auto [from, to] = mIntervals.front();
    mIntervals.pop_front();
    const double middle = (from + to) / 2.0;
    mIntervals.emplace_back(from, middle);
    mIntervals.emplace_back(middle, to);
    return middle;
}

Math::Color locationColor(const Octree::Location& location)
{
    static std::mutex mutex;
    static HueSequence hues;
    static std::map<Octree::Location, Math::Color> colors;
    const std::lock_guard lock(mutex);
    const auto found = colors.find(location);
    if (found != colors.end())
        return found->second;
    const Math::Color color = Math::Color::fromHslUv(hues.next(), 1.0, 0.6, 1.0);
    colors.emplace(location, color);
    return color;
}

} // namespace Render
