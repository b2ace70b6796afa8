#include <lumaro/octree/potree/PointCodes.h>

#include "Deinterleave.h"

#include <cmath>

namespace PoTree {

std::array<std::uint32_t, 3> decodePositionCode(const PositionCode& code)
{
    return Deinterleave::position(code);
}

std::array<std::uint16_t, 3> decodeColorCode(std::uint64_t code)
{
    return Deinterleave::color(code);
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
