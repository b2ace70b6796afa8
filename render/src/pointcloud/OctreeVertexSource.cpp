#include <lumaro/render/pointcloud/OctreeVertexSource.h>
#include <lumaro/render/pointcloud/NodeDataLoading.h>

#include <stdexcept>
#include <utility>

namespace Render {

OctreeVertexSource::OctreeVertexSource(std::shared_ptr<const Octree::Octree> octree,
                                       std::shared_ptr<VertexContainerCache> cache)
    : mOctree(std::move(octree)), mCache(std::move(cache))
{
    if (!mOctree)
        throw std::invalid_argument("OctreeVertexSource needs an octree");
    if (!mCache)
        throw std::invalid_argument("OctreeVertexSource needs a node vertex cache");
}

std::optional<VertexContainer> OctreeVertexSource::fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop)
{
    return loadNodeVertices(*mCache, *mOctree, node, std::move(stop));
}

} // namespace Render
