#pragma once

#include <lumaro/measure/RegionReader.h>

#include <lumaro/math/Point.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stop_token>
#include <vector>

namespace Measure {

/// A corridor along a line: what a profile (a cross-section along a road, a pipe, a wall) takes.
struct ProfileOptions {
    /// The line in plan (x, y), from its first vertex to its last: two vertices or more, each
    /// different from the one before.
    std::vector<Math::Point<double, 2>> line;
    /// The corridor's whole width across the line (half of it on each side); above 0.
    double width = 1.0;
    /// Only points from this height up to `highest` (both included).
    double lowest = -std::numeric_limits<double>::infinity();
    /// See lowest.
    double highest = std::numeric_limits<double>::infinity();
};

/// A point of a profile.
struct ProfilePoint {
    /// Store coordinates.
    std::array<double, 3> position{};
    /// The distance along the line from its first vertex, to the point's foot on the line.
    double along = 0.0;
    /// The distance across the line, positive on the left looking along it.
    double across = 0.0;
    /// As the store holds it (0 where the store has none; see Octree::StorePoints).
    std::array<std::uint16_t, 3> color{};
    /// As the store holds it (0 where it has none).
    std::uint16_t intensity = 0;
    /// As the store holds it (0 where it has none).
    std::uint8_t classification = 0;
    /// Which of the stores the point comes from (an index).
    std::uint32_t store = 0;
};

/// The points in a corridor, by distance along the line.
struct Profile {
    /// Sorted by `along`, then by height.
    std::vector<ProfilePoint> points;
    /// The length of the line.
    double length = 0.0;
    /// The grid that every point's coordinates lie on (world = integer x scale + offset) when all
    /// the nodes read share one, as the nodes of one store do; a scale of 0 when they do not.
    std::array<double, 3> scale{};
    /// See scale.
    std::array<double, 3> offset{};
    /// What the reading read (for the points per second of a profile).
    RegionReadCounts read;
};

/// The points within the corridor: a point belongs to a segment of the line when its foot lies
/// on the segment and it lies no farther than half the width from it, and between the heights
/// (all limits included). The corridor is the union of the segments' rectangles: where two
/// segments meet, a point on the inner side of the bend belongs to the segment it lies nearer to
/// (the earlier one when as near), and the wedge outside the bend belongs to neither.
///
/// Throws std::invalid_argument naming the value for a line of fewer than two vertices, a
/// repeated vertex, a width that is not above 0, heights out of order, or a corridor that misses
/// the stores' bounds; Octree::OperationCancelled when stopped; std::runtime_error when a node
/// cannot be read (see readRegion).
Profile measureProfile(const Stores& stores, const ProfileOptions& options, const Progress& progress = {},
                       std::stop_token stop = {});

} // namespace Measure
