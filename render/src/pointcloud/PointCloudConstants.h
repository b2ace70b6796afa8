#pragma once

#include <lumaro/render/core/ClippingPlanes.h>

#include "gpu/StoreMatrix.h"

#include <Eigen/Core>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Render {

// cbPerFrame of "shaders/pointcloud.hlsl" (register b0), byte for byte. Matrices are stored
// column-major, as Eigen keeps them and as HLSL packs a float4x4 by default, so mul(m, v) in the
// shader is m · v here.
struct PointCloudFrameConstants {
    float model[16];
    float invModel[16];
    float view[16];
    float proj[16];
    float modelViewProj[16];
    float invModelViewProj[16];
    float invViewProj[16];
    float clippingPlanes[maxClippingPlanes][4]; // model coordinates; unused planes are zero and keep every point
    float uniformColor[4];
    float tomographicColor[4];
    float distancePlane[4]; // world coordinates
    float nearPlane;
    float farPlane;
    float width;
    float height;
    float aspect;
    float pointSize;
    float rootNodeSize;
    float maxPointSize;
    float tomoContrast;
    float modelScale;
    float minDistance;
    float maxDistance;
    float minDistancePassFail;
    float maxDistancePassFail;
    float minDistanceWarn;
    float maxDistanceWarn;
    std::int32_t colorMap;
    std::int32_t pointRenderMode;
    std::int32_t useSignedDistance;
    std::int32_t selected;
    std::int32_t useCloudColorsInTomographicRenderModes;
    std::int32_t padding[3];
};

static_assert(offsetof(PointCloudFrameConstants, model) == 0);
static_assert(offsetof(PointCloudFrameConstants, invModel) == 64);
static_assert(offsetof(PointCloudFrameConstants, view) == 128);
static_assert(offsetof(PointCloudFrameConstants, proj) == 192);
static_assert(offsetof(PointCloudFrameConstants, modelViewProj) == 256);
static_assert(offsetof(PointCloudFrameConstants, invModelViewProj) == 320);
static_assert(offsetof(PointCloudFrameConstants, invViewProj) == 384);
static_assert(offsetof(PointCloudFrameConstants, clippingPlanes) == 448);
static_assert(offsetof(PointCloudFrameConstants, uniformColor) == 576);
static_assert(offsetof(PointCloudFrameConstants, tomographicColor) == 592);
static_assert(offsetof(PointCloudFrameConstants, distancePlane) == 608);
static_assert(offsetof(PointCloudFrameConstants, nearPlane) == 624);
static_assert(offsetof(PointCloudFrameConstants, farPlane) == 628);
static_assert(offsetof(PointCloudFrameConstants, width) == 632);
static_assert(offsetof(PointCloudFrameConstants, height) == 636);
static_assert(offsetof(PointCloudFrameConstants, aspect) == 640);
static_assert(offsetof(PointCloudFrameConstants, pointSize) == 644);
static_assert(offsetof(PointCloudFrameConstants, rootNodeSize) == 648);
static_assert(offsetof(PointCloudFrameConstants, maxPointSize) == 652);
static_assert(offsetof(PointCloudFrameConstants, tomoContrast) == 656);
static_assert(offsetof(PointCloudFrameConstants, modelScale) == 660);
static_assert(offsetof(PointCloudFrameConstants, minDistance) == 664);
static_assert(offsetof(PointCloudFrameConstants, maxDistance) == 668);
static_assert(offsetof(PointCloudFrameConstants, minDistancePassFail) == 672);
static_assert(offsetof(PointCloudFrameConstants, maxDistancePassFail) == 676);
static_assert(offsetof(PointCloudFrameConstants, minDistanceWarn) == 680);
static_assert(offsetof(PointCloudFrameConstants, maxDistanceWarn) == 684);
static_assert(offsetof(PointCloudFrameConstants, colorMap) == 688);
static_assert(offsetof(PointCloudFrameConstants, pointRenderMode) == 692);
static_assert(offsetof(PointCloudFrameConstants, useSignedDistance) == 696);
static_assert(offsetof(PointCloudFrameConstants, selected) == 700);
static_assert(offsetof(PointCloudFrameConstants, useCloudColorsInTomographicRenderModes) == 704);
static_assert(sizeof(PointCloudFrameConstants) == 720);

// cbPerOctreeNode (register b1), written before each node's draw.
struct PointCloudNodeConstants {
    float nodeMin[3];
    std::uint32_t nodeIndex;
    std::uint32_t nodeDepth;
    std::uint32_t padding[3];
};

static_assert(offsetof(PointCloudNodeConstants, nodeIndex) == 12);
static_assert(offsetof(PointCloudNodeConstants, nodeDepth) == 16);
static_assert(sizeof(PointCloudNodeConstants) == 32);

} // namespace Render
