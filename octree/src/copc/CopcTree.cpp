#include <lumaro/octree/copc/CopcTree.h>

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/entwine/LaszipDecoder.h>

#include "BoxOf.h"
#include "ChunkDecoder.h"
#include "NodeSizeLimit.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace Copc {

namespace {

using ::Octree::OctreeNodeId;
using ::Octree::PointAttribute;

FileHead readHead(const ::Octree::StoreReader& reader, std::uint64_t fileSize)
{
    const std::filesystem::path name = reader.describe("");
    // The header and the records after it (COPC info, LASzip, extra bytes, a WKT) fit the first
    // 8 KiB of the COPC files seen: one request reads them, where a store on a server would
    // otherwise cost a round trip for the header and another for the records.
    constexpr std::uint64_t firstRead = 8192;
    const std::string start =
        reader.readRange("", 0, std::min(fileSize, std::max<std::uint64_t>(firstRead, FileHead::LAS_HEADER_SIZE)));
    const std::uint64_t needed = std::min(FileHead::bytesNeeded(start, name), fileSize);
    return FileHead::parse(needed <= start.size() ? start.substr(0, needed) : reader.readRange("", 0, needed), fileSize,
                           name);
}

Math::NBoundingBox<double, 3> cubeOf(const FileHead& head)
{
    std::array<double, 3> min{};
    std::array<double, 3> max{};
    for (int axis = 0; axis < 3; ++axis) {
        min[axis] = head.center[axis] - head.halfSize;
        max[axis] = head.center[axis] + head.halfSize;
    }
    return ::Octree::boxOf(min, max);
}

} // namespace

CopcTree::CopcTree(const ::Octree::Location& location, double unitScale)
    : CopcTree(location, unitScale, ::Octree::StoreReader::open(location))
{}

CopcTree::CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader)
    : CopcTree(location, unitScale, reader, reader->size(""))
{}

CopcTree::CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader,
                   std::uint64_t fileSize)
    : CopcTree(location, unitScale, reader, readHead(*reader, fileSize), fileSize)
{}

CopcTree::CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader,
                   FileHead head, std::uint64_t fileSize)
    : ::Octree::Octree(location, unitScale, cubeOf(head), ::Octree::boxOf(head.minimum, head.maximum), head.spacing),
      mReader(std::move(reader)),
      mSource(mReader->describe("")),
      mHead(std::move(head)),
      mLimits{fileSize, mHead.pointDataOffset + 8, mHead.pointCount},
      mAvailable(Entwine::lasPointAttributes(mHead.pointFormat, mHead.extraBytesRecord)),
      mIndex(
          readPage(mHead.rootPageOffset, mHead.rootPageSize), pageName(mHead.rootPageOffset),
          [this](const Entwine::Key&, const HierarchyEntry& page) {
              return readPage(page.offset, static_cast<std::uint64_t>(page.byteSize));
          },
          [this](const Entwine::Key&, const HierarchyEntry& page) { return pageName(page.offset); })
{}

std::string CopcTree::pageName(std::uint64_t offset) const
{
    return mSource + ": the hierarchy page at byte " + std::to_string(offset);
}

std::vector<std::pair<Entwine::Key, HierarchyEntry>> CopcTree::readPage(std::uint64_t offset, std::uint64_t size) const
{
    return parseHierarchyPage(mReader->readRange("", offset, size), mLimits, pageName(offset));
}

std::optional<HierarchyEntry> CopcTree::entry(OctreeNodeId id, std::stop_token stop) const
{
    return mIndex.find(Entwine::Key::of(id), stop);
}

HierarchyEntry CopcTree::requireEntry(OctreeNodeId id) const
{
    const std::optional<HierarchyEntry> found = entry(id);
    if (!found) {
        throw std::invalid_argument(mSource + ": the COPC file has no node " + Entwine::Key::of(id).toString());
    }
    return *found;
}

std::vector<OctreeNodeId> CopcTree::children(OctreeNodeId id, std::stop_token stop) const
{
    std::vector<OctreeNodeId> result;
    for (const Entwine::Key& child : mIndex.children(Entwine::Key::of(id), stop)) {
        result.push_back(child.nodeId());
    }
    return result;
}

bool CopcTree::contains(OctreeNodeId id) const
{
    return entry(id).has_value();
}

std::uint64_t CopcTree::pointCount(OctreeNodeId id) const
{
    return static_cast<std::uint64_t>(std::max(requireEntry(id).pointCount, 0));
}

Entwine::DecodedPoints CopcTree::decode(OctreeNodeId id, std::stop_token stop, ::Octree::PointAttributes wanted) const
{
    const HierarchyEntry node = requireEntry(id);
    const Entwine::Key key = Entwine::Key::of(id);
    Entwine::DecodedPoints decoded;
    decoded.scale = mHead.scale;
    decoded.offset = mHead.offset;
    decoded.points.attributes = wanted & mAvailable;
    if (node.pointCount <= 0) {
        return decoded;
    }
    if (stop.stop_requested()) {
        throw ::Octree::OperationCancelled();
    }
    const std::string source =
        mSource + ": node " + key.toString() + " (the chunk at byte " + std::to_string(node.offset) + ")";
    if (::Octree::exceedsNodeSizeLimit(static_cast<std::uint64_t>(node.pointCount), mHead.recordLength)) {
        throw std::runtime_error(source + ": claims " + std::to_string(node.pointCount) + " points of "
                                 + std::to_string(mHead.recordLength) + " bytes, more than any real node holds");
    }
    const std::string chunk = nodeBytes(
        id, [&] { return mReader->readRange("", node.offset, static_cast<std::uint64_t>(node.byteSize), stop); });
    decoded = decodeChunk(mHead, chunk, static_cast<std::uint32_t>(node.pointCount), wanted & mAvailable, source, stop);
    Entwine::requirePointsInside(decoded, key.bounds(cubeOf(mHead)), source);
    return decoded;
}

std::optional<Entwine::DecodedPoints> CopcTree::decodedPoints(OctreeNodeId id, std::stop_token stop,
                                                              ::Octree::PointAttributes wanted) const
{
    try {
        return decode(id, stop, wanted);
    } catch (const ::Octree::OperationCancelled&) {
        return std::nullopt;
    }
}

std::optional<bool> CopcTree::colorsAre16Bit(std::stop_token stop) const
{
    return decideColorsAre16Bit(
        [this, stop](OctreeNodeId id) { return decode(id, stop, PointAttribute::Color).points.colors; }, stop);
}

bool CopcTree::colorsAre16Bit() const
{
    return colorsAre16Bit({}).value_or(false);
}

std::optional<::Octree::NodePointData> CopcTree::nodePointData(OctreeNodeId id, std::stop_token stop,
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
    const std::optional<Entwine::DecodedPoints> decoded = decodedPoints(id, stop, wanted);
    if (!decoded) {
        return std::nullopt;
    }
    return modelPointData(decoded->points, decoded->scale, decoded->offset, wide);
}

} // namespace Copc
