#pragma once

#include <array>
#include <cstdint>

namespace PoTree {

// A point's position in the Brotli layout: its three integer coordinates bit-interleaved (x, y, z
// from bit 0 up), the low 16 bits of each in `low`, the high 16 bits in `high`. Bytes 0-7 of the
// record hold `high`, bytes 8-15 `low`, both little-endian.
struct PositionCode {
    std::uint64_t high;
    std::uint64_t low;
};
static_assert(sizeof(PositionCode) == 16);

// The coordinates stored in a position code. The converter writes the quantised coordinate plus
// one, so (code - 1) x scale + offset gives the same coordinates as the DEFAULT layout.
std::array<std::uint32_t, 3> decodePositionCode(const PositionCode& code);

// The 16-bit red, green and blue interleaved in a colour code (bit k of red at bit 3k).
std::array<std::uint16_t, 3> decodeColorCode(std::uint64_t code);

// Unit normal from its octahedral encoding: the first byte holds u, the second v, each mapped
// from 0..255 to -1..1.
std::array<float, 3> decodeOctahedralNormal(std::uint16_t code);

} // namespace PoTree
