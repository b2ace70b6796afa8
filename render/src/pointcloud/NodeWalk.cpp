#include "NodeWalk.h"

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include <lumaro/octree/OperationCancelled.h>

#include <algorithm>

namespace Render {

namespace {

template <typename Pending>
bool lessImportant(const Pending& a, const Pending& b)
{
    return a.priority < b.priority;
}

} // namespace

NodeWalk::NodeWalk(Cloud cloud, NodePrioritizer& prioritizer, NodeRating rating, std::size_t maxLevel,
                   std::stop_token stop, NodeLoaders loaders)
    : m_cloud(cloud),
      m_prioritizer(prioritizer),
      m_rating(std::move(rating)),
      m_maxLevel(maxLevel),
      m_stop(std::move(stop)),
      m_heap{{Octree::OctreeNodeId::root(), NodePriority::keep()}}
{
    if (loaders.pool && loaders.nodesAhead > 0)
        m_prefetcher.emplace(m_cloud.source, std::move(loaders.pool), loaders.nodesAhead, m_stop);
}

bool NodeWalk::run(bool changedBefore, std::chrono::nanoseconds interval, const std::function<void()>& publish)
{
    auto lastPublication = std::chrono::steady_clock::now();
    bool changed = changedBefore;
    while (!m_heap.empty()) {
        if (changed && std::chrono::steady_clock::now() - lastPublication > interval) {
            publish();
            lastPublication = std::chrono::steady_clock::now();
            changed = false;
        }
        const Pending next = takeBest();
        const bool descend = visit(next, changed);
        if (m_stop.stop_requested())
            return false;
        if (descend && next.node.level() < m_maxLevel)
            addChildren(next);
        if (m_stop.stop_requested())
            return false;
    }
    if (changed)
        publish();
    if (m_firstError)
        std::rethrow_exception(m_firstError);
    return true;
}

NodeWalk::Pending NodeWalk::takeBest()
{
    std::pop_heap(m_heap.begin(), m_heap.end(), lessImportant<Pending>);
    const Pending best = m_heap.back();
    m_heap.pop_back();
    return best;
}

bool NodeWalk::visit(const Pending& next, bool& changed)
{
    // However the visit ends, a load of the node that the offer did not take is not wanted.
    struct Forget {
        std::optional<NodePrefetcher>& prefetcher;
        Octree::OctreeNodeId node;
        ~Forget()
        {
            if (prefetcher)
                prefetcher->forget(node);
        }
    } forget{m_prefetcher, next.node};
    try {
        const std::size_t points = m_cloud.octree.pointCount(next.node);
        prefetchBest(next, points);
        const std::vector<Octree::OctreeNodeId> children = prefetchChildren(next, points);
        const bool descend = offer(next, points, changed);
        // The walk does not go below the node: its children will never be offered.
        if (!descend)
            for (const Octree::OctreeNodeId child : children)
                m_prefetcher->forget(child);
        return descend;
    } catch (const Octree::OperationCancelled&) {
        return false;
    } catch (...) {
        if (m_stop.stop_requested())
            return false;
        remember();
        return true; // its children may be intact
    }
}

bool NodeWalk::offer(const Pending& next, std::size_t points, bool& changed)
{
    // Nothing to draw here, but the children may hold points (stores have such nodes).
    if (points == 0)
        return true;
    // The budget cannot take it even in place of every node that matters less: it is not read,
    // and, as below a node the budget refuses, the walk ends here.
    if (!m_prioritizer.couldAdmit(next.priority, points))
        return false;
    NodeVertexSource& source = m_prefetcher ? static_cast<NodeVertexSource&>(*m_prefetcher) : m_cloud.source;
    const NodePrioritizer::OfferResult offered = m_prioritizer.offer(
        {m_cloud.instance, next.node}, m_cloud.octree.boundingCube(next.node), next.priority, source, m_stop);
    changed = changed || offered.changed;
    return offered.resident || offered.empty;
}

void NodeWalk::addChildren(const Pending& parent)
{
    const std::size_t level = parent.node.level() + 1;
    try {
        for (const Octree::OctreeNodeId child : m_cloud.octree.children(parent.node, m_stop)) {
            if (m_cloud.octree.nodeVisibility(child) == Octree::NodeVisibility::AllHidden)
                continue;
            const NodePriority priority = m_rating.rate(level, m_cloud.octree.boundingCube(child));
            if (priority > NodePriority::discard()) {
                m_heap.push_back({child, priority});
                std::push_heap(m_heap.begin(), m_heap.end(), lessImportant<Pending>);
            }
        }
    } catch (const Octree::OperationCancelled&) {
    } catch (...) {
        if (!m_stop.stop_requested())
            remember();
    }
}

void NodeWalk::prefetchBest(const Pending& next, std::size_t nextPoints)
{
    if (!m_prefetcher)
        return;
    // Only nodes that the budget can still take are fetched ahead: `next`, the node being
    // offered now, and those requested before it take their share of the budget first.
    std::size_t ahead = m_prefetcher->promisedPoints() + (m_prefetcher->wasRequested(next.node) ? 0 : nextPoints);
    while (m_prefetcher->hasRoom()) {
        const Pending* best = nullptr;
        for (const Pending& pending : m_heap)
            if (!m_prefetcher->wasRequested(pending.node) && (!best || lessImportant(*best, pending)))
                best = &pending;
        if (!best)
            return;
        std::size_t points = 0;
        try {
            points = m_cloud.octree.pointCount(best->node);
        } catch (...) {
            // The walk reaches the node itself and reports what is wrong with it.
            m_prefetcher->request(best->node, 0);
            continue;
        }
        if (points > 0 && !m_prioritizer.couldAdmit(best->priority, ahead + points))
            return;
        m_prefetcher->request(best->node, points);
        ahead += points;
    }
}

std::vector<Octree::OctreeNodeId> NodeWalk::prefetchChildren(const Pending& next, std::size_t nextPoints)
{
    std::vector<Octree::OctreeNodeId> requested;
    if (!m_prefetcher || next.node.level() >= m_maxLevel || !m_prefetcher->hasRoom())
        return requested;
    // Only below a node the budget can take: the walk goes no further below the others.
    std::size_t ahead = m_prefetcher->promisedPoints() + (m_prefetcher->wasRequested(next.node) ? 0 : nextPoints);
    if (nextPoints > 0 && !m_prioritizer.couldAdmit(next.priority, ahead))
        return requested;
    std::vector<Pending> children;
    try {
        for (const Octree::OctreeNodeId child : m_cloud.octree.children(next.node, m_stop)) {
            if (m_prefetcher->wasRequested(child)
                || m_cloud.octree.nodeVisibility(child) == Octree::NodeVisibility::AllHidden)
                continue;
            const NodePriority priority = m_rating.rate(child.level(), m_cloud.octree.boundingCube(child));
            if (priority > NodePriority::discard())
                children.push_back({child, priority});
        }
    } catch (...) {
        return requested; // the walk reaches the children itself and reports what is wrong
    }
    std::sort(children.begin(), children.end(),
              [](const Pending& a, const Pending& b) { return lessImportant(b, a); });
    for (const Pending& child : children) {
        if (!m_prefetcher->hasRoom())
            break;
        std::size_t points = 0;
        try {
            points = m_cloud.octree.pointCount(child.node);
        } catch (...) {
            continue;
        }
        if (points > 0 && !m_prioritizer.couldAdmit(child.priority, ahead + points))
            break;
        m_prefetcher->request(child.node, points);
        requested.push_back(child.node);
        ahead += points;
    }
    return requested;
}

void NodeWalk::remember()
{
    if (!m_firstError)
        m_firstError = std::current_exception();
}

} // namespace Render
