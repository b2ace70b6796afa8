#pragma once

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include "NodeWalk.h"

#include <cstddef>
#include <memory>

namespace Render {

// What the point clouds of one renderer share, by renderer id: the prioritizer (one budget for
// all) and the loader threads, with the settings of both (LoadingSettings.h).

// The renderer's prioritizer, living as long as one of its clouds is initialised. Its budget is the
// one set for the renderer, or else the smallest of the clouds' budgets.
std::shared_ptr<NodePrioritizer> sharedPrioritizer(std::size_t rendererId, std::size_t cloudBudget);

// The loader threads a walk of the renderer uses, for a store on disk or on a web server. The pools
// live while the renderer's prioritizer does (so that a restarted walk finds its threads), or as
// long as a walk uses them.
NodeLoaders sharedLoaders(std::size_t rendererId, bool remoteStore);

} // namespace Render
