#include "NodePrefetcher.h"

#include <chrono>

namespace Render {

bool NodePrefetcher::hasRoom()
{
    for (auto entry = m_inFlight.begin(); entry != m_inFlight.end();) {
        if (entry->second.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
            entry = m_inFlight.erase(entry);
        } else {
            ++entry;
        }
    }
    return m_inFlight.size() < m_maxInFlight;
}

void NodePrefetcher::request(Octree::OctreeNodeId node, std::size_t points)
{
    if (!m_requested.insert(node).second || points == 0) {
        return;
    }
    m_promised.emplace(node, points);
    m_promisedPoints += points;
    m_inFlight.emplace(node, std::async(std::launch::async, [this, node] {
                           try {
                               m_source.fetchNodeVertices(node, m_stop);
                           } catch (...) {
                               // The walk loads the node again and reports what went wrong.
                           }
                       }));
}

void NodePrefetcher::await(Octree::OctreeNodeId node)
{
    if (const auto promised = m_promised.find(node); promised != m_promised.end()) {
        m_promisedPoints -= promised->second;
        m_promised.erase(promised);
    }
    const auto entry = m_inFlight.find(node);
    if (entry != m_inFlight.end()) {
        entry->second.wait();
        m_inFlight.erase(entry);
    }
}

} // namespace Render
