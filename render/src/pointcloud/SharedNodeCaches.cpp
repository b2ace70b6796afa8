#include <lumaro/render/pointcloud/SharedNodeCaches.h>

#include <lumaro/core/SharedResources.h>

#include <compare>

namespace Render {

namespace {

struct CacheIdentifierOrder {
    bool operator()(const Octree::CacheIdentifier& a, const Octree::CacheIdentifier& b) const
    {
        if (const auto order = a.location <=> b.location; order != 0)
            return order < 0;
        return a.unitScale < b.unitScale;
    }
};

template <typename Cache>
using Registry = Core::SharedResources<Octree::CacheIdentifier, Cache, CacheIdentifierOrder>;

// Function-local, so that the registries exist before the first cache is asked for, whatever the
// order in which the static objects of host and library come to life.
template <typename Cache>
Registry<Cache>& registry()
{
    static Registry<Cache> caches;
    return caches;
}

} // namespace

std::shared_ptr<VertexContainerCache> SharedNodeCaches::vertexContainerCache(const Octree::Location& location,
                                                                            double unitScale, std::size_t capacity,
                                                                            std::size_t expectedEntries)
{
    return registry<VertexContainerCache>().createOrGet({location, unitScale}, [&] {
        return std::make_shared<VertexContainerCache>(capacity, expectedEntries);
    });
}

std::shared_ptr<MeshDistanceCache> SharedNodeCaches::meshDistanceCache(const Octree::Location& location,
                                                                      double unitScale, std::size_t capacity)
{
    return registry<MeshDistanceCache>().createOrGet({location, unitScale},
                                                     [&] { return std::make_shared<MeshDistanceCache>(capacity); });
}

std::shared_ptr<NodePointDataCache> SharedNodeCaches::pointDataCache(const Octree::Location& location,
                                                                    double unitScale, std::size_t capacity,
                                                                    std::size_t expectedEntries)
{
    return registry<NodePointDataCache>().createOrGet({location, unitScale}, [&] {
        return std::make_shared<NodePointDataCache>(capacity, expectedEntries);
    });
}

} // namespace Render
