#pragma once

#include <array>
#include <cstddef>

// Where the fields of a LAS point record of format 0 to 10 lie, from the record tables of the
// LAS 1.4 format: written out here for the tests, apart from the indexer's own reading of them.
namespace TestSupport::LasRecordLayout {

// Bytes per record before extra bytes.
constexpr std::array<std::size_t, 11> LENGTHS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};

inline bool hasGps(unsigned format)
{
    return format != 0 && format != 2;
}
inline bool hasRgb(unsigned format)
{
    return format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
}
inline bool hasNir(unsigned format)
{
    return format == 8 || format == 10;
}
inline std::size_t gpsAt(unsigned format)
{
    return format < 6 ? 20 : 22;
}
inline std::size_t rgbAt(unsigned format)
{
    return format == 2 ? 20 : format < 6 ? 28 : 30;
}
// The near-infrared channel follows the colour (formats 8 and 10).
constexpr std::size_t NIR_AT = 36;

} // namespace TestSupport::LasRecordLayout
