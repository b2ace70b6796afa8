#include "RendererShares.h"

#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <lumaro/core/TaskPool.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace Render {

namespace {

// A walk over a store on a web server keeps this many node requests in flight at least: their
// latencies overlap.
constexpr std::size_t remoteNodesInFlight = 8;

struct Shares {
    std::optional<std::size_t> budget;
    std::size_t threads = 0; // 0: the hardware's
    std::weak_ptr<NodePrioritizer> prioritizer;
    std::weak_ptr<LoaderPools> pools;

    bool unused() const { return !budget && threads == 0 && prioritizer.expired() && pools.expired(); }
    std::size_t resolvedThreads() const { return threads == 0 ? Core::TaskPool::hardwareThreads() : threads; }
};

// Weak pointers and settings only: nothing here ends a thread.
class Registry {
public:
    // Runs `use` on the renderer's shares under the registry's lock.
    template <typename Use>
    auto with(std::size_t rendererId, Use&& use)
    {
        const std::lock_guard lock(mMutex);
        std::erase_if(mShares, [](const auto& entry) { return entry.second.unused(); });
        return std::forward<Use>(use)(mShares[rendererId]);
    }

private:
    std::mutex mMutex;
    std::map<std::size_t, Shares> mShares;
};

// Function-local, so that it exists before the first cloud asks, whatever the order of statics.
Registry& registry()
{
    static Registry shares;
    return shares;
}

} // namespace

NodeLoaders LoaderPools::loaders(bool remoteStore, std::size_t threads)
{
    const std::size_t size = remoteStore ? std::max(threads, remoteNodesInFlight) : threads;
    if (!remoteStore && size <= 1)
        return {};
    std::shared_ptr<Core::TaskPool> replaced; // ended after the lock, when no walk uses it any more
    std::shared_ptr<Core::TaskPool> pool;
    {
        const std::lock_guard lock(mMutex);
        std::shared_ptr<Core::TaskPool>& kept = remoteStore ? mRemote : mLocal;
        if (!kept || kept->threadCount() != size) {
            replaced = std::move(kept);
            kept = std::make_shared<Core::TaskPool>(size);
        }
        pool = kept;
    }
    // On disk, twice the threads: a thread that finishes finds the next node waiting.
    return {std::move(pool), remoteStore ? size : 2 * size};
}

std::shared_ptr<NodePrioritizer> sharedPrioritizer(std::size_t rendererId, std::size_t cloudBudget)
{
    return registry().with(rendererId, [&](Shares& shares) {
        std::shared_ptr<NodePrioritizer> prioritizer = shares.prioritizer.lock();
        if (!prioritizer) {
            prioritizer = std::make_shared<NodePrioritizer>(shares.budget.value_or(cloudBudget));
            shares.prioritizer = prioritizer;
        } else if (!shares.budget && prioritizer->totalMaxPointCount() > cloudBudget) {
            prioritizer->setTotalMaxPointCount(cloudBudget);
        }
        return prioritizer;
    });
}

std::shared_ptr<LoaderPools> sharedLoaderPools(std::size_t rendererId)
{
    return registry().with(rendererId, [](Shares& shares) {
        std::shared_ptr<LoaderPools> pools = shares.pools.lock();
        if (!pools) {
            pools = std::make_shared<LoaderPools>();
            shares.pools = pools;
        }
        return pools;
    });
}

NodeLoaders sharedLoaders(LoaderPools& pools, std::size_t rendererId, bool remoteStore)
{
    return pools.loaders(remoteStore, loaderThreadCount(rendererId));
}

void setLoaderThreadCount(std::size_t rendererId, std::size_t threads)
{
    registry().with(rendererId, [&](Shares& shares) {
        shares.threads = threads;
        return 0;
    });
}

std::size_t loaderThreadCount(std::size_t rendererId)
{
    return registry().with(rendererId, [](Shares& shares) { return shares.resolvedThreads(); });
}

void setPointBudget(std::size_t rendererId, std::size_t points)
{
    const std::shared_ptr<NodePrioritizer> prioritizer = registry().with(rendererId, [&](Shares& shares) {
        shares.budget = points;
        return shares.prioritizer.lock();
    });
    // Outside the registry's lock: eviction takes the prioritizer's.
    if (prioritizer)
        prioritizer->setTotalMaxPointCount(points);
}

std::size_t pointBudget(std::size_t rendererId)
{
    const auto [budget, prioritizer] =
        registry().with(rendererId, [](Shares& shares) { return std::pair{shares.budget, shares.prioritizer.lock()}; });
    if (budget)
        return *budget;
    return prioritizer ? prioritizer->totalMaxPointCount() : 0;
}

void forgetLoadingSettings(std::size_t rendererId)
{
    registry().with(rendererId, [](Shares& shares) {
        // The prioritizer and the threads stay with the clouds that hold them.
        shares.budget.reset();
        shares.threads = 0;
        return 0;
    });
}

} // namespace Render
