#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>
#include <lumaro/render/pointcloud/SharedNodeCaches.h>

#include <lumaro/octree/Octree.h>

#include <memory>

namespace Render {

// Node vertices of one octree through its shared node vertex cache: the plain fetch of a point
// cloud, before any per-point distances are added.
class LUMARO_RENDER_API OctreeVertexSource : public NodeVertexSource {
public:
    // Throws std::invalid_argument when either is missing.
    OctreeVertexSource(std::shared_ptr<const Octree::Octree> octree, std::shared_ptr<VertexContainerCache> cache);

    std::optional<VertexContainer> fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop) override;

    const std::shared_ptr<VertexContainerCache>& cache() const { return mCache; }

private:
    std::shared_ptr<const Octree::Octree> mOctree;
    std::shared_ptr<VertexContainerCache> mCache;
};

} // namespace Render
