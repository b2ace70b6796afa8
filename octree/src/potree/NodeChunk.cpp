#include <lumaro/octree/potree/NodeChunk.h>

#include <lumaro/core/BrotliDecode.h>

#include "AttributeLayout.h"
#include "ChunkColumns.h"
#include "LoadUnaligned.h"
#include "NodeSizeLimit.h"

#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>

namespace PoTree {

namespace {

using ::Octree::loadUnaligned;

template <typename T>
void copyColumn(std::vector<T>* column, const std::optional<std::size_t>& offset, std::string_view bytes,
                std::size_t count)
{
    if (column == nullptr || !offset) {
        return;
    }
    column->resize(count);
    copyColumnInto(std::span<T>(*column), *offset, bytes);
}

void decodeNormals(std::vector<std::array<float, 3>>& normals, const AttributeLayout& starts, std::string_view bytes,
                   std::size_t count)
{
    if (starts.hasNormals()) {
        normals.resize(count);
        decodeNormalsInto(normals, starts, bytes);
    }
}

void clearColumns(const NodeColumns& columns)
{
    auto clear = [](auto* column) {
        if (column != nullptr) {
            column->clear();
        }
    };
    clear(columns.positions);
    clear(columns.colors);
    clear(columns.intensities);
    clear(columns.scanIndices);
    clear(columns.classifications);
    clear(columns.visibilities);
    clear(columns.normals);
}

bool visibilityShortCut(const Metadata& metadata, const Node& node, const NodeColumns& columns, std::size_t count)
{
    if (columns.visibilities == nullptr) {
        return false;
    }
    const auto shared = visibilityFromRecord(metadata, node);
    if (!shared) {
        return false;
    }
    columns.visibilities->assign(count, *shared);
    return true;
}

} // namespace

void decodeNormalsInto(std::span<std::array<float, 3>> normals, const AttributeLayout& starts, std::string_view decoded)
{
    const std::size_t count = normals.size();
    if (starts.normalOct16) {
        const char* codes = decoded.data() + *starts.normalOct16;
        for (std::size_t i = 0; i < count; ++i) {
            normals[i] = decodeOctahedralNormal(loadUnaligned<std::uint16_t>(codes + 2 * i));
        }
    } else {
        const char* xs = decoded.data() + *starts.normalX;
        const char* ys = decoded.data() + *starts.normalY;
        const char* zs = decoded.data() + *starts.normalZ;
        for (std::size_t i = 0; i < count; ++i) {
            normals[i] = {static_cast<float>(loadUnaligned<double>(xs + 8 * i)),
                          static_cast<float>(loadUnaligned<double>(ys + 8 * i)),
                          static_cast<float>(loadUnaligned<double>(zs + 8 * i))};
        }
    }
}

std::optional<std::uint8_t> visibilityFromRecord(const Metadata& metadata, const Node& node)
{
    if (!metadata.hasNodeVisibility || metadata.attributes.size() != 1) {
        return std::nullopt;
    }
    switch (node.visibility) {
    case Octree::NodeVisibility::AllVisible: return std::uint8_t(0);
    case Octree::NodeVisibility::AllHidden: return std::uint8_t(1);
    case Octree::NodeVisibility::PerPoint: break;
    }
    return std::nullopt;
}

void requirePlausibleRecord(const Metadata& metadata, const Node& node, const std::filesystem::path& file)
{
    if (node.pointCount > metadata.points) {
        throw std::runtime_error(file.string() + ": node " + node.id.name() + " claims "
                                 + std::to_string(node.pointCount) + " points, but the whole store holds "
                                 + std::to_string(metadata.points));
    }
    if (::Octree::exceedsNodeSizeLimit(node.pointCount, metadata.bytesPerPoint())) {
        throw std::runtime_error(file.string() + ": node " + node.id.name() + " claims "
                                 + std::to_string(node.pointCount) + " points of "
                                 + std::to_string(metadata.bytesPerPoint()) + " bytes, more than any real node holds");
    }
}

AttributeLayout columnStarts(const Metadata& metadata, std::size_t count)
{
    AttributeLayout columns = AttributeLayout::of(metadata);
    for (auto* start :
         {&columns.position, &columns.rgb, &columns.intensity, &columns.scanIndex, &columns.classification,
          &columns.visibility, &columns.normalOct16, &columns.normalX, &columns.normalY, &columns.normalZ}) {
        if (*start) {
            **start *= count;
        }
    }
    return columns;
}

DecompressedChunk decompressNodeChunk(std::string_view compressed, const Metadata& metadata, const Node& node,
                                      const std::filesystem::path& file)
{
    if (metadata.encoding != Encoding::Brotli) {
        throw std::invalid_argument(file.string() + ": node chunks of this store are not Brotli streams");
    }
    const std::size_t bytesPerPoint = metadata.bytesPerPoint();
    if (bytesPerPoint == 0) {
        throw std::runtime_error(file.string() + ": the store declares zero bytes per point");
    }
    requirePlausibleRecord(metadata, node, file);
    // The record's point count fixes the decompressed size, so a stream that decodes to any
    // other length is caught here instead of being read as a different number of points.
    DecompressedChunk decoded;
    decoded.size = static_cast<std::size_t>(node.pointCount) * bytesPerPoint;
    // Not zero-filled first: the decompressor writes every byte or throws.
    decoded.bytes = std::make_unique_for_overwrite<char[]>(decoded.size);
    try {
        Core::brotliDecodeExact(compressed, std::as_writable_bytes(std::span(decoded.bytes.get(), decoded.size)));
    } catch (const std::exception& error) {
        throw std::runtime_error(file.string() + ": points of node " + node.id.name() + " at offset "
                                 + std::to_string(node.byteOffset) + ": " + error.what());
    }
    return decoded;
}

void splitColumns(std::string_view decoded, const AttributeLayout& starts, const NodeColumns& columns,
                  std::size_t count)
{
    copyColumn(columns.positions, starts.position, decoded, count);
    copyColumn(columns.colors, starts.rgb, decoded, count);
    copyColumn(columns.intensities, starts.intensity, decoded, count);
    copyColumn(columns.scanIndices, starts.scanIndex, decoded, count);
    copyColumn(columns.classifications, starts.classification, decoded, count);
    copyColumn(columns.visibilities, starts.visibility, decoded, count);
    if (columns.normals != nullptr) {
        decodeNormals(*columns.normals, starts, decoded, count);
    }
}

void decodeNodeChunkBytes(std::string_view compressed, const Metadata& metadata, const Node& node,
                          const NodeColumns& columns, std::size_t& count, const std::filesystem::path& file)
{
    const DecompressedChunk decoded = decompressNodeChunk(compressed, metadata, node, file);
    const std::size_t points = decoded.size / metadata.bytesPerPoint();
    splitColumns(decoded.view(), columnStarts(metadata, points), columns, points);
    count = points;
}

bool decodeNodeChunk(const FileLoader& loader, const Metadata& metadata, const Node& node, std::stop_token stop,
                     const NodeColumns& columns, std::size_t& count)
{
    if (node.pointCount == 0 || node.byteSize == 0) {
        clearColumns(columns);
        count = 0;
        return true;
    }
    requirePlausibleRecord(metadata, node, loader.octreePath());
    if (visibilityShortCut(metadata, node, columns, count)) {
        return true;
    }
    const std::string compressed = loader.readNodeChunk(node, stop);
    decodeNodeChunkBytes(compressed, metadata, node, columns, count, loader.octreePath());
    return true;
}

} // namespace PoTree
