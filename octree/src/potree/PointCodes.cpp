#include <lumaro/octree/potree/PointCodes.h>

#include <cmath>

namespace PoTree {

namespace {

// Codes are de-interleaved twelve bits at a time: four bits of each of the three coordinates.
// An entry holds them in three 16-bit lanes (x at bit 0, y at bit 16, z at bit 32), so the four
// lookups of a 48-bit word only need shifting into place. A table beats bit-twiddling by about
// three times and keeps position decoding well below the cost of decompression.
constexpr std::array<std::uint64_t, 4096> makeDeinterleaveTable()
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

constexpr std::array<std::uint64_t, 4096> deinterleaveTable = makeDeinterleaveTable();

// The three 16-bit values interleaved in bits 0-47 of `word`, in lanes as above.
inline std::uint64_t deinterleave(std::uint64_t word)
{
    return deinterleaveTable[word & 0xFFFu] | deinterleaveTable[word >> 12 & 0xFFFu] << 4
        | deinterleaveTable[word >> 24 & 0xFFFu] << 8 | deinterleaveTable[word >> 36 & 0xFFFu] << 12;
}

inline std::uint32_t lane(std::uint64_t lanes, unsigned axis)
{
    return static_cast<std::uint32_t>(lanes >> (16 * axis) & 0xFFFFu);
}

} // namespace

std::array<std::uint32_t, 3> decodePositionCode(const PositionCode& code)
{
    const std::uint64_t low = deinterleave(code.low);
    const std::uint64_t high = deinterleave(code.high);
    return {lane(high, 0) << 16 | lane(low, 0), lane(high, 1) << 16 | lane(low, 1), lane(high, 2) << 16 | lane(low, 2)};
}

std::array<std::uint16_t, 3> decodeColorCode(std::uint64_t code)
{
    const std::uint64_t lanes = deinterleave(code);
    return {static_cast<std::uint16_t>(lane(lanes, 0)), static_cast<std::uint16_t>(lane(lanes, 1)),
            static_cast<std::uint16_t>(lane(lanes, 2))};
}

std::array<float, 3> decodeOctahedralNormal(std::uint16_t code)
{
    const float u = static_cast<float>(code & 0xFFu) / 255.0f * 2.0f - 1.0f;
    const float v = static_cast<float>(code >> 8) / 255.0f * 2.0f - 1.0f;
    float x = u;
    float y = v;
    const float z = 1.0f - std::fabs(u) - std::fabs(v);
    if (z < 0.0f) {
        // Points of the lower hemisphere were folded over the diagonals; unfold them.
        x = (1.0f - std::fabs(v)) * std::copysign(1.0f, u);
        y = (1.0f - std::fabs(u)) * std::copysign(1.0f, v);
    }
    const float length = std::sqrt(x * x + y * y + z * z);
    return {x / length, y / length, z / length};
}

} // namespace PoTree
