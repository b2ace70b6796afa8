// Indexing speed, LAS and LAZ files into COPC files, in points per second, on every core, beside
// the floor of that work measured in the same run: LASzip alone compressing the same points (what
// every point costs in the output) and decompressing them (what every point of a LAZ input costs),
// each on one core. Inputs: the test data's autzen_trim.las (110,000 points, real) and a synthetic
// LAS 1.4 format 7 ground of LUMARO_INDEX_BENCH_POINTS points (default 4,000,000) with its LAZ twin.
#include <lumaro/indexer/Indexer.h>
#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <benchmark/benchmark.h>

// LASzip's header declares its stream functions with unqualified std names after a
// using-directive, so it stays confined to this file.
#include <laszip/laszip_api.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

const std::filesystem::path testData(LUMARO_TEST_DATA_DIR);

class Laszip {
public:
    Laszip() { laszip_create(&mHandle); }
    ~Laszip() { laszip_destroy(mHandle); }
    Laszip(const Laszip&) = delete;
    Laszip& operator=(const Laszip&) = delete;
    laszip_POINTER get() const { return mHandle; }
    void check(laszip_I32 status) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(mHandle, &message);
            throw std::runtime_error(std::string("LASzip: ") + (message ? message : "failed"));
        }
    }

private:
    laszip_POINTER mHandle = nullptr;
};

// Reads every point of `input` with LASzip and, when `output` is given, writes them compressed
// into it: LASzip alone, on one thread. Returns the number of points.
std::uint64_t copyWithLaszip(const std::filesystem::path& input, std::ostream* output)
{
    Laszip reader;
    std::ifstream in(input, std::ios::binary);
    laszip_BOOL compressed = 0;
    reader.check(laszip_open_reader_stream(reader.get(), in, &compressed));
    laszip_header* header = nullptr;
    reader.check(laszip_get_header_pointer(reader.get(), &header));
    laszip_point* point = nullptr;
    reader.check(laszip_get_point_pointer(reader.get(), &point));
    const std::uint64_t count =
        header->number_of_point_records ? header->number_of_point_records : header->extended_number_of_point_records;
    Laszip writer;
    laszip_point* written = nullptr;
    if (output) {
        writer.check(laszip_set_header(writer.get(), header));
        writer.check(laszip_request_native_extension(writer.get(), 1));
        writer.check(laszip_open_writer_stream(writer.get(), *output, 1, 0));
        writer.check(laszip_get_point_pointer(writer.get(), &written));
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        reader.check(laszip_read_point(reader.get()));
        if (output) {
            writer.check(laszip_set_point(writer.get(), point));
            writer.check(laszip_write_point(writer.get()));
        }
    }
    if (output) {
        writer.check(laszip_close_writer(writer.get()));
    }
    reader.check(laszip_close_reader(reader.get()));
    return count;
}

struct SyntheticInputs {
    TestSupport::TemporaryFolder folder;
    std::filesystem::path las;
    std::filesystem::path laz;
    std::uint64_t points = 0;

    SyntheticInputs()
    {
        const char* wanted = std::getenv("LUMARO_INDEX_BENCH_POINTS");
        points = wanted ? std::strtoull(wanted, nullptr, 10) : 4000000;
        las = folder.path() / "synthetic.las";
        laz = folder.path() / "synthetic.laz";
        TestSupport::SyntheticLas recipe;
        recipe.minor = 4;
        recipe.format = 7;
        TestSupport::writeSyntheticLas(las, recipe, points);
        std::ofstream out(laz, std::ios::binary);
        copyWithLaszip(las, &out);
    }
};

SyntheticInputs& synthetic()
{
    static SyntheticInputs inputs;
    return inputs;
}

void indexFile(benchmark::State& state, const std::filesystem::path& input, std::uint64_t points)
{
    const TestSupport::TemporaryFolder folder;
    for (auto _ : state) {
        Index::indexToCopc({input}, folder.path() / "out.copc.laz");
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * points));
    state.counters["threads"] = std::thread::hardware_concurrency();
}

void IndexLasToCopcReal(benchmark::State& state)
{
    indexFile(state, testData / "las" / "autzen_trim.las", 110000);
}
void IndexLasToCopcSynthetic(benchmark::State& state)
{
    indexFile(state, synthetic().las, synthetic().points);
}
void IndexLazToCopcSynthetic(benchmark::State& state)
{
    indexFile(state, synthetic().laz, synthetic().points);
}

void IndexFloorLaszipCompressSynthetic(benchmark::State& state)
{
    for (auto _ : state) {
        std::ostringstream sink(std::ios::binary);
        copyWithLaszip(synthetic().las, &sink);
        benchmark::DoNotOptimize(sink.tellp());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * synthetic().points));
}

void IndexFloorLaszipDecompressSynthetic(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(copyWithLaszip(synthetic().laz, nullptr));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * synthetic().points));
}

} // namespace

BENCHMARK(IndexLasToCopcReal)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(IndexLasToCopcSynthetic)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK(IndexLazToCopcSynthetic)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK(IndexFloorLaszipCompressSynthetic)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK(IndexFloorLaszipDecompressSynthetic)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
