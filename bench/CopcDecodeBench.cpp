// Decoding speed of COPC nodes, in points per second, through CopcTree::nodePointData (chunk read,
// decoding and conversion to model coordinates), to set beside EptNodePointData/laszip: the very
// points of the lion EPT store's root node, written as one COPC node (LAS 1.4 layered chunks
// instead of the EPT file's LAS 1.2 format), and the test data's real COPC file node by node.
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/CopcFileWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

const std::filesystem::path testData(LUMARO_TEST_DATA_DIR);

void walkAll(const Octree::Octree& tree, std::vector<Octree::OctreeNodeId>& nodes)
{
    std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        nodes.push_back(pending.back());
        pending.pop_back();
        for (const auto child : tree.children(nodes.back())) {
            pending.push_back(child);
        }
    }
}

void lionRootAsCopc(benchmark::State& state)
{
    const Entwine::EntwineTree ept(PoTree::FileSystemLocation(testData / "ept" / "lion_takanawa-laszip"));
    const auto root = Octree::OctreeNodeId::root();
    const auto decoded = ept.decodedPoints(root, {});
    TestSupport::CopcNode node{"0-0-0-0", {}};
    for (std::size_t i = 0; i < decoded->points.count; ++i) {
        TestSupport::CopcPoint point;
        for (int axis = 0; axis < 3; ++axis) {
            point.stored[axis] = static_cast<std::int32_t>(decoded->points.positions[i][axis]);
        }
        point.intensity = decoded->points.intensities[i];
        point.classification = decoded->points.classifications[i];
        point.rgb = decoded->points.colors[i];
        node.points.push_back(point);
    }
    const auto cube = ept.worldBoundingCube(root);
    TestSupport::CopcLayout layout;
    layout.scale = decoded->scale;
    layout.offset = decoded->offset;
    layout.halfSize = (cube.max().x() - cube.min().x()) / 2;
    for (int axis = 0; axis < 3; ++axis) {
        layout.center[axis] = (cube.min()[axis] + cube.max()[axis]) / 2;
    }
    const TestSupport::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "lion-root.copc.laz";
    TestSupport::writeCopcFile(file, {node}, layout);

    const Copc::CopcTree tree(PoTree::FileSystemLocation(file), 1.0);
    tree.colorsAre16Bit(); // the one-time colour decision is not part of a node's cost
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.nodePointData(root, std::stop_token()));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * tree.pointCount(root)));
    state.counters["points_per_node"] = static_cast<double>(tree.pointCount(root));
}
BENCHMARK(lionRootAsCopc)->Name("CopcNodePointData/lion-root")->Unit(benchmark::kMillisecond);

// 65 nodes of 16 points on average: the cost of a node beyond its points.
void realFileNodeByNode(benchmark::State& state)
{
    const Copc::CopcTree tree(PoTree::FileSystemLocation(testData / "copc" / "1.2-with-color.copc.laz"), 1.0);
    std::vector<Octree::OctreeNodeId> nodes;
    walkAll(tree, nodes);
    tree.colorsAre16Bit();
    for (auto _ : state) {
        for (const auto node : nodes) {
            benchmark::DoNotOptimize(tree.nodePointData(node, std::stop_token()));
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * tree.pointCount()));
    state.counters["nodes_per_second"] =
        benchmark::Counter(static_cast<double>(nodes.size()), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(realFileNodeByNode)->Name("CopcNodePointData/1.2-with-color-all-nodes")->Unit(benchmark::kMillisecond);

} // namespace
