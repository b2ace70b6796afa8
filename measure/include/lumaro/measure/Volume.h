#pragma once

#include <lumaro/measure/RegionReader.h>

#include <lumaro/math/Polygon.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>

namespace Measure {

/// What a volume is measured against.
struct VolumeBase {
    /// How the base is found.
    enum class Kind {
        Height, ///< the plane z = height
        Lowest, ///< the level plane through the lowest point inside the polygon
        Fit, ///< the plane fitted by least squares (in z) to the points near the polygon's edge
    };
    /// See Kind.
    Kind kind = Kind::Lowest;
    /// The height of a Height base.
    double height = 0.0;
};

/// A volume over a polygon: the stockpile, the pit, the cut and the fill.
struct VolumeOptions {
    /// The polygon in plan (x, y), store coordinates.
    Math::Polygon polygon;
    /// The side of the grid's square cells, in store units; above 0.
    double cellSize = 1.0;
    /// See VolumeBase.
    VolumeBase base;
};

/// The volume between the scanned surface and the base, over a polygon.
struct Volume {
    /// The volume where the surface lies above the base (cubic store units).
    double above = 0.0;
    /// The volume where it lies below.
    double below = 0.0;
    /// The polygon's area.
    double area = 0.0;
    /// The cells of the polygon that hold points.
    std::size_t cells = 0;
    /// The cells of the polygon without points, whose height came from their neighbours.
    std::size_t filledCells = 0;
    /// The points inside the polygon.
    std::uint64_t points = 0;
    /// The base's height at the polygon's centroid (the base's height for level bases).
    double baseHeight = 0.0;
    /// For a fitted base, its slope: z = baseHeight + slope.x (x - cx) + slope.y (y - cy) around
    /// the polygon's centroid (cx, cy); zero for level bases.
    Eigen::Vector2d baseSlope = Eigen::Vector2d::Zero();
    /// For a fitted base, the points it was fitted to.
    std::uint64_t basePoints = 0;
    /// What the reading read.
    RegionReadCounts read;
};

/// The volume over the polygon between the surface and the base, split into the parts above
/// and below it. The surface is a 2.5D grid of square cells of `cellSize`, aligned with the
/// polygon's bounds: a cell's height is the mean height of the visible points inside the polygon
/// that fall into it. A cell of the polygon without points takes the mean height of its
/// neighbours (of eight) that have one, ring by ring inward from the cells with points. Each cell
/// counts with the exact area of its part inside the polygon, and the base with its height at
/// that part's centroid, so the parts' areas add up to the polygon's and a plane base is
/// integrated exactly. A fitted base takes the points within one cell size of the polygon's edge,
/// inside and outside.
///
/// Throws std::invalid_argument for a cell size that is not above 0, a grid of more than
/// 16,777,216 cells (the cell is too small for the polygon), or a polygon that misses the stores'
/// bounds; std::runtime_error when no point lies inside the polygon or too few points near its
/// edge fix a plane; Octree::OperationCancelled when stopped; std::runtime_error when a node
/// cannot be read (see readRegion).
Volume measureVolume(const Stores& stores, const VolumeOptions& options, const Progress& progress = {},
                     std::stop_token stop = {});

} // namespace Measure
