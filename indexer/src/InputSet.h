#pragma once

#include "LasHeader.h"
#include "PointRecord.h"
#include "RecordConverter.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Index {

struct InputFile {
    std::filesystem::path path;
    std::string name; // as messages show it
    std::uint64_t size = 0;
    LasHeader header;
    RecordConverter::GridChange grid;
    // The bounds its header gives, on the output's grid.
    std::array<std::int64_t, 3> lowest{};
    std::array<std::int64_t, 3> highest{};

    bool holds(const char* record) const
    {
        for (int axis = 0; axis < 3; ++axis) {
            const std::int64_t value = loadField<std::int32_t>(record, 4 * axis);
            if (value < lowest[axis] || value > highest[axis]) {
                return false;
            }
        }
        return true;
    }
};

// The octree's cube: a corner and one edge for all three axes, in real coordinates.
struct Cube {
    std::array<double, 3> minimum{};
    double edge = 1.0;
};

// The inputs taken together: their headers read and checked, and what the output becomes: one
// point layout (format 6, 7 or 8 as the inputs' colours and near infrared need, their extra
// bytes), one coordinate grid that represents every input's points exactly, a cube around all of
// them and the coordinate system.
struct InputSet {
    std::vector<InputFile> files;
    PointLayout layout;
    std::string extraBytesRecord;
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    Cube cube;
    std::uint64_t pointCount = 0;
    std::uint16_t globalEncoding = 0;
    std::string wkt;

    // Throws std::runtime_error naming the file and the problem for a missing, unreadable or
    // damaged input and for inputs that cannot share a point format or a grid; `warn` hears what
    // is carried over incompletely (waveforms, coordinate systems).
    static InputSet open(const std::vector<std::filesystem::path>& paths,
                         const std::function<void(const std::string&)>& warn);
};

} // namespace Index
