#pragma once

#include <lumaro/math/BoxTestResult.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/StorePoints.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

/// Measurements of point-cloud stores at full resolution: profiles along corridors, volumes over
/// polygons, and the distances, slopes and areas of picked points.
namespace Measure {

/// The stores a measurement reads: the stores of one site, which share their coordinates (as
/// Render::SiteGroup places them, each by its reference position, so that they line up).
/// Measurements take and give points in these store coordinates, unscaled, in double precision.
using Stores = std::vector<std::shared_ptr<const Octree::Octree>>;

/// Told how far a measurement has come, as a fraction from 0 to 1, on the measuring thread.
using Progress = std::function<void(double fraction)>;

/// A part of space that a measurement reads, known well enough to leave out the nodes whose
/// cubes cannot touch it.
class Region {
public:
    /// Does nothing.
    virtual ~Region() = default;
    /// Where a cube (store coordinates) lies: outside when no point of it can belong to the
    /// region. Intersecting and inside both read the node.
    virtual Math::BoxTestResult testCube(const Math::NBoundingBox<double, 3>& cube) const = 0;
};

/// The points of one node that readRegion read.
struct NodePoints {
    /// Which of the stores (an index into them).
    std::size_t store = 0;
    /// The node.
    Octree::OctreeNodeId node;
    /// Its points, every one of them: the measurement decides which belong to it (hidden points
    /// are marked so, see Octree::StorePoints::isVisible).
    const Octree::StorePoints& points;
};

/// What readRegion did.
struct RegionReadCounts {
    /// The nodes read.
    std::size_t nodes = 0;
    /// The points of those nodes.
    std::uint64_t points = 0;
};

/// Reads, at full resolution (every level, no budget), the nodes of the stores whose cubes may
/// hold a point of the region, and hands each one's points to `visit`. A node's cube is grown by
/// its level's spacing before the test, since points rounded onto the stores' grids may lie a
/// little outside their cubes. Nodes whose whole subtree the region leaves out, and nodes that
/// hide all their points, are never read. First the hierarchy is walked (which may read hierarchy
/// pages), then the nodes are read one after another in breadth-first order of each store;
/// `progress` follows the points read against the points of all those nodes.
///
/// A stop request ends the reading with Octree::OperationCancelled. A node that cannot be read
/// ends it with std::runtime_error naming the store and the node (a measurement over part of the
/// data would be wrong without saying so).
RegionReadCounts readRegion(const Stores& stores, const Region& region,
                            const std::function<void(const NodePoints&)>& visit, const Progress& progress = {},
                            std::stop_token stop = {});

/// The tight bounds of the stores' points, in store coordinates (empty without points).
Math::NBoundingBox<double, 3> storeBounds(const Stores& stores);

} // namespace Measure
