#include <lumaro/measure/RegionReader.h>

#include <lumaro/octree/OperationCancelled.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <stdexcept>
#include <string>

namespace Measure {

namespace {

// A node that the region may touch, with the points the hierarchy gives it.
struct Candidate {
    std::size_t store;
    Octree::OctreeNodeId node;
    std::uint64_t points;
};

Math::NBoundingBox<double, 3> unscaled(const Math::NBoundingBox<double, 3>& box, double unitScale)
{
    return {Math::Point<double, 3>(box.min() / unitScale), Math::Point<double, 3>(box.max() / unitScale)};
}

void requireNotStopped(std::stop_token stop)
{
    if (stop.stop_requested())
        throw Octree::OperationCancelled();
}

// Breadth first, so that progress and the order of points follow the levels.
void collectCandidates(std::size_t store, const Octree::Octree& tree, const Region& region, std::stop_token stop,
                       std::vector<Candidate>& candidates)
{
    const double unitScale = tree.unitScale();
    std::deque<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        requireNotStopped(stop);
        const Octree::OctreeNodeId node = pending.front();
        pending.pop_front();
        Math::NBoundingBox<double, 3> cube = unscaled(tree.worldBoundingCube(node), unitScale);
        const double slack = tree.spacing(node.level()) / unitScale;
        cube = {Math::Point<double, 3>(cube.min() - Eigen::Vector3d::Constant(slack)),
                Math::Point<double, 3>(cube.max() + Eigen::Vector3d::Constant(slack))};
        if (region.testCube(cube) == Math::BoxTestResult::Outside)
            continue;
        if (tree.nodeVisibility(node) != Octree::NodeVisibility::AllHidden && tree.pointCount(node) > 0)
            candidates.push_back({store, node, tree.pointCount(node)});
        for (const Octree::OctreeNodeId child : tree.children(node, stop))
            pending.push_back(child);
    }
}

} // namespace

RegionReadCounts readRegion(const Stores& stores, const Region& region,
                            const std::function<void(const NodePoints&)>& visit, const Progress& progress,
                            std::stop_token stop)
{
    std::vector<Candidate> candidates;
    for (std::size_t store = 0; store < stores.size(); ++store) {
        try {
            collectCandidates(store, *stores[store], region, stop, candidates);
        } catch (const Octree::OperationCancelled&) {
            throw;
        } catch (const std::exception&) {
            std::throw_with_nested(
                std::runtime_error("cannot read the hierarchy of " + stores[store]->location().toString()));
        }
    }
    std::uint64_t total = 0;
    for (const Candidate& candidate : candidates)
        total += candidate.points;
    if (progress)
        progress(0.0);
    RegionReadCounts counts;
    for (const Candidate& candidate : candidates) {
        requireNotStopped(stop);
        const Octree::Octree& tree = *stores[candidate.store];
        std::optional<Octree::StorePoints> points;
        try {
            points = Octree::storePoints(tree, candidate.node, stop);
        } catch (const std::exception&) {
            std::throw_with_nested(
                std::runtime_error("cannot read node " + candidate.node.name() + " of " + tree.location().toString()));
        }
        if (!points)
            throw Octree::OperationCancelled();
        visit(NodePoints{candidate.store, candidate.node, *points});
        ++counts.nodes;
        counts.points += points->size();
        if (progress)
            progress(total == 0 ? 1.0 : std::min(1.0, double(counts.points) / double(total)));
    }
    if (progress)
        progress(1.0);
    return counts;
}

Math::NBoundingBox<double, 3> storeBounds(const Stores& stores)
{
    Math::NBoundingBox<double, 3> bounds;
    for (const auto& tree : stores)
        bounds.extend(unscaled(tree->worldBoundingBox(), tree->unitScale()));
    return bounds;
}

} // namespace Measure
