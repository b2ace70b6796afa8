#include <lumaro/measure/Profile.h>

#include "Corridor.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Measure {

Profile measureProfile(const Stores& stores, const ProfileOptions& options, const Progress& progress,
                       std::stop_token stop)
{
    const Corridor corridor(options);
    const Math::NBoundingBox<double, 3> bounds = storeBounds(stores);
    if (corridor.testCube(bounds) == Math::BoxTestResult::Outside)
        throw std::invalid_argument("the corridor lies outside the stores, whose points lie from ("
                                    + std::to_string(bounds.min().x()) + ", " + std::to_string(bounds.min().y()) + ", "
                                    + std::to_string(bounds.min().z()) + ") to (" + std::to_string(bounds.max().x())
                                    + ", " + std::to_string(bounds.max().y()) + ", " + std::to_string(bounds.max().z())
                                    + ")");
    Profile profile;
    profile.length = corridor.length();
    bool firstNode = true;
    profile.read = readRegion(
        stores, corridor,
        [&](const NodePoints& node) {
            const Octree::StorePoints& points = node.points;
            if (firstNode) {
                profile.scale = points.scale;
                profile.offset = points.offset;
                firstNode = false;
            } else if (points.scale != profile.scale || points.offset != profile.offset) {
                profile.scale = {};
                profile.offset = {};
            }
            for (std::size_t i = 0; i < points.size(); ++i) {
                if (!points.isVisible(i))
                    continue;
                const auto place = corridor.place(points.positions[i]);
                if (!place)
                    continue;
                ProfilePoint point;
                point.position = points.positions[i];
                point.along = place->along;
                point.across = place->across;
                if (!points.colors.empty())
                    point.color = points.colors[i];
                if (!points.intensities.empty())
                    point.intensity = points.intensities[i];
                if (!points.classifications.empty())
                    point.classification = points.classifications[i];
                point.store = static_cast<std::uint32_t>(node.store);
                profile.points.push_back(point);
            }
        },
        progress, stop);
    std::stable_sort(profile.points.begin(), profile.points.end(), [](const ProfilePoint& a, const ProfilePoint& b) {
        return a.along < b.along || (a.along == b.along && a.position[2] < b.position[2]);
    });
    return profile;
}

} // namespace Measure
