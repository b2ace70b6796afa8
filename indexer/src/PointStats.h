#pragma once

#include "PointRecord.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace Index {

// What the output's header and COPC record say about all points: their bounds on the grid, their
// GPS time range and how many there are of each return number.
struct PointStats {
    std::array<std::int32_t, 3> minimum{std::numeric_limits<std::int32_t>::max(),
                                        std::numeric_limits<std::int32_t>::max(),
                                        std::numeric_limits<std::int32_t>::max()};
    std::array<std::int32_t, 3> maximum{std::numeric_limits<std::int32_t>::min(),
                                        std::numeric_limits<std::int32_t>::min(),
                                        std::numeric_limits<std::int32_t>::min()};
    double gpsTimeMinimum = std::numeric_limits<double>::max();
    double gpsTimeMaximum = std::numeric_limits<double>::lowest();
    std::array<std::uint64_t, 15> byReturn{};
    std::uint64_t count = 0;

    void add(const char* record)
    {
        for (int axis = 0; axis < 3; ++axis) {
            const auto value = loadField<std::int32_t>(record, 4 * axis);
            minimum[axis] = std::min(minimum[axis], value);
            maximum[axis] = std::max(maximum[axis], value);
        }
        const auto gpsTime = loadField<double>(record, RecordField::GPS_TIME);
        gpsTimeMinimum = std::min(gpsTimeMinimum, gpsTime);
        gpsTimeMaximum = std::max(gpsTimeMaximum, gpsTime);
        const unsigned returnNumber = static_cast<unsigned char>(record[RecordField::RETURNS]) & 15u;
        if (returnNumber >= 1) {
            ++byReturn[returnNumber - 1];
        }
        ++count;
    }

    void merge(const PointStats& other)
    {
        for (int axis = 0; axis < 3; ++axis) {
            minimum[axis] = std::min(minimum[axis], other.minimum[axis]);
            maximum[axis] = std::max(maximum[axis], other.maximum[axis]);
        }
        gpsTimeMinimum = std::min(gpsTimeMinimum, other.gpsTimeMinimum);
        gpsTimeMaximum = std::max(gpsTimeMaximum, other.gpsTimeMaximum);
        for (std::size_t r = 0; r < byReturn.size(); ++r) {
            byReturn[r] += other.byReturn[r];
        }
        count += other.count;
    }
};

} // namespace Index
