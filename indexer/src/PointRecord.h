#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Index {

// The output's point records: LAS 1.4 formats 6, 7 or 8 and the inputs' extra bytes. Points
// travel through the indexer in this form, as the bytes of an uncompressed record.
struct PointLayout {
    unsigned format = 6;
    std::size_t extraBytes = 0;

    std::size_t coreLength() const { return format == 6 ? 30 : format == 7 ? 36 : 38; }
    std::size_t recordLength() const { return coreLength() + extraBytes; }
    friend bool operator==(const PointLayout&, const PointLayout&) = default;
};

// Byte offsets of the fields of a format 6 to 8 record.
namespace RecordField {
constexpr std::size_t X = 0;
constexpr std::size_t INTENSITY = 12;
constexpr std::size_t RETURNS = 14; // return number (bits 0-3), number of returns (4-7)
constexpr std::size_t FLAGS = 15; // class flags (0-3), scanner channel (4-5), scan direction (6), edge (7)
constexpr std::size_t CLASSIFICATION = 16;
constexpr std::size_t USER_DATA = 17;
constexpr std::size_t SCAN_ANGLE = 18; // int16 in steps of 0.006 degrees
constexpr std::size_t POINT_SOURCE = 20;
constexpr std::size_t GPS_TIME = 22;
constexpr std::size_t RGB = 30;
constexpr std::size_t NIR = 36;
} // namespace RecordField

template <typename T>
T loadField(const char* record, std::size_t at)
{
    T value;
    std::memcpy(&value, record + at, sizeof(T));
    return value;
}

template <typename T>
void storeField(char* record, std::size_t at, T value)
{
    std::memcpy(record + at, &value, sizeof(T));
}

inline std::array<std::int32_t, 3> recordPosition(const char* record)
{
    std::array<std::int32_t, 3> position;
    std::memcpy(position.data(), record, 12);
    return position;
}

// A legacy scan angle rank (whole degrees) in the 0.006 degree steps of formats 6 to 10.
inline std::int16_t scanAngleOfRank(std::int8_t rank)
{
    const double steps = rank / 0.006;
    return static_cast<std::int16_t>(steps < 0 ? steps - 0.5 : steps + 0.5);
}

} // namespace Index
