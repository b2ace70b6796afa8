#include "RawPointDecoder.h"

#include "AttributeLayout.h"
#include "ChunkColumns.h"
#include "LoadUnaligned.h"

#include <lumaro/octree/potree/NodeChunk.h>

#include <cstring>
#include <optional>
#include <stdexcept>

namespace PoTree {

namespace {

using ::Octree::loadUnaligned;

using ::Octree::PointAttribute;
using ::Octree::PointAttributes;
using ::Octree::RawPoints;

// A column the chunk could not fill is not carried.
void dropIncompleteColumns(RawPoints& raw)
{
    auto check = [&](auto& column, PointAttribute attribute) {
        if (raw.attributes.contains(attribute) && column.size() != raw.count) {
            raw.attributes = raw.attributes - attribute;
            column.clear();
        }
    };
    check(raw.positions, PointAttribute::Position);
    check(raw.colors, PointAttribute::Color);
    check(raw.intensities, PointAttribute::Intensity);
    check(raw.classifications, PointAttribute::Classification);
    check(raw.scanIndices, PointAttribute::ScanIndex);
    check(raw.visibilities, PointAttribute::Visibility);
    check(raw.normals, PointAttribute::Normal);
}

RawPoints decodeBrotliPoints(const ChunkSource& chunks, const Metadata& metadata, const Node& node,
                             std::stop_token stop, PointAttributes wanted)
{
    RawPoints raw;
    raw.attributes = wanted & AttributeLayout::of(metadata).available();
    if (metadata.hasNodeVisibility && wanted.contains(PointAttribute::Visibility)) {
        raw.attributes = raw.attributes | PointAttribute::Visibility;
    }
    if (node.pointCount == 0 || node.byteSize == 0) {
        return raw; // no points, every column empty
    }
    requirePlausibleRecord(metadata, node, chunks.file);
    const std::optional<std::uint8_t> recordVisibility =
        raw.attributes.contains(PointAttribute::Visibility) ? visibilityFromRecord(metadata, node) : std::nullopt;
    if (recordVisibility) {
        // The record speaks for every point; the chunk is read only for the other columns.
        raw.visibilities.assign(node.pointCount, *recordVisibility);
        if ((raw.attributes - PointAttribute::Visibility).empty()) {
            raw.count = node.pointCount;
            return raw;
        }
    }
    // Positions and colours are decoded straight from the decompressed chunk; the other columns
    // are copied out as decodeNodeChunk does.
    NodeColumns columns;
    if (raw.attributes.contains(PointAttribute::Intensity))
        columns.intensities = &raw.intensities;
    if (raw.attributes.contains(PointAttribute::Classification))
        columns.classifications = &raw.classifications;
    if (raw.attributes.contains(PointAttribute::ScanIndex))
        columns.scanIndices = &raw.scanIndices;
    if (raw.attributes.contains(PointAttribute::Visibility) && !recordVisibility)
        columns.visibilities = &raw.visibilities;
    if (raw.attributes.contains(PointAttribute::Normal))
        columns.normals = &raw.normals;

    const std::string compressed = chunks.read(node, stop);
    const DecompressedChunk decompressed = decompressNodeChunk(compressed, metadata, node, chunks.file);
    const std::string_view decoded = decompressed.view();
    raw.count = decoded.size() / metadata.bytesPerPoint();
    const AttributeLayout starts = columnStarts(metadata, raw.count);
    splitColumns(decoded, starts, columns, raw.count);

    if (raw.attributes.contains(PointAttribute::Position)) {
        raw.positions.resize(raw.count);
        const char* codes = decoded.data() + *starts.position;
        for (std::size_t i = 0; i < raw.count; ++i) {
            const auto xyz = decodePositionCode(loadUnaligned<PositionCode>(codes + sizeof(PositionCode) * i));
            // The converter stores every coordinate plus one (see PointCodes.h).
            raw.positions[i] = {std::int64_t(xyz[0]) - 1, std::int64_t(xyz[1]) - 1, std::int64_t(xyz[2]) - 1};
        }
    }
    if (raw.attributes.contains(PointAttribute::Color)) {
        raw.colors.resize(raw.count);
        const char* codes = decoded.data() + *starts.rgb;
        for (std::size_t i = 0; i < raw.count; ++i) {
            raw.colors[i] = decodeColorCode(loadUnaligned<std::uint64_t>(codes + sizeof(std::uint64_t) * i));
        }
    }
    dropIncompleteColumns(raw);
    return raw;
}

// A DEFAULT chunk holds exactly one record per point.
void requireInterleavedSize(std::uint64_t bytes, const Metadata& metadata, const Node& node,
                            const std::filesystem::path& file)
{
    const std::uint64_t needed = std::uint64_t(node.pointCount) * metadata.bytesPerPoint();
    if (bytes != needed) {
        throw std::runtime_error(file.string() + ": node " + node.id.name() + " at offset "
                                 + std::to_string(node.byteOffset) + " holds " + std::to_string(bytes) + " bytes, but "
                                 + std::to_string(node.pointCount) + " points of "
                                 + std::to_string(metadata.bytesPerPoint()) + " bytes need " + std::to_string(needed));
    }
}

} // namespace

::Octree::RawPoints decodeInterleavedPoints(std::string_view chunk, const Metadata& metadata, const Node& node,
                                            PointAttributes wanted, const std::filesystem::path& file)
{
    const std::size_t recordSize = metadata.bytesPerPoint();
    if (recordSize == 0) {
        throw std::runtime_error(file.string() + ": the store declares zero bytes per point");
    }
    requireInterleavedSize(chunk.size(), metadata, node, file);
    const AttributeLayout layout = AttributeLayout::of(metadata);
    RawPoints raw;
    raw.attributes = wanted & layout.available();
    const std::size_t count = node.pointCount;
    raw.count = count;
    const char* records = chunk.data();
    auto record = [&](std::size_t i, std::size_t offset) { return records + i * recordSize + offset; };

    if (raw.attributes.contains(PointAttribute::Position)) {
        raw.positions.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            const char* p = record(i, *layout.position);
            raw.positions[i] = {loadUnaligned<std::int32_t>(p), loadUnaligned<std::int32_t>(p + 4),
                                loadUnaligned<std::int32_t>(p + 8)};
        }
    }
    if (raw.attributes.contains(PointAttribute::Color)) {
        raw.colors.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            const char* p = record(i, *layout.rgb);
            raw.colors[i] = {loadUnaligned<std::uint16_t>(p), loadUnaligned<std::uint16_t>(p + 2),
                             loadUnaligned<std::uint16_t>(p + 4)};
        }
    }
    auto column = [&](auto& values, PointAttribute attribute, const std::optional<std::size_t>& offset) {
        if (!raw.attributes.contains(attribute)) {
            return;
        }
        using Value = typename std::remove_reference_t<decltype(values)>::value_type;
        values.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            values[i] = loadUnaligned<Value>(record(i, *offset));
        }
    };
    column(raw.intensities, PointAttribute::Intensity, layout.intensity);
    column(raw.classifications, PointAttribute::Classification, layout.classification);
    column(raw.scanIndices, PointAttribute::ScanIndex, layout.scanIndex);
    column(raw.visibilities, PointAttribute::Visibility, layout.visibility);
    if (raw.attributes.contains(PointAttribute::Normal)) {
        raw.normals.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (layout.normalOct16) {
                raw.normals[i] = decodeOctahedralNormal(loadUnaligned<std::uint16_t>(record(i, *layout.normalOct16)));
            } else {
                raw.normals[i] = {static_cast<float>(loadUnaligned<double>(record(i, *layout.normalX))),
                                  static_cast<float>(loadUnaligned<double>(record(i, *layout.normalY))),
                                  static_cast<float>(loadUnaligned<double>(record(i, *layout.normalZ)))};
            }
        }
    }
    return raw;
}

::Octree::RawPoints decodeRawPoints(const ChunkSource& chunks, const Metadata& metadata, const Node& node,
                                    std::stop_token stop, PointAttributes wanted)
{
    if (metadata.encoding == Encoding::Brotli) {
        return decodeBrotliPoints(chunks, metadata, node, stop, wanted);
    }
    if (node.pointCount == 0 || node.byteSize == 0) {
        RawPoints empty;
        empty.attributes = wanted & AttributeLayout::of(metadata).available();
        return empty;
    }
    requirePlausibleRecord(metadata, node, chunks.file);
    requireInterleavedSize(node.byteSize, metadata, node, chunks.file);
    const std::string chunk = chunks.read(node, stop);
    return decodeInterleavedPoints(chunk, metadata, node, wanted, chunks.file);
}

} // namespace PoTree
