// Speed of streamed point-cloud loading on a real store (autzen_trim, BROTLI, 110000 points in 88
// nodes), without a device: how soon the first node set is published after loading starts, how
// fast a whole walk publishes points compared with decoding the same nodes alone, and how long a
// view change takes to restart a running walk.
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/NodeDataLoading.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/octree/potree/FileSystemLocation.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

const Octree::Location store =
    PoTree::FileSystemLocation(std::string(LUMARO_TEST_DATA_DIR) + "/potree2/autzen_trim-brotli");

std::size_t nextRenderer()
{
    static std::size_t next = 1;
    return next++;
}

// A cloud of the store seen whole from above, every node worth loading.
struct Scene {
    Scene()
        : camera(std::make_shared<Render::Camera>(false)),
          cloud(Render::PointCloudRenderable::create(store, "autzen", 10000000, 1.0))
    {
        const auto box = cloud->boundingBox();
        camera->setViewport(1280, 720);
        const Render::TopView top = Render::topView(box, 1280, 720);
        camera->setPose(top.pose.eye, top.pose.target, top.pose.up);
        camera->setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
        camera->setZNearAndFarViaBoundingBox(box);
        cloud->init(nextRenderer(), camera, nullptr, nullptr);
        cloud->setOctreeNodePriorityThreshold(0.0f);
    }

    std::shared_ptr<Render::Camera> camera;
    std::shared_ptr<Render::PointCloudRenderable> cloud;
};

void emptyCache()
{
    Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(store, 1.0, 1, 1)->clear();
}

// From startAsyncReload to the first published node set. Arg 0: the shared cache is empty (the
// store is read and decoded); arg 1: it holds the store's nodes from an earlier walk.
void timeToFirstNodeSet(benchmark::State& state)
{
    const bool warm = state.range(0) == 1;
    for (auto _ : state) {
        Scene scene;
        if (warm)
            scene.cloud->reloadPoints(nullptr, 21);
        else
            emptyCache();
        scene.cloud->clearVisibleOctreeNodes();
        std::atomic<bool> published{false};
        const auto started = Clock::now();
        scene.cloud->startAsyncReload([&] { published = true; }, 21);
        while (!published)
            std::this_thread::yield();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - started).count());
        scene.cloud->stopAsyncReload();
    }
}
BENCHMARK(timeToFirstNodeSet)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

// One whole walk with an empty cache: read, decode, pack and publish every node.
void wholeWalk(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state) {
        state.PauseTiming();
        emptyCache();
        scene.cloud->clearVisibleOctreeNodes();
        state.ResumeTiming();
        scene.cloud->reloadPoints(nullptr, 21);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(scene.cloud->numVisiblePoints()));
}
BENCHMARK(wholeWalk)->Unit(benchmark::kMillisecond);

// Decoding alone, the same nodes with the attributes a walk asks for: what the walk's throughput
// compares with.
void bareDecoding(benchmark::State& state)
{
    const auto octree = Octree::Octree::open(store);
    std::vector<Octree::OctreeNodeId> nodes;
    std::deque<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        nodes.push_back(pending.front());
        for (const auto child : octree->children(pending.front()))
            pending.push_back(child);
        pending.pop_front();
    }
    std::int64_t points = 0;
    for (auto _ : state) {
        for (const auto node : nodes) {
            const auto data = octree->nodePointData(node, {}, Render::vertexAttributes());
            points += static_cast<std::int64_t>(data->size());
            benchmark::DoNotOptimize(data->positions().data());
        }
    }
    state.SetItemsProcessed(points);
}
BENCHMARK(bareDecoding)->Unit(benchmark::kMillisecond);

// A view change while a walk is reading: the caller waits for the walk to stop and the next one
// to start.
void restartLatency(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state) {
        state.PauseTiming();
        emptyCache();
        scene.cloud->clearVisibleOctreeNodes();
        scene.cloud->startAsyncReload(nullptr, 21);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        state.ResumeTiming();
        scene.cloud->onUpdateViewMatrix(scene.camera);
        state.PauseTiming();
        scene.cloud->stopAsyncReload();
        state.ResumeTiming();
    }
}
BENCHMARK(restartLatency)->Unit(benchmark::kMicrosecond);

} // namespace
