#pragma once

#include <lumaro/render/pointcloud/NodePriority.h>

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OctreeNodeId.h>

#include "NodePrefetcher.h"
#include "NodeRating.h"

#include <lumaro/core/TaskPool.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

namespace Render {

class NodePrioritizer;
class NodeVertexSource;

// The threads that read nodes ahead of a walk: a pool, and how many nodes may be read ahead at once.
struct NodeLoaders {
    std::shared_ptr<Core::TaskPool> pool; // none: the walk reads every node itself
    std::size_t nodesAhead = 0;
};

// One walk over a point cloud's octree, best first: the most important pending node is offered to
// the prioritizer next, and its children join the pending nodes when it became resident (or holds
// no points itself). Nodes the budget cannot take are not read. With loader threads, the best
// pending nodes are read ahead, several at once (NodePrefetcher); the walk still offers them one
// by one, best first, so what becomes resident is what one thread would load. A damaged node or
// hierarchy chunk costs only that part: the walk goes on, and the first error is thrown when it is
// done. A stop ends the walk quietly.
class NodeWalk {
public:
    struct Cloud {
        const Octree::Octree& octree;
        NodeVertexSource& source;
        std::size_t instance; // the cloud's id in the prioritizer
    };

    NodeWalk(Cloud cloud, NodePrioritizer& prioritizer, NodeRating rating, std::size_t maxLevel, std::stop_token stop,
             NodeLoaders loaders = {});

    // Walks until no node is pending. `publish` is called whenever the resident set changed and
    // `interval` has passed since the last publication (and at the end, when anything changed):
    // `changedBefore` says that it changed before the walk started, `firstPicture` that nothing
    // was published before, so the first change is published at once. Returns false when a stop
    // ended the walk (nothing is published at the end then).
    bool run(bool changedBefore, std::chrono::nanoseconds interval, bool firstPicture,
             const std::function<void()>& publish);

private:
    struct Pending {
        Octree::OctreeNodeId node;
        NodePriority priority;
    };

    // The pending node that matters most, taken off the heap.
    Pending takeBest();
    // Offers the node; whether the walk goes on below it. Remembers what goes wrong.
    bool visit(const Pending& next, bool& changed);
    // The offer itself, unless the node holds no points or the budget cannot take it.
    bool offer(const Pending& next, std::size_t points, bool& changed);
    // Adds the node's children that are worth loading to the pending nodes.
    void addChildren(const Pending& parent);
    // Starts loading the best pending nodes that the budget can still take.
    void prefetchBest(const Pending& next, std::size_t nextPoints);
    // With room left, starts loading the children of the node about to be offered, the most
    // important first, as far as the budget can take them beside it: while the walk reads a node
    // (the root, say), the threads need not wait for its children to become pending. Returns them.
    std::vector<Octree::OctreeNodeId> prefetchChildren(const Pending& next, std::size_t nextPoints);
    void remember();

    Cloud mCloud;
    NodePrioritizer& mPrioritizer;
    NodeRating mRating;
    std::size_t mMaxLevel;
    std::stop_token mStop;
    // A max-heap in a vector, so that the prefetcher can look beyond its top.
    std::vector<Pending> mHeap;
    std::optional<NodePrefetcher> mPrefetcher;
    std::exception_ptr mFirstError;
};

} // namespace Render
