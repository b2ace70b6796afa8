#pragma once

#include <array>
#include <cstddef>
#include <filesystem>

namespace TestSupport {

// An uncompressed LAS file of points written by hand in `format` (0 to 10), LAS 1.`minor`, for
// the indexer's tests and benchmarks.
struct SyntheticLas {
    unsigned minor = 2;
    unsigned format = 3;
    std::array<double, 3> scale{0.01, 0.01, 0.01};
    std::array<double, 3> offset{};
    std::size_t extraBytes = 0;
};
// Point i gets values derived from i (positions on a w x w ground grid with wavy heights,
// returns, classes, flags, angles, times, colours) within what `format` holds.
void writeSyntheticLas(const std::filesystem::path& file, const SyntheticLas& recipe, std::size_t count);

} // namespace TestSupport
