#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/core/CacheEntrySize.h>
#include <lumaro/core/GroupedLruCache.h>
#include <lumaro/core/LruCache.h>
#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/Location.h>
#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace Render {

// Decoded nodes, ready to draw; capacity in points.
using VertexContainerCache =
    Core::LruCache<Octree::OctreeNodeId, VertexContainer, Core::CacheEntrySizeCount<VertexContainer>>;

// Per-point distances of a node to the distance-colorization mesh. The group is the number of
// the mesh they were measured against (a new mesh gets a new number), so distances to an old mesh
// are never mistaken for current ones and simply age out. Capacity in entries (nodes).
using MeshDistanceCache = Core::GroupedLruCache<Octree::OctreeNodeId, std::vector<float>, int>;

// Decoded nodes with every attribute, for point queries; capacity in points.
using NodePointDataCache =
    Core::LruCache<Octree::OctreeNodeId, Octree::NodePointData, Core::CacheEntrySizeCount<Octree::NodePointData>>;

// The process-wide registries of node caches: every renderable and query that shows the same
// store at the same unit scale gets the same cache objects, so a second view of a cloud starts
// warm. A registry holds its caches, so a cache outlives its users for the next one to come.
class LUMARO_RENDER_API SharedNodeCaches {
public:
    // The sizes that point-cloud renderables and queries ask for.
    static constexpr std::size_t vertexCapacity = 30000000;
    static constexpr std::size_t vertexExpectedEntries = 4000;
    static constexpr std::size_t meshDistanceCapacity = 1000;
    static constexpr std::size_t pointDataCapacity = 2000000;
    static constexpr std::size_t pointDataExpectedEntries = 4000;

    // Each returns the cache registered for (location, unitScale), or creates and registers one of
    // the given sizes; the sizes of later calls for a registered cache are ignored. A capacity of
    // 0 for a new cache, or a unit scale that is not a finite number greater than 0, throws
    // std::invalid_argument.
    static std::shared_ptr<VertexContainerCache> vertexContainerCache(const Octree::Location& location,
                                                                      double unitScale, std::size_t capacity,
                                                                      std::size_t expectedEntries);
    static std::shared_ptr<MeshDistanceCache> meshDistanceCache(const Octree::Location& location, double unitScale,
                                                                std::size_t capacity);
    static std::shared_ptr<NodePointDataCache> pointDataCache(const Octree::Location& location, double unitScale,
                                                              std::size_t capacity, std::size_t expectedEntries);
};

} // namespace Render
