#pragma once

#include <Eigen/Core>

#include <vector>

namespace Measure {

/// What lies between two picked points.
struct Segment {
    /// The straight distance.
    double distance = 0.0;
    /// The distance in plan (x, y).
    double horizontal = 0.0;
    /// The height of the second point above the first (negative when it lies lower).
    double heightDifference = 0.0;
    /// Rise over run in percent (100 at 45 degrees); infinite for points above one another, 0
    /// for points at one place.
    double slopePercent = 0.0;
    /// The angle above the horizontal, in degrees, -90 to 90.
    double slopeDegrees = 0.0;
};

/// The segment from `from` to `to` (z up).
Segment measureSegment(const Eigen::Vector3d& from, const Eigen::Vector3d& to);

/// The size of the polygon through picked points, closed from the last to the first.
struct Area {
    /// The area of its outline in plan (shoelace; for an outline that crosses itself, parts
    /// turning the other way count against the rest).
    double horizontal = 0.0;
    /// The area of the polygon in space (Newell's vector area): the true area of a plane
    /// polygon, such as a wall or a roof face, whatever its tilt.
    double spatial = 0.0;
    /// The length of its outline.
    double perimeter = 0.0;
};

/// See Area. Fewer than three points have no area (only a perimeter, there and back).
Area measureArea(const std::vector<Eigen::Vector3d>& points);

} // namespace Measure
