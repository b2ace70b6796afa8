#include "NodePrefetcher.h"

#include <stdexcept>

namespace Render {

NodePrefetcher::NodePrefetcher(NodeVertexSource& source, std::shared_ptr<Core::TaskPool> pool, std::size_t maxInFlight,
                               std::stop_token stop)
    : mSource(source), mPool(std::move(pool)), mMaxInFlight(maxInFlight), mStop(std::move(stop))
{
    if (!mPool)
        throw std::invalid_argument("NodePrefetcher needs a pool of loader threads");
}

NodePrefetcher::~NodePrefetcher()
{
    for (const auto& [node, load] : mLoads)
        load->ticket->withdraw();
    for (const auto& [node, load] : mLoads)
        load->ticket->wait();
    for (const auto& ticket : mAbandoned)
        ticket->wait();
}

bool NodePrefetcher::hasRoom()
{
    std::erase_if(mAbandoned, [](const auto& ticket) { return ticket->finished(); });
    return mLoads.size() + mAbandoned.size() < mMaxInFlight;
}

void NodePrefetcher::request(Octree::OctreeNodeId node, std::size_t points)
{
    if (!mRequested.insert(node).second || points == 0)
        return;
    auto load = std::make_shared<Load>();
    load->points = points;
    // The work holds its load (until it has run or was withdrawn), not the prefetcher: a forgotten
    // load may finish after the walk moved on.
    load->ticket = mPool->submit([&source = mSource, stop = mStop, node, result = load] {
        try {
            result->vertices = source.fetchNodeVertices(node, stop);
        } catch (...) {
            result->error = std::current_exception();
        }
    });
    mLoads.emplace(node, std::move(load));
    mPromisedPoints += points;
}

std::optional<VertexContainer> NodePrefetcher::fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop)
{
    const auto found = mLoads.find(node);
    if (found == mLoads.end())
        return mSource.fetchNodeVertices(node, stop);
    const std::shared_ptr<Load> load = found->second;
    mLoads.erase(found);
    mPromisedPoints -= load->points;
    load->ticket->runOrWait();
    if (load->error)
        std::rethrow_exception(load->error);
    return std::move(load->vertices);
}

void NodePrefetcher::forget(Octree::OctreeNodeId node)
{
    const auto found = mLoads.find(node);
    if (found == mLoads.end())
        return;
    mPromisedPoints -= found->second->points;
    if (!found->second->ticket->withdraw() && !found->second->ticket->finished())
        mAbandoned.push_back(found->second->ticket);
    mLoads.erase(found);
}

} // namespace Render
