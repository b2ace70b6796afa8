// Speed of measurements at full resolution against a plain point query of the same region: a
// profile along a corridor and a volume over a polygon read the nodes that can touch them and
// work on every point; the query (Render::PointCloudQuery with a filter that makes the same box
// decisions, no cache) reads those nodes and hands out their points. On autzen_trim (BROTLI,
// real, 110,000 points) and on a synthetic surface of 4,000,000 points (DEFAULT encoding, so
// decoding costs little and the measuring shows).
#include <lumaro/measure/Profile.h>
#include <lumaro/measure/Volume.h>
#include <lumaro/render/pointcloud/IFilter.h>
#include <lumaro/render/pointcloud/PointCloudQuery.h>

#include "Corridor.h" // the profile's region, for the query's filter

#include <lumaro/octree/Location.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace {

using P2 = Math::Point<double, 2>;

std::shared_ptr<Octree::Octree> open(const std::string& path)
{
    return Octree::Octree::open(Octree::locationOf(path));
}

// The stores: autzen, and a wavy surface of 2000 x 2000 points over a 1000 m square.
struct Store {
    std::shared_ptr<Octree::Octree> tree;
    Math::NBoundingBox<double, 3> bounds;
};

Store autzen()
{
    static const Store store = [] {
        Store s{open(std::string(LUMARO_TEST_DATA_DIR) + "/potree2/autzen_trim-brotli"), {}};
        s.bounds = Measure::storeBounds({s.tree});
        return s;
    }();
    return store;
}

Store surface()
{
    static TestSupport::TemporaryFolder folder;
    static const Store store = [] {
        // Leaves of level 3 (125 m squares), each holding its own points; the levels above empty.
        std::vector<TestSupport::StoreNode> nodes;
        for (int n = 0; n < 64; ++n) {
            const int x = n / 8;
            const int y = n % 8;
            const std::string name = "r" + std::to_string(4 * (x >> 2) + 2 * (y >> 2))
                + std::to_string(4 * ((x >> 1) & 1) + 2 * ((y >> 1) & 1)) + std::to_string(4 * (x & 1) + 2 * (y & 1));
            nodes.push_back({name, {}});
        }
        for (int i = 0; i < 2000; ++i)
            for (int j = 0; j < 2000; ++j) {
                const double x = 0.25 + 0.5 * i;
                const double y = 0.25 + 0.5 * j;
                const double z = 20.0 + 5.0 * std::sin(x / 40.0) * std::cos(y / 55.0);
                const int cx = static_cast<int>(x / 125.0);
                const int cy = static_cast<int>(y / 125.0);
                nodes[static_cast<std::size_t>(cx * 8 + cy)].points.push_back({x, y, z});
            }
        TestSupport::writePotreeStore(folder.path(), nodes, {0.0, 1000.0, 0.001});
        Store s{open(folder.path().string()), {}};
        s.bounds = Measure::storeBounds({s.tree});
        return s;
    }();
    return store;
}

Store storeOf(int which)
{
    return which == 0 ? autzen() : surface();
}

// A corridor 20 m wide from a tenth to nine tenths of the bounds' diagonal.
Measure::ProfileOptions corridorOf(const Store& store)
{
    const auto& b = store.bounds;
    Measure::ProfileOptions options;
    options.line = {P2(b.min().x() + 0.1 * b.size().x(), b.min().y() + 0.1 * b.size().y()),
                    P2(b.min().x() + 0.9 * b.size().x(), b.min().y() + 0.9 * b.size().y())};
    options.width = 20.0;
    return options;
}

// A square over the middle third of the bounds.
Math::Polygon squareOf(const Store& store)
{
    const auto& b = store.bounds;
    const double x0 = b.min().x() + b.size().x() / 3;
    const double x1 = b.min().x() + 2 * b.size().x() / 3;
    const double y0 = b.min().y() + b.size().y() / 3;
    const double y1 = b.min().y() + 2 * b.size().y() / 3;
    return Math::Polygon({P2(x0, y0), P2(x1, y0), P2(x1, y1), P2(x0, y1)});
}

