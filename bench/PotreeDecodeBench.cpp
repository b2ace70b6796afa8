// Decoding speed of Potree 2.0 node chunks, in points and decompressed bytes per second. For the
// Brotli stores the same chunks are also run through bare Brotli decompression, the floor that
// any decoder of the layout pays; the decoder should stay close to it.
#include <lumaro/core/BrotliDecode.h>
#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/NodeChunk.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

const std::filesystem::path potreeDir = std::filesystem::path(LUMARO_TEST_DATA_DIR) / "potree2";

// Every node of a store with points, with its chunk read into memory once.
struct LoadedStore {
    explicit LoadedStore(const std::string& name)
        : tree(std::make_shared<PoTree::PotreeTree>(PoTree::FileSystemLocation(potreeDir / name)))
    {
        const std::string octree = Core::readLocalFile(tree->loader().octreePath());
        for (const auto& node : tree->allNodes()) {
            if (node->pointCount == 0 || node->byteSize == 0)
                continue;
            nodes.push_back(node);
            chunks.push_back(octree.substr(node->byteOffset, node->byteSize));
            points += node->pointCount;
            decodedBytes += std::uint64_t(node->pointCount) * tree->metadata().bytesPerPoint();
        }
    }

    std::shared_ptr<PoTree::PotreeTree> tree;
    std::vector<std::shared_ptr<const PoTree::Node>> nodes;
    std::vector<std::string> chunks;
    std::uint64_t points = 0;
    std::uint64_t decodedBytes = 0;
};

const LoadedStore& store(const std::string& name)
{
    static std::map<std::string, std::unique_ptr<LoadedStore>> stores;
    auto& entry = stores[name];
    if (!entry)
        entry = std::make_unique<LoadedStore>(name);
    return *entry;
}

void report(benchmark::State& state, const LoadedStore& loaded)
{
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * loaded.points));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * loaded.decodedBytes));
}

void bareBrotli(benchmark::State& state, const std::string& name)
{
    const auto& loaded = store(name);
    std::string decoded;
    for (auto _ : state) {
        for (std::size_t i = 0; i < loaded.nodes.size(); ++i) {
            decoded.resize(std::size_t(loaded.nodes[i]->pointCount) * loaded.tree->metadata().bytesPerPoint());
            Core::brotliDecodeExact(loaded.chunks[i],
                                    std::as_writable_bytes(std::span(decoded.data(), decoded.size())));
            benchmark::DoNotOptimize(decoded.data());
        }
    }
    report(state, loaded);
}

// decodeNodeChunk's work on chunks in memory: decompression and all columns.
void columns(benchmark::State& state, const std::string& name)
{
    const auto& loaded = store(name);
    PoTree::AllNodeColumns decoded;
    const PoTree::NodeColumns wanted = decoded.columns();
    for (auto _ : state) {
        for (std::size_t i = 0; i < loaded.nodes.size(); ++i) {
            std::size_t count = 0;
            PoTree::decodeNodeChunkBytes(loaded.chunks[i], loaded.tree->metadata(), *loaded.nodes[i], wanted, count,
                                         "octree.bin");
            benchmark::DoNotOptimize(decoded.positions.data());
        }
    }
    report(state, loaded);
}

// The whole path the renderer takes: file read, decoding, model coordinates and 8-bit colours.
void nodePointData(benchmark::State& state, const std::string& name)
{
    const auto& loaded = store(name);
    for (auto _ : state) {
        for (const auto& node : loaded.nodes) {
            benchmark::DoNotOptimize(loaded.tree->nodePointData(node->id, std::stop_token()));
        }
    }
    report(state, loaded);
}

BENCHMARK_CAPTURE(bareBrotli, autzen, std::string("autzen_trim-brotli"))
    ->Name("PotreeDecode/autzen_brotli/bare_brotli")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(columns, autzen, std::string("autzen_trim-brotli"))
    ->Name("PotreeDecode/autzen_brotli/decodeNodeChunk")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, autzen, std::string("autzen_trim-brotli"))
    ->Name("PotreeDecode/autzen_brotli/nodePointData")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(bareBrotli, warsaw, std::string("warsaw_small-brotli"))
    ->Name("PotreeDecode/warsaw_brotli/bare_brotli")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(columns, warsaw, std::string("warsaw_small-brotli"))
    ->Name("PotreeDecode/warsaw_brotli/decodeNodeChunk")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, warsaw, std::string("warsaw_small-brotli"))
    ->Name("PotreeDecode/warsaw_brotli/nodePointData")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, warsawDefault, std::string("warsaw_small-default"))
    ->Name("PotreeDecode/warsaw_default/nodePointData")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, test14Default, std::string("test1_4-default"))
    ->Name("PotreeDecode/test1_4_default/nodePointData")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(nodePointData, test14Brotli, std::string("test1_4-brotli"))
    ->Name("PotreeDecode/test1_4_brotli/nodePointData")
    ->Unit(benchmark::kMillisecond);

} // namespace
