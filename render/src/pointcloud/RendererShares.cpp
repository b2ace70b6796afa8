#include "RendererShares.h"

#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <lumaro/core/TaskPool.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace Render {

namespace {

// A walk over a store on a web server keeps this many node requests in flight at least: their
// latencies overlap.
constexpr std::size_t remoteNodesInFlight = 8;

struct Shares {
    std::optional<std::size_t> budget;
    std::size_t threads = 0; // 0: the hardware's
    std::weak_ptr<NodePrioritizer> prioritizer;
    std::shared_ptr<Core::TaskPool> loaders;  // stores on disk
    std::shared_ptr<Core::TaskPool> requests; // stores on web servers

    bool hasSettings() const { return budget || threads != 0; }
    std::size_t resolvedThreads() const { return threads == 0 ? Core::TaskPool::hardwareThreads() : threads; }
};

class Registry {
public:
    // Runs `use` on the renderer's shares under the registry's lock. Pools that nobody needs any
    // more are ended after the lock is gone (ending joins their threads).
    template <typename Use>
    auto with(std::size_t rendererId, Use&& use)
    {
        std::vector<std::shared_ptr<Core::TaskPool>> ended;
        std::unique_lock lock(mMutex);
        prune(ended);
        return std::forward<Use>(use)(mShares[rendererId], ended);
    }

private:
    // Pools of renderers without clouds go; so do entries without settings.
    void prune(std::vector<std::shared_ptr<Core::TaskPool>>& ended)
    {
        std::erase_if(mShares, [&](auto& entry) {
            Shares& shares = entry.second;
            if (!shares.prioritizer.expired())
                return false;
            ended.push_back(std::move(shares.loaders));
            ended.push_back(std::move(shares.requests));
            shares.loaders.reset();
            shares.requests.reset();
            return !shares.hasSettings();
        });
    }

    std::mutex mMutex;
    std::map<std::size_t, Shares> mShares;
};

// Function-local, so that it exists before the first cloud asks, whatever the order of statics.
Registry& registry()
{
    static Registry shares;
    return shares;
}

// The pool of `threads` threads in `pool`, made anew when it has another size.
std::shared_ptr<Core::TaskPool> poolOf(std::shared_ptr<Core::TaskPool>& pool, std::size_t threads,
                                       std::vector<std::shared_ptr<Core::TaskPool>>& ended)
{
    if (!pool || pool->threadCount() != threads) {
        ended.push_back(std::move(pool));
        pool = std::make_shared<Core::TaskPool>(threads);
    }
    return pool;
}

} // namespace

std::shared_ptr<NodePrioritizer> sharedPrioritizer(std::size_t rendererId, std::size_t cloudBudget)
{
    return registry().with(rendererId, [&](Shares& shares, auto&) {
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

NodeLoaders sharedLoaders(std::size_t rendererId, bool remoteStore)
{
    return registry().with(rendererId, [&](Shares& shares, auto& ended) -> NodeLoaders {
        // Without clouds (a walk of a cloud that is being de-initialised), nothing would end the pools.
        const bool kept = !shares.prioritizer.expired();
        const std::size_t threads = shares.resolvedThreads();
        if (remoteStore) {
            const std::size_t inFlight = std::max(threads, remoteNodesInFlight);
            std::shared_ptr<Core::TaskPool> pool = poolOf(shares.requests, inFlight, ended);
            if (!kept)
                shares.requests.reset();
            return {std::move(pool), inFlight};
        }
        if (threads <= 1)
            return {};
        std::shared_ptr<Core::TaskPool> pool = poolOf(shares.loaders, threads, ended);
        if (!kept)
            shares.loaders.reset();
        // Twice the threads: a thread that finishes finds the next node waiting.
        return {std::move(pool), 2 * threads};
    });
}

void setLoaderThreadCount(std::size_t rendererId, std::size_t threads)
{
    registry().with(rendererId, [&](Shares& shares, auto&) {
        shares.threads = threads;
        return 0;
    });
}

std::size_t loaderThreadCount(std::size_t rendererId)
{
    return registry().with(rendererId, [](Shares& shares, auto&) { return shares.resolvedThreads(); });
}

void setPointBudget(std::size_t rendererId, std::size_t points)
{
    const std::shared_ptr<NodePrioritizer> prioritizer = registry().with(rendererId, [&](Shares& shares, auto&) {
        shares.budget = points;
        return shares.prioritizer.lock();
    });
    // Outside the registry's lock: eviction takes the prioritizer's.
    if (prioritizer)
        prioritizer->setTotalMaxPointCount(points);
}

std::size_t pointBudget(std::size_t rendererId)
{
    const auto [budget, prioritizer] = registry().with(rendererId, [](Shares& shares, auto&) {
        return std::pair{shares.budget, shares.prioritizer.lock()};
    });
    if (budget)
        return *budget;
    return prioritizer ? prioritizer->totalMaxPointCount() : 0;
}

void forgetLoadingSettings(std::size_t rendererId)
{
    registry().with(rendererId, [](Shares& shares, auto&) {
        // The prioritizer and pools stay with the clouds that use them; the entry goes with them.
        shares.budget.reset();
        shares.threads = 0;
        return 0;
    });
}

} // namespace Render
