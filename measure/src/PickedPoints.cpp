#include <lumaro/measure/PickedPoints.h>

#include <Eigen/Geometry>

#include <cmath>
#include <limits>
#include <numbers>

namespace Measure {

Segment measureSegment(const Eigen::Vector3d& from, const Eigen::Vector3d& to)
{
    const Eigen::Vector3d step = to - from;
    Segment segment;
    segment.distance = step.norm();
    segment.horizontal = step.head<2>().norm();
    segment.heightDifference = step.z();
    if (segment.horizontal > 0.0)
        segment.slopePercent = 100.0 * step.z() / segment.horizontal;
    else if (step.z() != 0.0)
        segment.slopePercent = std::copysign(std::numeric_limits<double>::infinity(), step.z());
    segment.slopeDegrees = std::atan2(step.z(), segment.horizontal) * 180.0 / std::numbers::pi;
    return segment;
}

Area measureArea(const std::vector<Eigen::Vector3d>& points)
{
    Area area;
    if (points.empty())
        return area;
    // Around the first point, so that georeferenced coordinates keep their digits.
    const Eigen::Vector3d origin = points.front();
    Eigen::Vector3d vectorArea = Eigen::Vector3d::Zero();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Eigen::Vector3d a = points[i] - origin;
        const Eigen::Vector3d b = points[(i + 1) % points.size()] - origin;
        vectorArea += a.cross(b);
        area.perimeter += (b - a).norm();
    }
    area.horizontal = 0.5 * std::abs(vectorArea.z());
    area.spatial = 0.5 * vectorArea.norm();
    return area;
}

} // namespace Measure
