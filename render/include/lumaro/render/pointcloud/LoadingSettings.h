#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/octree/ReadStatistics.h>

#include <cstddef>
#include <cstdint>

namespace Render {

/// @name Loading settings and statistics
/// How point clouds load: the settings of a renderer's clouds (by the renderer's id, the id its
/// clouds are initialised with; Renderer's setters call these), the library-wide limit of the
/// node caches, and what the library has read. Any thread may call them.
///@{

/// The loader threads that the point clouds of renderer `rendererId` share: that many nodes are
/// read and decoded at once (0: one per hardware thread, the default). With 1, each walk reads its
/// nodes on its own thread. Walks that start from now on use the new number. A store on a web
/// server is read by at least 8 threads of the renderer, whatever this says, since its requests
/// mostly wait for the network.
LUMARO_RENDER_API void setLoaderThreadCount(std::size_t rendererId, std::size_t threads);
/// The loader threads of renderer `rendererId` (resolved: the hardware's threads unless set).
LUMARO_RENDER_API std::size_t loaderThreadCount(std::size_t rendererId);

/// The point budget that the point clouds of renderer `rendererId` share, raised or lowered: a
/// lower budget evicts the least important nodes at once, a higher one is filled; either shows
/// with the clouds' next walks. Once set, it holds for clouds initialised later too, instead of the
/// smallest of the clouds' own budgets.
LUMARO_RENDER_API void setPointBudget(std::size_t rendererId, std::size_t points);
/// The shared point budget of renderer `rendererId`: the one set, otherwise the smallest budget of
/// its initialised clouds; 0 when neither exists.
LUMARO_RENDER_API std::size_t pointBudget(std::size_t rendererId);
/// Forgets the settings of renderer `rendererId` (its destructor calls this): its clouds go back to
/// the defaults, the hardware's threads and the smallest of their budgets.
LUMARO_RENDER_API void forgetLoadingSettings(std::size_t rendererId);

/// The default of setNodeCacheLimit: 1 GiB.
inline constexpr std::uint64_t defaultNodeCacheLimit = std::uint64_t(1) << 30;
/// The bytes that the decoded nodes kept in the caches of all stores may take together; when a new
/// node does not fit, the least recently used nodes leave, whichever store they belong to. A lower
/// limit evicts at once. A store's caches go when no point cloud or query uses the store any more.
LUMARO_RENDER_API void setNodeCacheLimit(std::uint64_t bytes);
/// The limit of the node caches in bytes (setNodeCacheLimit).
LUMARO_RENDER_API std::uint64_t nodeCacheLimit();
/// The bytes the node caches of all stores hold now.
LUMARO_RENDER_API std::uint64_t nodeCacheBytes();

/// The reads of store files and the HTTP(S) requests that the library has made so far, with
/// their bytes: counters that only grow (take the difference of two readings).
LUMARO_RENDER_API Octree::ReadStatistics storeReadStatistics();

///@}

} // namespace Render
