#include "PointWriter.h"

#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include <array>
#include <charconv>
#include <stdexcept>
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

struct PointLine {
    std::array<double, 3> world;
    std::array<unsigned, 3> color;
    unsigned intensity;
    unsigned classification;
};

void write(const PointLine& point, std::ostream& out, std::string& line)
{
    line.clear();
    for (int axis = 0; axis < 3; ++axis) {
        if (axis > 0) line += ' ';
        appendNumber(line, point.world[axis]);
    }
    for (const unsigned channel : point.color) appendInteger(line, channel);
    appendInteger(line, point.intensity);
    appendInteger(line, point.classification);
    line += '\n';
    out << line;
}

// Stored integers and colours, exactly: world = integer x scale + offset.
std::size_t writeRawPoints(Octree::OctreeNodeId node, const Octree::RawPoints& raw, const std::array<double, 3>& scale,
                           const std::array<double, 3>& offset, std::ostream& out, std::string& line)
{
    if (raw.positions.size() != raw.count) {
        throw std::runtime_error("node " + node.name() + " gave " + std::to_string(raw.positions.size())
                                 + " positions for " + std::to_string(raw.count)
                                 + " points; points without positions cannot be written");
    }
    for (std::size_t i = 0; i < raw.count; ++i) {
        PointLine point{};
        for (int axis = 0; axis < 3; ++axis) {
            point.world[axis] = double(raw.positions[i][axis]) * scale[axis] + offset[axis];
        }
        if (!raw.colors.empty()) point.color = {raw.colors[i][0], raw.colors[i][1], raw.colors[i][2]};
        if (!raw.intensities.empty()) point.intensity = raw.intensities[i];
        if (!raw.classifications.empty()) point.classification = raw.classifications[i];
        write(point, out, line);
    }
    return raw.count;
}

std::size_t writePotreeNode(const PoTree::PotreeTree& tree, Octree::OctreeNodeId node, std::ostream& out, std::string& line)
{
    const auto raw = tree.rawPoints(node, std::stop_token());
    return writeRawPoints(node, *raw, tree.metadata().scale, tree.metadata().offset, out, line);
}

// EPT and COPC nodes carry their own scale and offset (an EPT LAZ file's header may differ from
// the schema).
template <class Tree>
std::size_t writeDecodedNode(const Tree& tree, Octree::OctreeNodeId node, std::ostream& out, std::string& line)
{
    const auto decoded = tree.decodedPoints(node, std::stop_token());
    return writeRawPoints(node, decoded->points, decoded->scale, decoded->offset, out, line);
}

// Other kinds of store give their points through the common interface only: model coordinates
// in float and 8-bit colours.
std::size_t writeGenericNode(const Octree::Octree& tree, Octree::OctreeNodeId node, std::ostream& out, std::string& line)
{
    const auto data = tree.nodePointData(node, std::stop_token());
    const auto reference = tree.referencePosition();
    const double toStoreUnits = 1.0 / tree.unitScale();
    for (std::size_t i = 0; i < data->size(); ++i) {
        PointLine point{};
        for (int axis = 0; axis < 3; ++axis) {
            point.world[axis] = (reference[axis] + double(data->position(i)[axis])) * toStoreUnits;
        }
        if (data->hasColors()) point.color = {data->color(i).r(), data->color(i).g(), data->color(i).b()};
        if (data->hasIntensities()) point.intensity = data->intensity(i);
        if (data->hasClassifications()) point.classification = data->classification(i);
        write(point, out, line);
    }
    return data->size();
}

} // namespace

std::size_t writePoints(const Octree::Octree& tree, std::size_t maxLevel, std::ostream& out)
{
    const auto* potree = dynamic_cast<const PoTree::PotreeTree*>(&tree);
    const auto* ept = dynamic_cast<const Entwine::EntwineTree*>(&tree);
    const auto* copc = dynamic_cast<const Copc::CopcTree*>(&tree);
    std::string line;
    std::size_t written = 0;
    std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        const Octree::OctreeNodeId node = pending.back();
        pending.pop_back();
        written += potree ? writePotreeNode(*potree, node, out, line)
                   : ept  ? writeDecodedNode(*ept, node, out, line)
                   : copc ? writeDecodedNode(*copc, node, out, line)
                          : writeGenericNode(tree, node, out, line);
        if (node.level() < maxLevel) {
            const auto children = tree.children(node);
            pending.insert(pending.end(), children.rbegin(), children.rend());
        }
    }
    return written;
}

} // namespace Tool
