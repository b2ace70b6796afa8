// Decoding speed of EPT node data, in points per second, for each of the store's data types:
// from bytes in memory (the decoders alone) and through EntwineTree::nodePointData (file read,
// decoding and conversion to model coordinates).
#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/entwine/BinaryDecoder.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/entwine/LaszipDecoder.h>
#include <lumaro/octree/entwine/Metadata.h>
#include <lumaro/octree/entwine/ZstandardDecoder.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

const std::filesystem::path eptDir = std::filesystem::path(LUMARO_TEST_DATA_DIR) / "ept";

// The ellipsoid store's root node: 100 000 points of 44 bytes.
struct EllipsoidNode {
    Entwine::Metadata metadata = Entwine::Metadata::load(eptDir / "ellipsoid-zstandard" / "ept.json");
    std::string compressed = Core::readLocalFile(eptDir / "ellipsoid-zstandard" / "ept-data" / "0-0-0-0.zst");
    std::uint64_t count = metadata.points;
    std::string records = Entwine::decompressZstandard(compressed, count* metadata.schema.recordSize(), "0-0-0-0.zst");
};

const EllipsoidNode& ellipsoid()
{
    static const EllipsoidNode node;
    return node;
}

void binaryRecords(benchmark::State& state)
{
    const auto& node = ellipsoid();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Entwine::decodeBinaryPoints(node.records, node.metadata.schema, node.count,
                                                             Octree::PointAttributes::all(), "0-0-0-0.bin"));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * node.count));
}
BENCHMARK(binaryRecords)->Name("EptDecode/binary")->Unit(benchmark::kMillisecond);

void zstandardRecords(benchmark::State& state)
{
    const auto& node = ellipsoid();
    const std::size_t size = node.count * node.metadata.schema.recordSize();
    for (auto _ : state) {
        const std::string records = Entwine::decompressZstandard(node.compressed, size, "0-0-0-0.zst");
        benchmark::DoNotOptimize(Entwine::decodeBinaryPoints(records, node.metadata.schema, node.count,
                                                             Octree::PointAttributes::all(), "0-0-0-0.zst"));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * node.count));
}
BENCHMARK(zstandardRecords)->Name("EptDecode/zstandard")->Unit(benchmark::kMillisecond);

void laszipFile(benchmark::State& state)
{
    // The lion store's root: 35 091 points of LAS format 2 with one extra-bytes attribute.
    const std::string laz = Core::readLocalFile(eptDir / "lion_takanawa-laszip" / "ept-data" / "0-0-0-0.laz");
    const std::uint64_t count = 35091;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Entwine::decodeLaszipPoints(laz, count, Octree::PointAttributes::all(), "0-0-0-0.laz"));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}
BENCHMARK(laszipFile)->Name("EptDecode/laszip")->Unit(benchmark::kMillisecond);

void nodePointData(benchmark::State& state, const char* store)
{
    const Entwine::EntwineTree tree(PoTree::FileSystemLocation(eptDir / store));
    const auto root = Octree::OctreeNodeId::root();
    tree.colorsAre16Bit(); // the one-time colour decision is not part of a node's cost
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.nodePointData(root, std::stop_token()));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * tree.pointCount(root)));
}
BENCHMARK_CAPTURE(nodePointData, zstandard, "ellipsoid-zstandard")
    ->Name("EptNodePointData/zstandard")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, laszip, "lion_takanawa-laszip")
    ->Name("EptNodePointData/laszip")
    ->Unit(benchmark::kMillisecond);

} // namespace
