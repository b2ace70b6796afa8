#pragma once

#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/RawPoints.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace Octree {

// How stored integers become model coordinates: (integer x scale + offset - origin) x unitScale,
// with the origin (the reference position before scaling) subtracted in double precision.
struct ModelTransform {
    std::array<double, 3> scale;
    std::array<double, 3> offsetFromOrigin;
    double unitScale;

    // The model coordinate of a stored integer on `axis`; every decoder goes through here so
    // that all paths round identically.
    float toModel(std::int64_t value, int axis) const
    {
        return static_cast<float>((double(value) * scale[axis] + offsetFromOrigin[axis]) * unitScale);
    }
};

// A stored colour as the renderer's 8 bits per channel: shifted down by `shift` (8 for 16-bit
// colours, else 0), saturated, alpha 255.
inline Math::Color toEightBitColor(const std::array<std::uint16_t, 3>& stored, unsigned shift)
{
    auto channel = [&](int c) { return static_cast<std::uint8_t>(std::min<unsigned>(stored[c] >> shift, 255u)); };
    return Math::Color(channel(0), channel(1), channel(2), 255);
}

// Builds the renderer's point data: positions in model coordinates, colours brought to 8 bits
// by dividing by 256 when `colorsAre16Bit`, alpha 255.
NodePointData toNodePointData(const RawPoints& raw, const ModelTransform& transform, bool colorsAre16Bit);

} // namespace Octree
