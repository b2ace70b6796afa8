#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace Index {

// The stages of indexing, in order. Reading: the inputs are read, decompressed and spread over
// temporary files by region. Indexing: each region's octree is built, thinned level by level and
// its nodes compressed into the output. Writing: the hierarchy and header are written.
enum class Phase {
    Reading,
    Indexing,
    Writing
};

std::string_view phaseName(Phase phase);

struct Progress {
    Phase phase = Phase::Reading;
    double fraction = 0; // of the phase, 0 to 1
};

struct IndexOptions {
    // Worker threads; 0 uses every core.
    unsigned threads = 0;
    // The most memory the indexer's buffers hold at once, in MiB (at least MIN_MEMORY_LIMIT_MIB).
    std::size_t memoryLimitMiB = 1024;
    // Where temporary files go (a folder of their own is made inside); empty: beside the output.
    std::filesystem::path temporaryFolder;
    // The most points a node holds (a leaf before it is split, an inner node's sample); smaller
    // when the memory limit needs it.
    std::size_t maxNodePoints = 100000;
    // Hears, from the calling thread, what is carried over incompletely (waveform packets,
    // coordinate systems given only as GeoTIFF keys, differing coordinate systems).
    std::function<void(const std::string&)> warning;

    static constexpr std::size_t MIN_MEMORY_LIMIT_MIB = 32;
};

struct IndexReport {
    std::uint64_t points = 0;
    std::size_t nodes = 0;
    unsigned pointFormat = 0;
    unsigned threads = 0;
    std::size_t maxNodePoints = 0;
    // The memory limit and the most the indexer's buffers held at once, in bytes: the budget's
    // own accounting, which bounds every large buffer.
    std::uint64_t memoryLimitBytes = 0;
    std::uint64_t peakAccountedBytes = 0;
};

// Turns LAS and LAZ files (LAS 1.0 to 1.4, point formats 0 to 10) into one COPC 1.0 file: LAS 1.4
// with point format 6, 7 or 8, one LASzip chunk per octree node, every input point exactly once.
// The output is written under a temporary name beside `output` and renamed when complete;
// temporary files are removed at the end, on failure and on stop. `progress` is called from the
// calling thread a few times a second.
//
// Throws std::invalid_argument for bad options, std::runtime_error naming the file and the
// problem for a missing, damaged or unsupported input or inputs that cannot share a point format
// or coordinate grid, and Octree::OperationCancelled when `stop` is requested; in every case no
// file is left under the output's name.
IndexReport indexToCopc(const std::vector<std::filesystem::path>& inputs, const std::filesystem::path& output,
                        const IndexOptions& options = {}, const std::function<void(const Progress&)>& progress = {},
                        std::stop_token stop = {});

} // namespace Index
