#pragma once

#include <lumaro/core/SharedResources.h>
#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/Location.h>

#include <memory>

namespace Render {

// The key of the shared node caches, checked: a unit scale must be a finite number greater than
// 0 (the registries order keys by scale, and a NaN would compare equal to every scale and hand
// out another scale's cache). Throws std::invalid_argument naming the store otherwise.
Octree::CacheIdentifier cacheIdentifierOf(const Octree::Location& location, double unitScale);

struct CacheIdentifierOrder {
    bool operator()(const Octree::CacheIdentifier& a, const Octree::CacheIdentifier& b) const;
};

// The process-wide registry of one kind of node cache: every renderable and query that shows the
// same store at the same unit scale gets the same cache object, so a second view of a cloud
// starts warm. The registry holds its caches, so a cache outlives its users for the next one to
// come. Function-local, so that it exists before the first cache is asked for, whatever the order
// in which the static objects of host and library come to life.
template <typename Cache, typename Create>
std::shared_ptr<Cache> sharedCacheOf(const Octree::Location& location, double unitScale, Create&& create)
{
    static Core::SharedResources<Octree::CacheIdentifier, Cache, CacheIdentifierOrder> caches;
    return caches.createOrGet(cacheIdentifierOf(location, unitScale), std::forward<Create>(create));
}

} // namespace Render
