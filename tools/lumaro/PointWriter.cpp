#include "PointWriter.h"

#include <lumaro/octree/StorePoints.h>

#include <array>
#include <charconv>
#include <string>
#include <vector>

namespace Tool {

namespace {

// Shortest text that reads back as the same double.
void appendNumber(std::string& line, double value)
{
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    line.append(buffer, result.ptr);
}

void appendInteger(std::string& line, unsigned value)
{
    line += ' ';
    line += std::to_string(value);
}

} // namespace

void writePointLine(const PointLine& point, std::ostream& out, std::string& line)
{
    line.clear();
    for (int axis = 0; axis < 3; ++axis) {
        if (axis > 0)
            line += ' ';
        appendNumber(line, point.world[axis]);
    }
    for (const unsigned channel : point.color)
        appendInteger(line, channel);
    appendInteger(line, point.intensity);
    appendInteger(line, point.classification);
    line += '\n';
    out << line;
}

PointLine pointLine(const Octree::StorePoints& points, std::size_t i)
{
    PointLine point{};
    point.world = points.positions[i];
    if (!points.colors.empty())
        point.color = {points.colors[i][0], points.colors[i][1], points.colors[i][2]};
    if (!points.intensities.empty())
        point.intensity = points.intensities[i];
    if (!points.classifications.empty())
        point.classification = points.classifications[i];
    return point;
}

std::size_t writePoints(const Octree::Octree& tree, std::size_t maxLevel, std::ostream& out)
{
    std::string line;
    std::size_t written = 0;
    std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        const Octree::OctreeNodeId node = pending.back();
        pending.pop_back();
        const auto points = Octree::storePoints(tree, node, std::stop_token());
        for (std::size_t i = 0; i < points->size(); ++i)
            writePointLine(pointLine(*points, i), out, line);
        written += points->size();
        if (node.level() < maxLevel) {
            const auto children = tree.children(node);
            pending.insert(pending.end(), children.rbegin(), children.rend());
        }
    }
    return written;
}

} // namespace Tool
