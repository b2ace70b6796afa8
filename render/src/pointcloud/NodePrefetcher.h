#pragma once

#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <cstddef>
#include <future>
#include <stop_token>
#include <unordered_map>
#include <unordered_set>

namespace Render {

// Loads the vertices of nodes that a walk will visit soon, several at once, into the source's
// cache. For stores on a web server a node costs a round trip; with several requests in flight
// their latencies overlap instead of adding up node by node. Each load runs on a thread of its
// own; failures are left for the walk's own load of the node to report.
class NodePrefetcher {
public:
    NodePrefetcher(NodeVertexSource& source, std::size_t maxInFlight, std::stop_token stop)
        : m_source(source), m_maxInFlight(maxInFlight), m_stop(std::move(stop))
    {
    }
    // Waits for the loads in flight (they end soon after a stop).
    ~NodePrefetcher() = default;
    NodePrefetcher(const NodePrefetcher&) = delete;
    NodePrefetcher& operator=(const NodePrefetcher&) = delete;

    // Whether another load may start now (finished ones are collected first).
    bool hasRoom();
    // Starts loading the node, which stores `points` points, unless it was requested before. A
    // node without points is only marked: there is nothing to load.
    void request(Octree::OctreeNodeId node, std::size_t points);
    bool wasRequested(Octree::OctreeNodeId node) const { return m_requested.contains(node); }
    // The points of the nodes requested whose loads the walk has not awaited yet: what the
    // budget must still take for them.
    std::size_t promisedPoints() const { return m_promisedPoints; }
    // Waits until the node's load, if one was started, has finished.
    void await(Octree::OctreeNodeId node);

private:
    NodeVertexSource& m_source;
    std::size_t m_maxInFlight;
    std::stop_token m_stop;
    std::unordered_map<Octree::OctreeNodeId, std::future<void>> m_inFlight;
    std::unordered_set<Octree::OctreeNodeId> m_requested;
    std::unordered_map<Octree::OctreeNodeId, std::size_t> m_promised;
    std::size_t m_promisedPoints = 0;
};

} // namespace Render
