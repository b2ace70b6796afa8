#pragma once

#include <lumaro/octree/RawPoints.h>

#include <array>

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

} // namespace Entwine
