#include <lumaro/math/TriangleMesh.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using Mesh = Math::TriangleMesh<float>;
using P = Math::Point<float, 3>;

// A rolling terrain of side x side quads, two triangles each, over 1000 x 1000 units.
Mesh terrain(std::uint32_t side)
{
    std::vector<P> vertices;
    vertices.reserve(std::size_t(side + 1) * (side + 1));
    const float step = 1000.0F / static_cast<float>(side);
    for (std::uint32_t y = 0; y <= side; ++y)
        for (std::uint32_t x = 0; x <= side; ++x) {
            const float px = static_cast<float>(x) * step;
            const float py = static_cast<float>(y) * step;
            vertices.emplace_back(px, py, 20.0F * std::sin(px / 50.0F) * std::cos(py / 70.0F));
        }
    std::vector<Mesh::Triangle> triangles;
    triangles.reserve(std::size_t(side) * side * 2);
    for (std::uint32_t y = 0; y < side; ++y)
        for (std::uint32_t x = 0; x < side; ++x) {
            const std::uint32_t corner = y * (side + 1) + x;
            triangles.push_back({corner, corner + 1, corner + side + 2});
            triangles.push_back({corner, corner + side + 2, corner + side + 1});
        }
    return Mesh(std::move(vertices), std::move(triangles));
}

std::vector<P> queries(std::size_t count)
{
    std::mt19937 random(42);
    std::uniform_real_distribution<float> horizontal(-100.0F, 1100.0F);
    std::uniform_real_distribution<float> vertical(-60.0F, 60.0F);
    std::vector<P> points;
    for (std::size_t i = 0; i < count; ++i)
        points.emplace_back(horizontal(random), horizontal(random), vertical(random));
    return points;
}

// Nearest-point queries per second on a mesh of about a million triangles (708^2 * 2).
void BM_TriangleMeshNearestPoint(benchmark::State& state)
{
    static const Mesh mesh = terrain(708);
    const std::vector<P> points = queries(4096);
    std::size_t next = 0;
    for (auto _ : state) {
        auto nearest = mesh.nearestPoint(points[next]);
        benchmark::DoNotOptimize(nearest);
        next = (next + 1) % points.size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
    state.counters["triangles"] = static_cast<double>(mesh.triangleCount());
}
BENCHMARK(BM_TriangleMeshNearestPoint);

// Building the hierarchy, in triangles per second.
void BM_TriangleMeshBuild(benchmark::State& state)
{
    const Mesh source = terrain(static_cast<std::uint32_t>(state.range(0)));
    for (auto _ : state) {
        Mesh copy(source.vertices(), source.triangles());
        auto bounds = copy.boundingBox();
        benchmark::DoNotOptimize(bounds);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * source.triangleCount()));
}
BENCHMARK(BM_TriangleMeshBuild)->Arg(708)->Unit(benchmark::kMillisecond);

} // namespace
