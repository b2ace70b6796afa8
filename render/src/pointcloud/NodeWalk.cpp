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
    : mCloud(cloud),
      mPrioritizer(prioritizer),
      mRating(std::move(rating)),
      mMaxLevel(maxLevel),
      mStop(std::move(stop)),
      mHeap{{Octree::OctreeNodeId::root(), NodePriority::keep()}}
{
    if (loaders.pool && loaders.nodesAhead > 0)
        mPrefetcher.emplace(mCloud.source, std::move(loaders.pool), loaders.nodesAhead, mStop);
}

bool NodeWalk::run(bool changedBefore, std::chrono::nanoseconds interval, bool firstPicture,
                   const std::function<void()>& publish)
{
    auto lastPublication = std::chrono::steady_clock::now();
    bool changed = changedBefore;
    bool due = firstPicture;
    while (!mHeap.empty()) {
        if (changed && (due || std::chrono::steady_clock::now() - lastPublication > interval)) {
            publish();
            lastPublication = std::chrono::steady_clock::now();
            changed = false;
            due = false;
        }
        const Pending next = takeBest();
        const bool descend = visit(next, changed);
        if (mStop.stop_requested())
            return false;
        if (descend && next.node.level() < mMaxLevel)
            addChildren(next);
        if (mStop.stop_requested())
            return false;
    }
    if (changed)
        publish();
    if (mFirstError)
        std::rethrow_exception(mFirstError);
    return true;
}

NodeWalk::Pending NodeWalk::takeBest()
{
    std::pop_heap(mHeap.begin(), mHeap.end(), lessImportant<Pending>);
    const Pending best = mHeap.back();
    mHeap.pop_back();
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
    } forget{mPrefetcher, next.node};
    try {
        const std::size_t points = mCloud.octree.pointCount(next.node);
        prefetchBest(next, points);
        const std::vector<Octree::OctreeNodeId> children = prefetchChildren(next, points);
        const bool descend = offer(next, points, changed);
        // The walk does not go below the node: its children will never be offered.
        if (!descend)
            for (const Octree::OctreeNodeId child : children)
                mPrefetcher->forget(child);
        return descend;
    } catch (const Octree::OperationCancelled&) {
        return false;
    } catch (...) {
        if (mStop.stop_requested())
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
    if (!mPrioritizer.couldAdmit(next.priority, points))
        return false;
    NodeVertexSource& source = mPrefetcher ? static_cast<NodeVertexSource&>(*mPrefetcher) : mCloud.source;
    const NodePrioritizer::OfferResult offered = mPrioritizer.offer(
        {mCloud.instance, next.node}, mCloud.octree.boundingCube(next.node), next.priority, source, mStop);
    changed = changed || offered.changed;
    return offered.resident || offered.empty;
}

void NodeWalk::addChildren(const Pending& parent)
{
    const std::size_t level = parent.node.level() + 1;
    try {
        for (const Octree::OctreeNodeId child : mCloud.octree.children(parent.node, mStop)) {
            if (mCloud.octree.nodeVisibility(child) == Octree::NodeVisibility::AllHidden)
                continue;
            const NodePriority priority = mRating.rate(level, mCloud.octree.boundingCube(child));
            if (priority > NodePriority::discard()) {
                mHeap.push_back({child, priority});
                std::push_heap(mHeap.begin(), mHeap.end(), lessImportant<Pending>);
            }
        }
    } catch (const Octree::OperationCancelled&) {
    } catch (...) {
        if (!mStop.stop_requested())
            remember();
    }
}

void NodeWalk::prefetchBest(const Pending& next, std::size_t nextPoints)
{
    if (!mPrefetcher)
        return;
    // Only nodes that the budget can still take are fetched ahead: `next`, the node being
    // offered now, and those requested before it take their share of the budget first.
    std::size_t ahead = mPrefetcher->promisedPoints() + (mPrefetcher->wasRequested(next.node) ? 0 : nextPoints);
    while (mPrefetcher->hasRoom()) {
        const Pending* best = nullptr;
        for (const Pending& pending : mHeap)
            if (!mPrefetcher->wasRequested(pending.node) && (!best || lessImportant(*best, pending)))
                best = &pending;
        if (!best)
            return;
        std::size_t points = 0;
        try {
            points = mCloud.octree.pointCount(best->node);
        } catch (...) {
            // The walk reaches the node itself and reports what is wrong with it.
            mPrefetcher->request(best->node, 0);
            continue;
        }
        if (points > 0 && !mPrioritizer.couldAdmit(best->priority, ahead + points))
            return;
        mPrefetcher->request(best->node, points);
        ahead += points;
    }
}

std::vector<Octree::OctreeNodeId> NodeWalk::prefetchChildren(const Pending& next, std::size_t nextPoints)
{
    std::vector<Octree::OctreeNodeId> requested;
    if (!mPrefetcher || next.node.level() >= mMaxLevel || !mPrefetcher->hasRoom())
        return requested;
    // Only below a node the budget can take: the walk goes no further below the others.
    std::size_t ahead = mPrefetcher->promisedPoints() + (mPrefetcher->wasRequested(next.node) ? 0 : nextPoints);
    if (nextPoints > 0 && !mPrioritizer.couldAdmit(next.priority, ahead))
        return requested;
    std::vector<Pending> children;
    try {
        for (const Octree::OctreeNodeId child : mCloud.octree.children(next.node, mStop)) {
            if (mPrefetcher->wasRequested(child)
                || mCloud.octree.nodeVisibility(child) == Octree::NodeVisibility::AllHidden)
                continue;
            const NodePriority priority = mRating.rate(child.level(), mCloud.octree.boundingCube(child));
            if (priority > NodePriority::discard())
                children.push_back({child, priority});
        }
    } catch (...) {
        return requested; // the walk reaches the children itself and reports what is wrong
    }
    std::sort(children.begin(), children.end(), [](const Pending& a, const Pending& b) { return lessImportant(b, a); });
    for (const Pending& child : children) {
        if (!mPrefetcher->hasRoom())
            break;
        std::size_t points = 0;
        try {
            points = mCloud.octree.pointCount(child.node);
        } catch (...) {
            continue;
        }
        if (points > 0 && !mPrioritizer.couldAdmit(child.priority, ahead + points))
            break;
        mPrefetcher->request(child.node, points);
        requested.push_back(child.node);
        ahead += points;
    }
    return requested;
}

void NodeWalk::remember()
{
    if (!mFirstError)
        mFirstError = std::current_exception();
}

} // namespace Render
