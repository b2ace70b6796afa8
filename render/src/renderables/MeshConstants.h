#pragma once

#include <lumaro/render/core/ClippingPlanes.h>

#include <cstddef>

namespace Render {

// cbPerFrameConstants of "shaders/mesh.hlsl" (register b0), byte for byte (288 bytes). Matrices
// are column-major, as Eigen keeps them and as HLSL packs a float4x4 by default.
struct MeshConstants {
    float modelMatrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float viewProjectionMatrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float clippingPlanes[maxClippingPlanes][4] = {}; // world coordinates; a zero plane keeps every pixel
    float unitScale = 1.0f;
    float cameraPosition[3] = {};
    float lightPos[3] = {0.0f, 0.0f, 20.0f}; // carried, not used by the shading
    float padding = 0.0f;
};

static_assert(offsetof(MeshConstants, modelMatrix) == 0);
static_assert(offsetof(MeshConstants, viewProjectionMatrix) == 64);
static_assert(offsetof(MeshConstants, clippingPlanes) == 128);
static_assert(offsetof(MeshConstants, unitScale) == 256);
static_assert(offsetof(MeshConstants, cameraPosition) == 260);
static_assert(offsetof(MeshConstants, lightPos) == 272);
static_assert(sizeof(MeshConstants) == 288);

} // namespace Render