// The query's filter: the same decisions on node cubes as the measurement's reading (the cube in
// store coordinates, grown by its level's spacing, against the region), every point kept.
class RegionFilter : public Render::IFilter {
public:
    RegionFilter(const Octree::Octree& tree,
                 std::function<Math::BoxTestResult(const Math::NBoundingBox<double, 3>&)> test)
        : mReference(tree.referencePosition()), mSlack(tree.spacing(0)), mTest(std::move(test))
    {}
    bool testPosition(const Math::Point<float, 3>&) override { return true; }
    Octree::BoxTestResult testBox(const Math::NBoundingBox<float, 3>& box) override
    {
        // The root's spacing is the most any node's cube grows by: at least as many nodes read.
        const Eigen::Vector3d grow = Eigen::Vector3d::Constant(mSlack);
        const Math::NBoundingBox<double, 3> store(Math::Point<double, 3>(box.min().cast<double>() + mReference - grow),
                                                  Math::Point<double, 3>(box.max().cast<double>() + mReference + grow));
        return mTest(store) == Math::BoxTestResult::Outside ? Math::BoxTestResult::Outside
                                                            : Math::BoxTestResult::Intersecting;
    }

private:
    Eigen::Vector3d mReference;
    double mSlack;
    std::function<Math::BoxTestResult(const Math::NBoundingBox<double, 3>&)> mTest;
};

void countPoints(benchmark::State& state, std::uint64_t points)
{
    state.counters["points/s"] = benchmark::Counter(static_cast<double>(points), benchmark::Counter::kIsRate);
    state.counters["points"] = static_cast<double>(points) / static_cast<double>(state.iterations());
}

std::uint64_t query(const Store& store, Render::IFilter& filter)
{
    Render::PointCloudQuery query(store.tree, nullptr, Eigen::Matrix4f::Identity(), &filter, 21, 0.0f,
                                  std::chrono::nanoseconds(0));
    std::vector<Render::VertexPosColor> chunk(65536);
    std::uint64_t points = 0;
    while (const std::size_t count = query.getNextPointChunk(chunk.data(), chunk.size()))
        points += count;
    return points;
}

// Arg: 0 autzen, 1 the synthetic surface. Points/s counts every point of the nodes read.
void profile(benchmark::State& state)
{
    const Store store = storeOf(static_cast<int>(state.range(0)));
    const Measure::ProfileOptions options = corridorOf(store);
    std::uint64_t points = 0;
    std::size_t nodes = 0;
    std::size_t found = 0;
    for (auto _ : state) {
        const Measure::Profile profile = Measure::measureProfile({store.tree}, options);
        points += profile.read.points;
        nodes += profile.read.nodes;
        found = profile.points.size();
    }
    countPoints(state, points);
    state.counters["nodes"] = static_cast<double>(nodes) / static_cast<double>(state.iterations());
    state.counters["in corridor"] = static_cast<double>(found);
}
BENCHMARK(profile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void profileQuery(benchmark::State& state)
{
    const Store store = storeOf(static_cast<int>(state.range(0)));
    const Measure::Corridor corridor(corridorOf(store));
    RegionFilter filter(*store.tree, [&](const auto& cube) { return corridor.testCube(cube); });
    std::uint64_t points = 0;
    for (auto _ : state)
        points += query(store, filter);
    countPoints(state, points);
}
BENCHMARK(profileQuery)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The volume above a base fitted to the edge, in cells of 1 m.
void volume(benchmark::State& state)
{
    const Store store = storeOf(static_cast<int>(state.range(0)));
    const Math::Polygon square = squareOf(store);
    std::uint64_t points = 0;
    std::size_t nodes = 0;
    for (auto _ : state) {
        const Measure::Volume volume =
            Measure::measureVolume({store.tree}, Measure::VolumeOptions{square, 1.0, {Measure::VolumeBase::Kind::Fit}});
        points += volume.read.points;
        nodes += volume.read.nodes;
    }
    countPoints(state, points);
    state.counters["nodes"] = static_cast<double>(nodes) / static_cast<double>(state.iterations());
}
BENCHMARK(volume)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void volumeQuery(benchmark::State& state)
{
    const Store store = storeOf(static_cast<int>(state.range(0)));
    const Math::Polygon square = squareOf(store);
    RegionFilter filter(*store.tree, [&](const Math::NBoundingBox<double, 3>& cube) {
        // Grown by the fitted base's band of one cell, as the volume's reading does.
        return square.testRectangle({Math::Point<double, 2>(cube.min().head<2>() - Eigen::Vector2d::Constant(1.0)),
                                     Math::Point<double, 2>(cube.max().head<2>() + Eigen::Vector2d::Constant(1.0))});
    });
    std::uint64_t points = 0;
    for (auto _ : state)
        points += query(store, filter);
    countPoints(state, points);
}
BENCHMARK(volumeQuery)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
