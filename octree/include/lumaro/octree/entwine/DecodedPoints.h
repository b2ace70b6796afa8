#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/octree/RawPoints.h>

#include <array>
#include <string>

namespace Entwine {

// The points of one EPT node as stored: integer coordinates with the scale and offset that turn
// them into world coordinates (world = integer x scale + offset), which are the schema's for
// binary and zstandard data and the LAZ file's own header values for laszip data. Colours are
// the stored 16-bit values. The columns are those of every kind of store, so all of them export
// and convert alike.
struct DecodedPoints {
    Octree::RawPoints points;
    std::array<double, 3> scale{1.0, 1.0, 1.0};
    std::array<double, 3> offset{};
};

// Decoding garbage (a damaged LAZ stream decodes without complaint) shows as points far outside
// their node. Throws std::runtime_error led by `source` when a decoded position lies outside
// `box` (world coordinates) by more than half a quantisation step, the slack for points rounded
// onto the boundary.
void requirePointsInside(const DecodedPoints& decoded, const Math::NBoundingBox<double, 3>& box,
                         const std::string& source);

} // namespace Entwine
