#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/StorePoints.h>

#include <array>
#include <cstddef>
#include <ostream>
#include <string>

namespace Tool {

// One line of a point text file: "x y z red green blue intensity classification", coordinates in
// the store's world units with enough digits to read back the same double, colours as the store
// holds them (16-bit LAS values in Potree, EPT and COPC stores), 0 for attributes it lacks.
struct PointLine {
    std::array<double, 3> world;
    std::array<unsigned, 3> color;
    unsigned intensity;
    unsigned classification;
};

// Point i of a node's points as a line.
PointLine pointLine(const Octree::StorePoints& points, std::size_t i);

// Writes the line to `out`; `line` is the caller's buffer, reused between lines.
void writePointLine(const PointLine& point, std::ostream& out, std::string& line);

// Writes every point of the nodes down to `maxLevel` as lines. Returns the number of points written.
std::size_t writePoints(const Octree::Octree& tree, std::size_t maxLevel, std::ostream& out);

} // namespace Tool
