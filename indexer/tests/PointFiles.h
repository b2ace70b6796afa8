#pragma once

// Independent readers for the indexer's tests: the source LAS files read by hand from the byte
// layouts of the LAS format, and the COPC output read back whole by LASzip.
#include <array>
#include <compare>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace IndexTest {

// A point as the output should hold it: coordinates on the output's grid, the fields of LAS 1.4
// formats 6 to 8 and the extra bytes.
struct Point {
    std::array<std::int64_t, 3> xyz{};
    std::uint16_t intensity = 0;
    unsigned returnNumber = 0;
    unsigned returnCount = 0;
    unsigned classFlags = 0; // synthetic, key-point, withheld, overlap
    unsigned channel = 0;
    unsigned scanDirection = 0;
    unsigned edge = 0;
    unsigned classification = 0;
    unsigned userData = 0;
    std::int16_t scanAngle = 0; // 0.006 degree steps
    std::uint16_t pointSource = 0;
    double gpsTime = 0;
    std::array<std::uint16_t, 4> colorAndNir{};
    std::string extraBytes;

    friend auto operator<=>(const Point&, const Point&) = default;
};

struct Grid {
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
};

// Every point of a LAS file (formats 0 to 10, uncompressed), its coordinates put on `grid` from
// their real values.
std::vector<Point> readLasPoints(const std::filesystem::path& file, const Grid& grid);
Grid lasGrid(const std::filesystem::path& file);

// The coordinate system a LAS or COPC file gives as WKT in a variable-length record; empty when none.
std::string wktOf(const std::filesystem::path& file);

struct CopcFacts {
    Grid grid;
    unsigned format = 0;
    std::uint64_t headerCount = 0;
    std::array<double, 3> headerMinimum{};
    std::array<double, 3> headerMaximum{};
    std::array<std::uint64_t, 15> headerByReturn{};
    double gpsMinimum = 0; // the COPC info record's
    double gpsMaximum = 0;
    std::vector<Point> points; // in file order
};

// Reads the whole COPC file as an ordinary LAZ file with LASzip, which needs the chunk table.
CopcFacts readCopcWithLaszip(const std::filesystem::path& file);

} // namespace IndexTest
