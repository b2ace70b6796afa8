#pragma once

#include <lumaro/render/core/ClipVolumes.h>

#include <cstddef>
#include <cstdint>

namespace Render {

// cbClipVolumes of "shaders/clipvolumes.hlsl" (register b3 of the point-cloud and mesh shaders),
// byte for byte. Matrices are column-major, as HLSL packs a float4x4 by default.
struct ClipVolumeConstants {
    // A box: world to its unit cube (-1..1 on each axis); a prism: world to its footprint's
    // frame, moved to the footprint's centroid so that floats keep their digits.
    float clipFromWorld[ClipVolumes::maxVolumes][16];
    // Per volume: kind (0 none, 1 box, 2 prism), effect (ClipEffect's order), first vertex,
    // vertex count.
    std::int32_t volumes[ClipVolumes::maxVolumes][4];
    // Per prism: bottom, top (world heights; beyond the largest float they are the largest).
    float heights[ClipVolumes::maxVolumes][4];
    // The footprints' vertices in their frames, two a register (x, y, x, y).
    float vertices[ClipVolumes::maxFootprintVertices / 2][4];
    float highlightColor[4]; // red, green, blue, how much
    std::int32_t volumeCount;
    std::int32_t padding[3];
};

static_assert(offsetof(ClipVolumeConstants, clipFromWorld) == 0);
static_assert(offsetof(ClipVolumeConstants, volumes) == 512);
static_assert(offsetof(ClipVolumeConstants, heights) == 640);
static_assert(offsetof(ClipVolumeConstants, vertices) == 768);
static_assert(offsetof(ClipVolumeConstants, highlightColor) == 1280);
static_assert(offsetof(ClipVolumeConstants, volumeCount) == 1296);
static_assert(sizeof(ClipVolumeConstants) == 1312);

// The constants of the volumes; none draws everything.
ClipVolumeConstants clipVolumeConstants(const ClipVolumes& volumes);

} // namespace Render
