#pragma once

#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/RawPoints.h>

#include <array>

namespace Octree {

// How stored integers become model coordinates: (integer x scale + offset - origin) x unitScale,
// with the origin (the reference position before scaling) subtracted in double precision.
struct ModelTransform {
    std::array<double, 3> scale;
    std::array<double, 3> offsetFromOrigin;
    double unitScale;
};

// Builds the renderer's point data: positions in model coordinates, colours brought to 8 bits
// by dividing by 256 when `colorsAre16Bit`, alpha 255.
NodePointData toNodePointData(const RawPoints& raw, const ModelTransform& transform, bool colorsAre16Bit);

} // namespace Octree
