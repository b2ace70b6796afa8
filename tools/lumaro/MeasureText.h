#pragma once

#include <lumaro/math/Point.h>
#include <lumaro/math/Polygon.h>
#include <lumaro/measure/RegionReader.h>

#include <string>
#include <vector>

namespace Tool {

// The texts of the measuring commands: places in plan and the stores they measure.

// "X,Y": a point in plan in the stores' coordinates. Throws std::invalid_argument naming `what`.
Math::Point<double, 2> parsePlanPoint(const std::string& text, const std::string& what);

// "X1,Y1,X2,Y2,...": a polygon in plan of at least three corners that does not cross itself.
// Throws std::invalid_argument naming `what` and the problem.
Math::Polygon parsePolygon(const std::string& text, const std::string& what);

// The stores of a measurement, each opened at its own unit scale (1): their coordinates are the
// site's. Throws what opening throws, naming the store.
Measure::Stores openStores(const std::vector<std::string>& stores);

} // namespace Tool
