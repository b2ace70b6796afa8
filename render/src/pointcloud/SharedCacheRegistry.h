#pragma once

#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/core/CacheMemory.h>
#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/Location.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Render {

// The key of the shared node caches, checked: a unit scale must be a finite number greater than
// 0 (the registries order keys by scale, and a NaN would compare equal to every scale and hand
// out another scale's cache). Throws std::invalid_argument naming the store otherwise.
Octree::CacheIdentifier cacheIdentifierOf(const Octree::Location& location, double unitScale);

struct CacheIdentifierOrder {
    bool operator()(const Octree::CacheIdentifier& a, const Octree::CacheIdentifier& b) const;
};

// The limit in bytes that the node caches of all stores share (LoadingSettings.h).
std::shared_ptr<Core::CacheMemory> nodeCacheMemory();

// What a cached value takes in memory, counted against that limit.
std::uint64_t bytesOf(const VertexContainer& vertices);
std::uint64_t bytesOf(const std::vector<float>& distances);
std::uint64_t bytesOf(const Octree::NodePointData& points);

// The process-wide registry of one kind of node cache: every renderable and query that shows the
// same store at the same unit scale gets the same cache object, so a second view of a cloud
// starts warm. The registry does not keep a cache alive: it goes, with its memory, when its last
// user does. Function-local, so that it exists before the first cache is asked for, whatever the
// order in which the static objects of host and library come to life.
template <typename Cache, typename Create>
std::shared_ptr<Cache> sharedCacheOf(const Octree::Location& location, double unitScale, Create&& create)
{
    static std::mutex mutex;
    static std::map<Octree::CacheIdentifier, std::weak_ptr<Cache>, CacheIdentifierOrder> caches;
    const Octree::CacheIdentifier key = cacheIdentifierOf(location, unitScale);
    const std::lock_guard lock(mutex);
    std::erase_if(caches, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<Cache>& registered = caches[key];
    if (std::shared_ptr<Cache> cache = registered.lock())
        return cache;
    std::shared_ptr<Cache> cache = std::forward<Create>(create)();
    registered = cache;
    return cache;
}

} // namespace Render
