#pragma once

#include <lumaro/octree/Octree.h>

#include <cstddef>
#include <ostream>

namespace Tool {

// Writes every point of the nodes down to `maxLevel`, one line each: "x y z red green blue
// intensity classification", coordinates in the store's world units with enough digits to
// read back the same double, colours as the store holds them (16-bit LAS values in Potree and EPT
// stores), 0 for attributes the store lacks. Returns the number of points written.
std::size_t writePoints(const Octree::Octree& tree, std::size_t maxLevel, std::ostream& out);

} // namespace Tool
