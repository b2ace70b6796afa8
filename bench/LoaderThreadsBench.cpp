// How loading scales: a LASzip store loaded whole with 1, 2, 4 and 8 loader threads, and a sparse
// synthetic store of 10^10 points against one of 10^6 loaded within the same budget. Each
// comparison loads its variants in turn within every iteration, so that a machine whose load
// changes (others compile here) slows them alike; the ratios are the figures to read.
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/LoadingSettings.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/core/TaskPool.h>
#include <lumaro/indexer/Indexer.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/SparseOctree.h>
#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

std::size_t nextRenderer()
{
    static std::size_t next = 5000;
    return next++;
}

// Loads the octree within the budget, seen whole from above with every node worth loading, on a
// renderer of its own with `threads` loader threads and fresh caches; returns the seconds it took
// and the points loaded.
std::pair<double, std::size_t> load(const std::shared_ptr<Octree::Octree>& octree, std::size_t budget,
                                    std::size_t threads)
{
    const std::size_t renderer = nextRenderer();
    Render::setLoaderThreadCount(renderer, threads);
    auto camera = std::make_shared<Render::Camera>(false);
    auto cloud = Render::PointCloudRenderable::create(octree, "bench", budget);
    const auto box = cloud->boundingBox();
    camera->setViewport(1280, 720);
    const Render::TopView top = Render::topView(box, 1280, 720);
    camera->setPose(top.pose.eye, top.pose.target, top.pose.up);
    camera->setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
    camera->setZNearAndFarViaBoundingBox(box);
    cloud->init(renderer, camera, nullptr, nullptr);
    cloud->setOctreeNodePriorityThreshold(0.0f);
    const auto started = Clock::now();
    cloud->reloadPoints(nullptr, 21);
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    const std::size_t points = cloud->numVisiblePoints();
    cloud->deinit();
    Render::forgetLoadingSettings(renderer);
    return {seconds, points};
}

// A COPC file of synthetic points (LAS 1.4 format 7, 1,500,000 points unless
// LUMARO_LOADING_BENCH_POINTS says otherwise) indexed with nodes of at most 20,000 points: a
// tree wide enough below its root that several nodes are always waiting to be read.
struct SyntheticCopc {
    TestSupport::TemporaryFolder folder;
    std::filesystem::path file;

    SyntheticCopc()
    {
        const char* wanted = std::getenv("LUMARO_LOADING_BENCH_POINTS");
        const std::size_t points = wanted ? std::strtoull(wanted, nullptr, 10) : 1500000;
        const std::filesystem::path las = folder.path() / "synthetic.las";
        TestSupport::SyntheticLas recipe;
        recipe.minor = 4;
        recipe.format = 7;
        TestSupport::writeSyntheticLas(las, recipe, points);
        file = folder.path() / "synthetic.copc.laz";
        Index::IndexOptions options;
        options.maxNodePoints = 20000;
        Index::indexToCopc({las}, file, options);
    }
};

std::shared_ptr<Octree::Octree> lazStore(int which)
{
    if (which == 0) {
        static SyntheticCopc copc;
        return Octree::Octree::open(PoTree::FileSystemLocation(copc.file));
    }
    return Octree::Octree::open(
        PoTree::FileSystemLocation(std::string(LUMARO_TEST_DATA_DIR) + "/ept/lion_takanawa-laszip"));
}

// Arg 0: the synthetic COPC file; 1: the lion EPT laszip store (341,989 points in 16 nodes, a tenth
// of them in the root). Counters: milliseconds per whole load with 1, 2, 4 and 8 threads, and the
// speed-ups against one thread.
void LoadWholeLazStoreWithThreads(benchmark::State& state)
{
    const int which = static_cast<int>(state.range(0));
    constexpr std::array<std::size_t, 4> threads{1, 2, 4, 8};
    std::array<double, 4> seconds{};
    std::size_t points = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < threads.size(); ++i) {
            // Opened anew: nothing of the store is kept from the load before.
            const auto [took, loaded] = load(lazStore(which), 100000000, threads[i]);
            seconds[i] += took;
            points = loaded;
        }
    }
    const double iterations = static_cast<double>(state.iterations());
    for (std::size_t i = 0; i < threads.size(); ++i) {
        state.counters["ms_" + std::to_string(threads[i])] = 1000.0 * seconds[i] / iterations;
        if (i > 0)
            state.counters["speedup_" + std::to_string(threads[i])] = seconds[0] / seconds[i];
    }
    state.counters["points"] = static_cast<double>(points);
    state.counters["hardware_threads"] = static_cast<double>(Core::TaskPool::hardwareThreads());
    state.SetLabel(which == 0 ? "synthetic COPC" : "lion EPT laszip");
}
BENCHMARK(LoadWholeLazStoreWithThreads)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// A budget of 1,000,000 points from a sparse synthetic store of 10^10 points (1.4 million nodes)
// and from one of 10^6 (85 nodes), with the hardware's loader threads. Counters: milliseconds of
// each and their ratio.
void LoadBudgetFromGiantAgainstSmallStore(benchmark::State& state)
{
    constexpr std::size_t budget = 1000000;
    double small = 0.0;
    double giant = 0.0;
    std::size_t loadedGiant = 0;
    for (auto _ : state) {
        small += load(std::make_shared<TestSupport::SparseOctree>("bench-small", 3, 1000000), budget, 0).first;
        const auto [took, loaded] =
            load(std::make_shared<TestSupport::SparseOctree>("bench-giant", 10, 10000000000), budget, 0);
        giant += took;
        loadedGiant = loaded;
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["ms_1e6"] = 1000.0 * small / iterations;
    state.counters["ms_1e10"] = 1000.0 * giant / iterations;
    state.counters["ratio"] = giant / small;
    state.counters["points_1e10"] = static_cast<double>(loadedGiant);
}
BENCHMARK(LoadBudgetFromGiantAgainstSmallStore)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

} // namespace
