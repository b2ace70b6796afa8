#pragma once

#include <lumaro/octree/Octree.h>

#include <nlohmann/json.hpp>

namespace Tool {

// The facts of a store as JSON: counts, levels, boxes, spacing, and for Potree stores also
// scale, offset, encoding and attributes. Key names follow the reference facts files of the
// test data, so the two can be compared directly.
nlohmann::json storeInfo(const Octree::Octree& tree);

} // namespace Tool
