#pragma once

#include <lumaro/octree/potree/RawPoints.h>

#include <array>

namespace Entwine {

// The points of one EPT node as stored: integer coordinates with the scale and offset that turn
// them into world coordinates (world = integer x scale + offset), which are the schema's for
// binary and zstandard data and the LAZ file's own header values for laszip data. Colours are
// the stored 16-bit values. The columns share their layout with the Potree reader's, so both
// kinds of store export and convert alike.
struct DecodedPoints {
    PoTree::RawPoints points;
    std::array<double, 3> scale{1.0, 1.0, 1.0};
    std::array<double, 3> offset{};
};

} // namespace Entwine
