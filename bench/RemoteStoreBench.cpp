// Stores on a web server against the same store on disk, in one run: how soon a walk publishes
// its first node set and how fast a whole walk goes, over loopback HTTP as it is and with 20 ms
// added to every request (the tests' fault server's delay), and how much of a store a render at a
// small budget transfers. Needs the web server that `./dev bench` starts (LUMARO_WEB_SERVER).
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/TestStores.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

const char* const STORE = "potree2/autzen_trim-brotli";

enum Where {
    OnDisk,
    OverHttp,
    OverHttp20Ms
};

std::optional<Octree::Location> locationOf(Where where)
{
    if (where == OnDisk) {
        return PoTree::FileSystemLocation(std::string(LUMARO_TEST_DATA_DIR) + "/" + STORE);
    }
    const auto servers = TestSupport::webServers();
    if (!servers) {
        return std::nullopt;
    }
    const std::string base = where == OverHttp ? servers->http : servers->faults + "/delay/20";
    return Octree::WebLocation(base + "/" + STORE);
}

std::size_t nextRenderer()
{
    static std::size_t next = 1000;
    return next++;
}

// The store seen whole from above, every node worth loading, with an empty cache.
struct Scene {
    Scene(const Octree::Location& location, std::size_t budget)
        : camera(std::make_shared<Render::Camera>(false)),
          cloud(Render::PointCloudRenderable::create(location, "autzen", budget, 1.0))
    {
        Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, 1.0, 1, 1)->clear();
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

void firstNodeSet(benchmark::State& state)
{
    const auto location = locationOf(static_cast<Where>(state.range(0)));
    if (!location) {
        state.SkipWithError("no web server (LUMARO_WEB_SERVER)");
        return;
    }
    for (auto _ : state) {
        Scene scene(*location, 10000000);
        std::atomic<bool> published{false};
        const auto started = Clock::now();
        scene.cloud->startAsyncReload([&] { published = true; }, 21);
        while (!published)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - started).count());
        scene.cloud->stopAsyncReload();
    }
}
BENCHMARK(firstNodeSet)
    ->Name("RemoteStore/firstNodeSet")
    ->ArgName("disk0_http1_http20ms2")
    ->Arg(OnDisk)
    ->Arg(OverHttp)
    ->Arg(OverHttp20Ms)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void wholeWalk(benchmark::State& state)
{
    const auto location = locationOf(static_cast<Where>(state.range(0)));
    if (!location) {
        state.SkipWithError("no web server (LUMARO_WEB_SERVER)");
        return;
    }
    std::int64_t points = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Scene scene(*location, 10000000);
        state.ResumeTiming();
        scene.cloud->reloadPoints(nullptr, 21);
        points += static_cast<std::int64_t>(scene.cloud->numVisiblePoints());
    }
    state.SetItemsProcessed(points);
}
BENCHMARK(wholeWalk)
    ->Name("RemoteStore/wholeWalk")
    ->ArgName("disk0_http1_http20ms2")
    ->Arg(OnDisk)
    ->Arg(OverHttp)
    ->Arg(OverHttp20Ms)
    ->Unit(benchmark::kMillisecond);

// A walk with a budget of a tenth of the store's points, over HTTP: bytes transferred against the
// store's size on disk.
void bytesAtSmallBudget(benchmark::State& state)
{
    const auto location = locationOf(OverHttp);
    if (!location) {
        state.SkipWithError("no web server (LUMARO_WEB_SERVER)");
        return;
    }
    std::uintmax_t storeBytes = 0;
    for (const auto& file : std::filesystem::directory_iterator(std::string(LUMARO_TEST_DATA_DIR) + "/" + STORE)) {
        storeBytes += file.is_regular_file() ? file.file_size() : 0;
    }
    double fraction = 0.0;
    for (auto _ : state) {
        const std::uint64_t before = Octree::bytesReceivedOverHttp();
        Scene scene(*location, 11000);
        scene.cloud->reloadPoints(nullptr, 21);
        fraction = static_cast<double>(Octree::bytesReceivedOverHttp() - before) / static_cast<double>(storeBytes);
    }
    state.counters["fraction_of_store_read"] = fraction;
}
BENCHMARK(bytesAtSmallBudget)
    ->Name("RemoteStore/bytesAtATenthOfThePoints")
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

} // namespace
