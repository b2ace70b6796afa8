#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexContainer.h>
#include <lumaro/render/pointcloud/NodeCaches.h>

#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <cstdint>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

namespace Render {

// The point attributes a node's vertices are made of.
LUMARO_RENDER_API Octree::PointAttributes vertexAttributes();

// The points of one node as point vertices: positions as the store gives them (relative to its
// reference position), colour, intensity, class and scan index; hidden points are left out.
// Distances stay unknown. A store without colour gives its points their intensity as opaque grey
// (the grey the intensity mode draws), so that the default mode shows an intensity-only scan;
// without intensity either, they are opaque white. Intensities are stretched so that
// `fullIntensity` (the store's Octree::fullIntensity) becomes the largest value, 65535, and
// brighter ones stay there: the vertex keeps only the high byte, which would leave the intensities
// of most scanners nearly black.
LUMARO_RENDER_API VertexContainer makeVertexContainer(const Octree::NodePointData& points,
                                                      std::uint16_t fullIntensity = 65535);

// Get-or-load through a shared cache: the cached copy when there is one; otherwise the node is
// read and decoded without any cache lock held and inserted (unless another thread inserted it
// meanwhile, whose copy is then returned). std::nullopt when `stop` ended the read; nothing is
// cached then. Read failures propagate as the octree throws them, and cache nothing either.
// Vertices take the store's intensity stretch (see makeVertexContainer).
LUMARO_RENDER_API std::optional<VertexContainer> loadNodeVertices(VertexContainerCache& cache,
                                                                  const Octree::Octree& octree,
                                                                  Octree::OctreeNodeId node, std::stop_token stop);
LUMARO_RENDER_API std::optional<Octree::NodePointData> loadNodePointData(NodePointDataCache& cache,
                                                                         const Octree::Octree& octree,
                                                                         Octree::OctreeNodeId node,
                                                                         std::stop_token stop);

// The node's distances to mesh number `mesh`; on a miss compute() (called without any lock held,
// returning std::optional<std::vector<float>>) produces them and they are cached.
template <typename Compute>
std::optional<std::vector<float>> getOrComputeMeshDistances(MeshDistanceCache& cache, int mesh,
                                                            Octree::OctreeNodeId node, Compute&& compute)
{
    if (auto cached = cache.tryGet(mesh, node))
        return cached;
    std::optional<std::vector<float>> computed = std::forward<Compute>(compute)();
    if (!computed)
        return std::nullopt;
    return cache.insert(mesh, node, std::move(*computed));
}

} // namespace Render
