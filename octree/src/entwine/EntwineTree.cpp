#include <lumaro/octree/entwine/EntwineTree.h>

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/entwine/BinaryDecoder.h>
#include <lumaro/octree/entwine/LaszipDecoder.h>
#include <lumaro/octree/entwine/ZstandardDecoder.h>

#include "BoxOf.h"
#include "NodeSizeLimit.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <stdexcept>

namespace Entwine {

namespace {

using ::Octree::boxOf;
using ::Octree::OctreeNodeId;
using ::Octree::PointAttribute;

} // namespace

EntwineTree::EntwineTree(const ::Octree::Location& location, double unitScale)
    : EntwineTree(location, unitScale, ::Octree::StoreReader::open(location))
{}

EntwineTree::EntwineTree(const ::Octree::Location& location, double unitScale,
                         std::shared_ptr<::Octree::StoreReader> reader)
    : EntwineTree(location, unitScale, reader, Metadata::parse(reader->read("ept.json"), reader->describe("ept.json")))
{}

EntwineTree::EntwineTree(const ::Octree::Location& location, double unitScale,
                         std::shared_ptr<::Octree::StoreReader> reader, Metadata metadata)
    : ::Octree::Octree(location, unitScale, boxOf(metadata.cubeMin, metadata.cubeMax),
                       boxOf(metadata.conformingMin, metadata.conformingMax), metadata.rootSpacing()),
      mReader(std::move(reader)),
      mMetadata(std::move(metadata)),
      mAvailable(mMetadata.schema.pointAttributes()),
      mHierarchy(mReader, "ept-hierarchy")
{}

std::optional<EntwineTree::Node> EntwineTree::nodeById(OctreeNodeId id) const
{
    const Key key = Key::of(id);
    const std::optional<std::uint64_t> count = mHierarchy.pointCount(key);
    if (!count) {
        return std::nullopt;
    }
    return Node{key, *count, key.bounds(boxOf(mMetadata.cubeMin, mMetadata.cubeMax))};
}

EntwineTree::Node EntwineTree::requireNode(OctreeNodeId id) const
{
    std::optional<Node> node = nodeById(id);
    if (!node) {
        throw std::invalid_argument(location().toString() + ": the EPT store has no node " + Key::of(id).toString());
    }
    return *node;
}

std::vector<EntwineTree::Node> EntwineTree::allNodes() const
{
    std::vector<Node> nodes;
    visitBreadthFirst([&](OctreeNodeId id) { nodes.push_back(requireNode(id)); });
    return nodes;
}

std::string EntwineTree::dataName(const Key& key) const
{
    return "ept-data/" + key.toString() + "." + std::string(fileExtension(mMetadata.dataType));
}

std::filesystem::path EntwineTree::dataFile(const Key& key) const
{
    return mReader->describe(dataName(key));
}

std::vector<OctreeNodeId> EntwineTree::children(OctreeNodeId id, std::stop_token stop) const
{
    std::vector<OctreeNodeId> result;
    for (const Key& child : mHierarchy.children(Key::of(id), stop)) {
        result.push_back(child.nodeId());
    }
    return result;
}

bool EntwineTree::contains(OctreeNodeId id) const
{
    return mHierarchy.pointCount(Key::of(id)).has_value();
}

std::uint64_t EntwineTree::pointCount(OctreeNodeId id) const
{
    return requireNode(id).pointCount;
}

DecodedPoints EntwineTree::decode(const Node& node, std::stop_token stop, ::Octree::PointAttributes wanted) const
{
    wanted = wanted & mAvailable;
    if (node.pointCount == 0) {
        DecodedPoints empty;
        empty.points.attributes = wanted;
        return empty;
    }
    if (stop.stop_requested()) {
        throw ::Octree::OperationCancelled();
    }
    const std::filesystem::path file = dataFile(node.key);
    // Decoders size their output by the count before the data can tell otherwise.
    if (node.pointCount > mMetadata.points) {
        throw std::runtime_error(mReader->describe("ept-hierarchy") + ": node " + node.key.toString() + " claims "
                                 + std::to_string(node.pointCount) + " points, but the whole store holds "
                                 + std::to_string(mMetadata.points));
    }
    if (::Octree::exceedsNodeSizeLimit(node.pointCount, mMetadata.schema.recordSize())) {
        throw std::runtime_error(mReader->describe("ept-hierarchy") + ": node " + node.key.toString() + " claims "
                                 + std::to_string(node.pointCount) + " points of "
                                 + std::to_string(mMetadata.schema.recordSize())
                                 + " bytes, more than any real node holds");
    }
    const std::string bytes = nodeBytes(node.key.nodeId(), [&] { return mReader->read(dataName(node.key), stop); });
    if (stop.stop_requested()) {
        throw ::Octree::OperationCancelled();
    }
    const Schema& schema = mMetadata.schema;
    DecodedPoints decoded;
    switch (mMetadata.dataType) {
    case DataType::Binary: decoded = decodeBinaryPoints(bytes, schema, node.pointCount, wanted, file); break;
    case DataType::Zstandard: {
        if (node.pointCount > SIZE_MAX / std::max<std::size_t>(schema.recordSize(), 1)) {
            throw std::runtime_error(file.string() + ": the point count " + std::to_string(node.pointCount)
                                     + " is too large");
        }
        const std::string records =
            decompressZstandard(bytes, static_cast<std::size_t>(node.pointCount) * schema.recordSize(), file);
        if (stop.stop_requested()) {
            throw ::Octree::OperationCancelled();
        }
        decoded = decodeBinaryPoints(records, schema, node.pointCount, wanted, file);
        break;
    }
    case DataType::Laszip: decoded = decodeLaszipPoints(bytes, node.pointCount, wanted, file, stop); break;
    }
    requirePointsInside(decoded, node.bounds, file.string());
    return decoded;
}

std::optional<DecodedPoints> EntwineTree::decodedPoints(OctreeNodeId id, std::stop_token stop,
                                                        ::Octree::PointAttributes wanted) const
{
    const Node node = requireNode(id);
    try {
        return decode(node, stop, wanted);
    } catch (const ::Octree::OperationCancelled&) {
        return std::nullopt;
    }
}

std::optional<bool> EntwineTree::colorsAre16Bit(std::stop_token stop) const
{
    return decideColorsAre16Bit(
        [this, stop](OctreeNodeId id) { return decode(requireNode(id), stop, PointAttribute::Color).points.colors; },
        stop);
}

bool EntwineTree::colorsAre16Bit() const
{
    return colorsAre16Bit({}).value_or(false);
}

std::optional<::Octree::NodePointData> EntwineTree::nodePointData(OctreeNodeId id, std::stop_token stop,
                                                                  ::Octree::PointAttributes wanted) const
{
    // Decided before the node is decoded, so that the node the decision samples is read once.
    bool wide = false;
    if (wanted.contains(PointAttribute::Color) && mAvailable.contains(PointAttribute::Color)) {
        const std::optional<bool> decided = colorsAre16Bit(stop);
        if (!decided) {
            return std::nullopt;
        }
        wide = *decided;
    }
    const std::optional<DecodedPoints> decoded = decodedPoints(id, stop, wanted);
    if (!decoded) {
        return std::nullopt;
    }
    return modelPointData(decoded->points, decoded->scale, decoded->offset, wide);
}

} // namespace Entwine
