#pragma once

#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <lumaro/core/TaskPool.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Render {

// Loads the vertices of nodes that a walk will visit soon, several at once, on a pool of loader
// threads: decoding runs on every core, and for stores on a web server the latencies of several
// requests overlap instead of adding up node by node. The walk takes each load's result when it
// offers the node (this is the source it offers with), so the order in which nodes are offered,
// and what is resident, does not depend on how many threads loaded them. A failure is kept for
// the walk's own take of the node to report.
class NodePrefetcher final : public NodeVertexSource {
public:
    NodePrefetcher(NodeVertexSource& source, std::shared_ptr<Core::TaskPool> pool, std::size_t maxInFlight,
                   std::stop_token stop);
    // Withdraws the loads no thread has started and waits for the others (they end soon after a
    // stop): they use the source.
    ~NodePrefetcher() override;
    NodePrefetcher(const NodePrefetcher&) = delete;
    NodePrefetcher& operator=(const NodePrefetcher&) = delete;

    // Whether another load may start now: loads not yet taken or forgotten, and forgotten ones
    // still running, are fewer than maxInFlight.
    bool hasRoom();
    // Starts loading the node, which stores `points` points, unless it was requested before. A
    // node without points is only marked: there is nothing to load.
    void request(Octree::OctreeNodeId node, std::size_t points);
    bool wasRequested(Octree::OctreeNodeId node) const { return mRequested.contains(node); }
    // The points of the nodes requested that the walk has neither taken nor forgotten: what the
    // budget must still take for them.
    std::size_t promisedPoints() const { return mPromisedPoints; }
    // The node's vertices: the load requested before, run on this thread if no loader started it
    // yet, or else the source's own load.
    std::optional<VertexContainer> fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop) override;
    // The walk is done with the node: a load of it that was not taken is withdrawn or left to
    // finish on its own.
    void forget(Octree::OctreeNodeId node);

private:
    struct Load {
        std::shared_ptr<Core::TaskPool::Ticket> ticket;
        std::size_t points = 0;
        std::optional<VertexContainer> vertices;
        std::exception_ptr error;
    };

    NodeVertexSource& mSource;
    std::shared_ptr<Core::TaskPool> mPool;
    std::size_t mMaxInFlight;
    std::stop_token mStop;
    std::unordered_map<Octree::OctreeNodeId, std::shared_ptr<Load>> mLoads;
    // Loads the walk forgot while a loader ran them.
    std::vector<std::shared_ptr<Core::TaskPool::Ticket>> mAbandoned;
    std::unordered_set<Octree::OctreeNodeId> mRequested;
    std::size_t mPromisedPoints = 0;
};

} // namespace Render
