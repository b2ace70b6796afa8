#include "NodePrefetcher.h"

#include <stdexcept>

namespace Render {

NodePrefetcher::NodePrefetcher(NodeVertexSource& source, std::shared_ptr<Core::TaskPool> pool,
                               std::size_t maxInFlight, std::stop_token stop)
    : m_source(source), m_pool(std::move(pool)), m_maxInFlight(maxInFlight), m_stop(std::move(stop))
{
    if (!m_pool)
        throw std::invalid_argument("NodePrefetcher needs a pool of loader threads");
}

NodePrefetcher::~NodePrefetcher()
{
    for (const auto& [node, load] : m_loads)
        load->ticket->withdraw();
    for (const auto& [node, load] : m_loads)
        load->ticket->wait();
    for (const auto& ticket : m_abandoned)
        ticket->wait();
}

bool NodePrefetcher::hasRoom()
{
    std::erase_if(m_abandoned, [](const auto& ticket) { return ticket->finished(); });
    return m_loads.size() + m_abandoned.size() < m_maxInFlight;
}

void NodePrefetcher::request(Octree::OctreeNodeId node, std::size_t points)
{
    if (!m_requested.insert(node).second || points == 0)
        return;
    auto load = std::make_shared<Load>();
    load->points = points;
    // The work holds its load (until it has run or was withdrawn), not the prefetcher: a forgotten
    // load may finish after the walk moved on.
    load->ticket = m_pool->submit([&source = m_source, stop = m_stop, node, result = load] {
        try {
            result->vertices = source.fetchNodeVertices(node, stop);
        } catch (...) {
            result->error = std::current_exception();
        }
    });
    m_loads.emplace(node, std::move(load));
    m_promisedPoints += points;
}

std::optional<VertexContainer> NodePrefetcher::fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop)
{
    const auto found = m_loads.find(node);
    if (found == m_loads.end())
        return m_source.fetchNodeVertices(node, stop);
    const std::shared_ptr<Load> load = found->second;
    m_loads.erase(found);
    m_promisedPoints -= load->points;
    load->ticket->runOrWait();
    if (load->error)
        std::rethrow_exception(load->error);
    return std::move(load->vertices);
}

void NodePrefetcher::forget(Octree::OctreeNodeId node)
{
    const auto found = m_loads.find(node);
    if (found == m_loads.end())
        return;
    m_promisedPoints -= found->second->points;
    if (!found->second->ticket->withdraw() && !found->second->ticket->finished())
        m_abandoned.push_back(found->second->ticket);
    m_loads.erase(found);
}

} // namespace Render
