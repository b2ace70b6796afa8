#include <lumaro/octree/potree/PointCodes.h>

#include <cmath>

namespace PoTree {

namespace {

// Gathers bits 0, 3, 6, ... of `word` into the low bits of the result.
std::uint32_t everyThirdBit(std::uint64_t word)
{
    word &= 0x1249249249249249ull;
    word = (word ^ (word >> 2)) & 0x10C30C30C30C30C3ull;
    word = (word ^ (word >> 4)) & 0x100F00F00F00F00Full;
    word = (word ^ (word >> 8)) & 0x001F0000FF0000FFull;
    word = (word ^ (word >> 16)) & 0x001F00000000FFFFull;
    word = (word ^ (word >> 32)) & 0x00000000001FFFFFull;
    return static_cast<std::uint32_t>(word & 0xFFFFu);
}

} // namespace

std::array<std::uint32_t, 3> decodePositionCode(const PositionCode& code)
{
    std::array<std::uint32_t, 3> result{};
    for (unsigned axis = 0; axis < 3; ++axis) {
        result[axis] = everyThirdBit(code.high >> axis) << 16 | everyThirdBit(code.low >> axis);
    }
    return result;
}

std::array<std::uint16_t, 3> decodeColorCode(std::uint64_t code)
{
    return {static_cast<std::uint16_t>(everyThirdBit(code)), static_cast<std::uint16_t>(everyThirdBit(code >> 1)),
            static_cast<std::uint16_t>(everyThirdBit(code >> 2))};
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
