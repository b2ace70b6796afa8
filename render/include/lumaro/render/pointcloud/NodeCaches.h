#pragma once

#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/core/CacheEntrySize.h>
#include <lumaro/core/GroupedLruCache.h>
#include <lumaro/core/LruCache.h>
#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <vector>

namespace Render {

// Decoded nodes, ready to draw; capacity in points.
using VertexContainerCache =
    Core::LruCache<Octree::OctreeNodeId, VertexContainer, Core::CacheEntrySizeCount<VertexContainer>>;

// Per-point distances of a node to the distance-colorization mesh. The group is the number of
// the mesh they were measured against, in the cloud's model coordinates (a new mesh, or the same
// mesh under a new world matrix, gets a new number), so distances to an old mesh are never
// mistaken for current ones and simply age out. Capacity in entries (nodes).
using MeshDistanceCache = Core::GroupedLruCache<Octree::OctreeNodeId, std::vector<float>, int>;

// Decoded nodes with every attribute, for point queries; capacity in points.
using NodePointDataCache =
    Core::LruCache<Octree::OctreeNodeId, Octree::NodePointData, Core::CacheEntrySizeCount<Octree::NodePointData>>;

// The registries that share these caches between all point clouds and queries of one store and
// unit scale are reached through PointCloudRenderable::createOrGetSharedVertexContainerCache,
// PointCloudRenderable::createOrGetSharedMeshDistanceCache and
// PointCloudQuery::createOrGetSharedCache.

} // namespace Render
