// Speed of the node prioritizer: offers per second once the point budget is full (the steady
// state of a loader walking a large cloud), and the cost of writing 4096 resident nodes into the
// buffers that the render thread uploads.
#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::NodePrioritizer;
using Render::NodePriority;

// Every node has the same points; fetching copies them, as a cache hit does.
class FixedVertexSource : public Render::NodeVertexSource {
public:
    explicit FixedVertexSource(std::size_t pointsPerNode)
    {
        mVertices.resize(pointsPerNode);
        for (std::size_t i = 0; i < pointsPerNode; ++i)
            mVertices.setPosition(i, 0.001 * static_cast<double>(i), 0.0, 0.0);
    }
    std::optional<Render::VertexContainer> fetchNodeVertices(OctreeNodeId, std::stop_token) override
    {
        return mVertices;
    }

private:
    Render::VertexContainer mVertices;
};

NodePriority priorityOfSize(float size)
{
    static const Math::Frustum<float> everywhere(Eigen::Matrix4f::Zero());
    const float scale = size / (240.0f * std::sqrt(3.0f));
    return NodePriority::perspective({Math::Point<float, 3>(-1, -1, -1), Math::Point<float, 3>(1, 1, 1)}, everywhere,
                                     {}, {0.0f, 0.0f, 1.0f}, scale, Render::Viewport(640, 480),
                                     std::numbers::pi_v<float> / 2.0f, 0.0f);
}

// The nodes of levels 0 to `levels` - 1, level by level.
std::vector<OctreeNodeId> nodesDownTo(std::size_t levels, std::size_t atMost)
{
    std::vector<OctreeNodeId> nodes{OctreeNodeId::root()};
    for (std::size_t i = 0; nodes.size() < atMost && nodes[i].level() + 1 < levels; ++i)
        for (std::size_t child = 0; child < 8 && nodes.size() < atMost; ++child)
            nodes.push_back(nodes[i].child(child));
    return nodes;
}

const Math::NBoundingBox<float, 3> cube(Math::Point<float, 3>(0, 0, 0), Math::Point<float, 3>(1, 1, 1));

// Arg 0: resident nodes at a full budget (1000 points each). Each iteration makes one offer of
// every kind a walk makes: a node already resident, a node too unimportant to admit, and a more
// important node that displaces the least important one.
void prioritizerOffersWithFullBudget(benchmark::State& state)
{
    const auto residentCount = static_cast<std::size_t>(state.range(0));
    constexpr std::size_t pointsPerNode = 1000;
    FixedVertexSource source(pointsPerNode);
    NodePrioritizer prioritizer(residentCount * pointsPerNode);
    const std::vector<OctreeNodeId> nodes = nodesDownTo(8, residentCount + 2000000);
    for (std::size_t i = 0; i < residentCount; ++i)
        prioritizer.offer({1, nodes[i]}, cube, priorityOfSize(100.0f + static_cast<float>(i % 97)), source, {});
    std::size_t next = residentCount;
    std::size_t again = 0;
    float rising = 200.0f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(prioritizer.offer({1, nodes[again]}, cube, priorityOfSize(150.0f), source, {}));
        benchmark::DoNotOptimize(prioritizer.offer({1, nodes[next]}, cube, priorityOfSize(1.0f), source, {}));
        benchmark::DoNotOptimize(prioritizer.offer({1, nodes[next]}, cube, priorityOfSize(rising), source, {}));
        again = next;
        rising += 0.5f;
        if (++next == nodes.size()) {
            state.SkipWithError("ran out of nodes");
            break;
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * 3);
    state.counters["resident"] = static_cast<double>(prioritizer.residentNodeCount());
}
BENCHMARK(prioritizerOffersWithFullBudget)
    ->Name("PrioritizerOffersWithFullBudget")
    ->Arg(250)
    ->Arg(1000)
    ->Arg(4000)
    ->Unit(benchmark::kMicrosecond);

// Arg 0: points per node. 4096 resident nodes of one cloud are written into the node table and
// the vertex array of the triple buffer's write slot, and published.
void prioritizerUpdateBuffersFor4096Nodes(benchmark::State& state)
{
    const auto pointsPerNode = static_cast<std::size_t>(state.range(0));
    FixedVertexSource source(pointsPerNode);
    NodePrioritizer prioritizer(1u << 30);
    const std::vector<OctreeNodeId> nodes = nodesDownTo(6, Render::maxNodesPerUpdate);
    for (const OctreeNodeId node : nodes)
        prioritizer.offer({1, node}, cube, priorityOfSize(50.0f), source, {});
    Core::TripleBuffer<Render::PointCloudBuffers> buffers;
    for (auto _ : state) {
        prioritizer.updateBuffers(1, false, buffers);
        buffers.swapRead();
        benchmark::DoNotOptimize(buffers.readSlot().nodeTexels.data());
    }
    if (buffers.readSlot().nodeCount() != Render::maxNodesPerUpdate)
        state.SkipWithError("not 4096 nodes written");
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * Render::maxNodesPerUpdate));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Render::maxNodesPerUpdate * pointsPerNode
                                                      * sizeof(Render::PointCloudBuffers::Vertex)));
}
BENCHMARK(prioritizerUpdateBuffersFor4096Nodes)
    ->Name("PrioritizerUpdateBuffersFor4096Nodes")
    ->Arg(16)
    ->Arg(256)
    ->Unit(benchmark::kMillisecond);

} // namespace
