// Meshes: reading the largest OBJ file of the project's shared data (the Stanford bunny, 69,451
// triangles; its licence keeps it out of the repository, so this benchmark reads it where the
// shared data lie and skips without it), and distances of a real cloud's points to meshes:
// 1.2-with-color against its own terrain mesh, and autzen_trim fitted into the bunny's box.
#include "pointcloud/MeshDistances.h"

#include <lumaro/render/pointcloud/NodeDataLoading.h>
#include <lumaro/render/renderables/MeshLoader.h>

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <string>

namespace {

using P = Math::Point<float, 3>;

std::filesystem::path sharedData()
{
    if (const char* folder = std::getenv("LUMARO_SHARED_DATA"))
        return folder;
    return std::filesystem::path(LUMARO_TEST_DATA_DIR) / "../../shared/data";
}

const std::filesystem::path bunny = sharedData() / "obj/stanford-bunny.obj";
const std::string testData = LUMARO_TEST_DATA_DIR;

// Every point of a store, as the renderer's vertices in model coordinates.
Render::VertexContainer allPoints(const std::string& store)
{
    const auto octree = Octree::Octree::open(PoTree::FileSystemLocation(store));
    std::vector<Render::VertexContainer::Vertex> vertices;
    std::deque<Octree::OctreeNodeId> open{Octree::OctreeNodeId::root()};
    while (!open.empty()) {
        const Octree::OctreeNodeId node = open.front();
        open.pop_front();
        const Render::VertexContainer some = Render::makeVertexContainer(*octree->nodePointData(node, {}));
        vertices.insert(vertices.end(), some.data(), some.data() + some.size());
        for (const Octree::OctreeNodeId child : octree->children(node))
            open.push_back(child);
    }
    Render::VertexContainer result;
    result.resize(vertices.size());
    std::copy(vertices.begin(), vertices.end(), result.data());
    return result;
}

void measureDistances(benchmark::State& state, const Render::VertexContainer& points,
                      const Math::TriangleMesh<float>& mesh)
{
    for (auto _ : state) {
        auto distances = Render::meshDistances(points, mesh, 1.0f, {});
        benchmark::DoNotOptimize(distances);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * points.size()));
    state.counters["points"] = static_cast<double>(points.size());
    state.counters["triangles"] = static_cast<double>(mesh.triangles().size());
}

// Triangles per second from an OBJ file to the loader's parts.
void BM_ObjMeshLoading(benchmark::State& state)
{
    if (!std::filesystem::exists(bunny)) {
        state.SkipWithError(("no " + bunny.string() + " (set LUMARO_SHARED_DATA)").c_str());
        return;
    }
    const auto loader = Render::createObjMeshLoader(bunny);
    std::size_t triangles = 0;
    for (auto _ : state) {
        triangles = 0;
        loader->load([&](const Render::MeshLoader::Part& part) { triangles += part.size() / 3; });
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * triangles));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * std::filesystem::file_size(bunny)));
    state.counters["triangles"] = static_cast<double>(triangles);
}
BENCHMARK(BM_ObjMeshLoading)->Unit(benchmark::kMillisecond);

// The terrain mesh of 1.2-with-color is in the store's world coordinates: moved to the model's.
void BM_MeshDistancesTerrain(benchmark::State& state)
{
    const std::string store = testData + "/potree2/1.2-with-color-brotli";
    const Render::VertexContainer points = allPoints(store);
    const auto origin = Octree::Octree::open(PoTree::FileSystemLocation(store))->referencePosition();
    Eigen::Matrix4f toModel = Eigen::Matrix4f::Identity();
    toModel.block<3, 1>(0, 3) = -origin.cast<float>();
    const Math::TriangleMesh<float> mesh =
        Render::loadTriangleMesh(*Render::createObjMeshLoader(testData + "/obj/1.2-with-color.obj"))
            .transformed(toModel);
    measureDistances(state, points, mesh);
}
BENCHMARK(BM_MeshDistancesTerrain)->Unit(benchmark::kMillisecond);

// autzen_trim's 110,000 points squeezed into the bunny's bounding box around it.
void BM_MeshDistancesBunny(benchmark::State& state)
{
    if (!std::filesystem::exists(bunny)) {
        state.SkipWithError(("no " + bunny.string() + " (set LUMARO_SHARED_DATA)").c_str());
        return;
    }
    const Math::TriangleMesh<float> mesh = Render::loadTriangleMesh(*Render::createObjMeshLoader(bunny));
    Render::VertexContainer points = allPoints(testData + "/potree2/autzen_trim-brotli");
    Math::NBoundingBox<float, 3> box;
    for (std::size_t i = 0; i < points.size(); ++i)
        box.extend(points.position(i));
    const Math::NBoundingBox<float, 3> target = mesh.boundingBox();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Eigen::Vector3f relative = (points.position(i) - box.min()).cwiseQuotient(box.size());
        const Eigen::Vector3f placed = target.min() + relative.cwiseProduct(target.size());
        points.setPosition(i, placed.x(), placed.y(), placed.z());
    }
    measureDistances(state, points, mesh);
}
BENCHMARK(BM_MeshDistancesBunny)->Unit(benchmark::kMillisecond);

} // namespace
