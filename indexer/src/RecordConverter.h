#pragma once

#include "PointRecord.h"

#include <array>
#include <cstdint>
#include <string>

struct laszip_point;

namespace Index {

// Turns an input's points into output records: its own grid onto the output's (an integer factor
// and shift per axis), legacy formats 0 to 5 into the fields of format 6 to 8 (3-bit returns into
// 4 bits, the class flags into their own byte, the scan angle rank into 0.006 degree steps), and
// its extra bytes carried over. Waveform packets are not carried.
class RecordConverter {
public:
    struct GridChange {
        std::array<std::int64_t, 3> factor{1, 1, 1};
        std::array<std::int64_t, 3> shift{};
    };

    RecordConverter(unsigned inputFormat, std::size_t inputRecordLength, const PointLayout& output, GridChange grid,
                    std::string file);

    // `record` is an uncompressed LAS record of the input's format; `index` counts points from
    // the start of the file for messages. Throws std::runtime_error naming the file and the point
    // when its coordinates do not fit the output's grid.
    void fromLas(const char* record, char* out, std::uint64_t index) const;
    // The same for a point LASzip decompressed.
    void fromLaszip(const laszip_point& point, char* out, std::uint64_t index) const;

private:
    void storePosition(std::int64_t x, std::int64_t y, std::int64_t z, char* out, std::uint64_t index) const;
    void storeFields(std::uint16_t intensity, unsigned returnNumber, unsigned returnCount, unsigned classFlags,
                     unsigned channel, unsigned direction, unsigned edge, std::uint8_t classification,
                     std::uint8_t userData, std::int16_t scanAngle, std::uint16_t pointSource, double gpsTime,
                     char* out) const;

    unsigned mFormat;
    std::size_t mInputLength;
    std::size_t mInputExtraAt;
    PointLayout mOutput;
    GridChange mGrid;
    std::string mFile;
};

} // namespace Index
