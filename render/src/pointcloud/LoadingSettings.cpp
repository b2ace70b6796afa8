// The library-wide settings and statistics of loading; the settings of one renderer's clouds are
// in RendererShares.cpp.
#include <lumaro/render/pointcloud/LoadingSettings.h>

#include "SharedCacheRegistry.h"

namespace Render {

void setNodeCacheLimit(std::uint64_t bytes)
{
    nodeCacheMemory()->setLimit(bytes);
}

std::uint64_t nodeCacheLimit()
{
    return nodeCacheMemory()->limit();
}

std::uint64_t nodeCacheBytes()
{
    return nodeCacheMemory()->usedBytes();
}

Octree::ReadStatistics storeReadStatistics()
{
    // Here, inside the library: the reads counted are the library's own copy of the counters.
    return Octree::readStatistics();
}

} // namespace Render
