#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace TestSupport {

// The parts of a LAS point that a Potree store keeps and that the tests compare.
struct LasPoint {
    std::array<double, 3> position; // world coordinates
    std::uint16_t intensity = 0;
    std::uint8_t classification = 0; // class number only
    std::array<std::uint16_t, 3> color{0, 0, 0};
};

struct LasFile {
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    bool hasColor = false;
    std::vector<LasPoint> points;
};

// Reads LAS 1.2 to 1.4 files with point formats 0 to 3, 6 and 7 (enough for the test data).
LasFile readLas(const std::filesystem::path& file);

// Reads a LAS or LAZ file through LASzip (any point format; the class is the extended one for
// formats 6 and above). Windows test programs that link the DLL take LASzip from here: the DLL
// exports the LASzip functions it links, so a test's own calls would find two of each.
LasFile readLaz(const std::filesystem::path& file);

} // namespace TestSupport
