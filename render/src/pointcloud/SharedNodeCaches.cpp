#include <lumaro/render/pointcloud/SharedNodeCaches.h>

#include <lumaro/core/SharedResources.h>

#include <cmath>
#include <compare>
#include <sstream>
#include <stdexcept>

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

// The registries order their keys by scale, which needs a real number: a NaN would compare equal
// to every scale and hand out another scale's cache. Zero or negative scales make no sense either.
Octree::CacheIdentifier identifierOf(const Octree::Location& location, double unitScale)
{
    if (!std::isfinite(unitScale) || unitScale <= 0.0) {
        // Spelled out, since the C runtimes do not agree on how to print NaN and infinity.
        std::ostringstream message;
        message << "Unit scale of the node caches of " << location.toString()
                << " must be finite and greater than 0, got ";
        if (std::isnan(unitScale))
            message << "NaN";
        else if (std::isinf(unitScale))
            message << (unitScale < 0.0 ? "-infinity" : "infinity");
        else
            message << unitScale;
        throw std::invalid_argument(message.str());
    }
    return {location, unitScale};
}

} // namespace

std::shared_ptr<VertexContainerCache> SharedNodeCaches::vertexContainerCache(const Octree::Location& location,
                                                                            double unitScale, std::size_t capacity,
                                                                            std::size_t expectedEntries)
{
    return registry<VertexContainerCache>().createOrGet(identifierOf(location, unitScale), [&] {
        return std::make_shared<VertexContainerCache>(capacity, expectedEntries);
    });
}

std::shared_ptr<MeshDistanceCache> SharedNodeCaches::meshDistanceCache(const Octree::Location& location,
                                                                      double unitScale, std::size_t capacity)
{
    return registry<MeshDistanceCache>().createOrGet(identifierOf(location, unitScale),
                                                     [&] { return std::make_shared<MeshDistanceCache>(capacity); });
}

std::shared_ptr<NodePointDataCache> SharedNodeCaches::pointDataCache(const Octree::Location& location,
                                                                    double unitScale, std::size_t capacity,
                                                                    std::size_t expectedEntries)
{
    return registry<NodePointDataCache>().createOrGet(identifierOf(location, unitScale), [&] {
        return std::make_shared<NodePointDataCache>(capacity, expectedEntries);
    });
}

} // namespace Render
