#pragma once

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include "NodeWalk.h"

#include <cstddef>
#include <memory>
#include <mutex>

namespace Render {

// What the point clouds of one renderer share, by renderer id: the prioritizer (one budget for
// all) and the loader threads, with the settings of both (LoadingSettings.h). The clouds hold
// them between init and deinit; the registry only finds them.

// The renderer's prioritizer, living as long as one of its clouds is initialised. Its budget is the
// one set for the renderer, or else the smallest of the clouds' budgets.
std::shared_ptr<NodePrioritizer> sharedPrioritizer(std::size_t rendererId, std::size_t cloudBudget);

// The loader threads of one renderer, made when a walk first needs them. They end with the last
// cloud that holds this, on that cloud's thread: never when the process ends, where ending a pool
// would wait for threads that Windows has already ended.
class LoaderPools {
public:
    // The threads for a walk over a store on disk (none with one thread: the walk reads itself) or
    // on a web server, as many as `threads` says.
    NodeLoaders loaders(bool remoteStore, std::size_t threads);

private:
    std::mutex mMutex;
    std::shared_ptr<Core::TaskPool> mLocal;
    std::shared_ptr<Core::TaskPool> mRemote;
};

// The renderer's loader threads.
std::shared_ptr<LoaderPools> sharedLoaderPools(std::size_t rendererId);

// The threads a walk of the renderer uses now, for a store on disk or on a web server.
NodeLoaders sharedLoaders(LoaderPools& pools, std::size_t rendererId, bool remoteStore);

} // namespace Render
