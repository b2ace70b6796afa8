#include "SharedCacheRegistry.h"

#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <cmath>
#include <compare>
#include <sstream>
#include <stdexcept>

namespace Render {

Octree::CacheIdentifier cacheIdentifierOf(const Octree::Location& location, double unitScale)
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

std::shared_ptr<Core::CacheMemory> nodeCacheMemory()
{
    static const auto memory = std::make_shared<Core::CacheMemory>(defaultNodeCacheLimit);
    return memory;
}

std::uint64_t bytesOf(const VertexContainer& vertices)
{
    return vertices.size() * sizeof(VertexContainer::Vertex) + vertices.visibility().size();
}

std::uint64_t bytesOf(const std::vector<float>& distances)
{
    return distances.size() * sizeof(float);
}

std::uint64_t bytesOf(const Octree::NodePointData& points)
{
    return points.positions().size_bytes() + points.colors().size_bytes() + points.intensities().size_bytes()
        + points.classifications().size_bytes() + points.scanIndices().size_bytes() + points.visibilities().size_bytes()
        + points.normals().size_bytes();
}

bool CacheIdentifierOrder::operator()(const Octree::CacheIdentifier& a, const Octree::CacheIdentifier& b) const
{
    if (const auto order = a.location <=> b.location; order != 0)
        return order < 0;
    return a.unitScale < b.unitScale;
}

} // namespace Render
