#pragma once

#include <lumaro/octree/potree/PointCodes.h>

#include <array>
#include <cstdint>

// The bit de-interleaving behind PointCodes.h, inline so that loops over whole columns pay no
// call per point.
namespace PoTree::Deinterleave {

// Codes are de-interleaved twelve bits at a time: four bits of each of the three coordinates.
// An entry holds them in three 16-bit lanes (x at bit 0, y at bit 16, z at bit 32), so the four
// lookups of a 48-bit word only need shifting into place. A table beats bit-twiddling by about
// three times and keeps position decoding well below the cost of decompression.
constexpr std::array<std::uint64_t, 4096> makeTable()
{
    std::array<std::uint64_t, 4096> table{};
    for (std::uint64_t bits = 0; bits < table.size(); ++bits) {
        std::uint64_t entry = 0;
        for (unsigned k = 0; k < 4; ++k) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                entry |= (bits >> (3 * k + axis) & 1u) << (16 * axis + k);
            }
        }
        table[bits] = entry;
    }
    return table;
}

inline constexpr std::array<std::uint64_t, 4096> table = makeTable();

// The three 16-bit values interleaved in bits 0-47 of `word`, in lanes as above.
inline std::uint64_t lanes(std::uint64_t word)
{
    return table[word & 0xFFFu] | table[word >> 12 & 0xFFFu] << 4 | table[word >> 24 & 0xFFFu] << 8
        | table[word >> 36 & 0xFFFu] << 12;
}

inline std::uint32_t lane(std::uint64_t word, unsigned axis)
{
    return static_cast<std::uint32_t>(word >> (16 * axis) & 0xFFFFu);
}

inline std::array<std::uint32_t, 3> position(const PositionCode& code)
{
    const std::uint64_t low = lanes(code.low);
    const std::uint64_t high = lanes(code.high);
    return {lane(high, 0) << 16 | lane(low, 0), lane(high, 1) << 16 | lane(low, 1), lane(high, 2) << 16 | lane(low, 2)};
}

inline std::array<std::uint16_t, 3> color(std::uint64_t code)
{
    const std::uint64_t all = lanes(code);
    return {static_cast<std::uint16_t>(lane(all, 0)), static_cast<std::uint16_t>(lane(all, 1)),
            static_cast<std::uint16_t>(lane(all, 2))};
}

} // namespace PoTree::Deinterleave
