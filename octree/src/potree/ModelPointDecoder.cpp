#include "ModelPointDecoder.h"

#include "AttributeLayout.h"
#include "ChunkColumns.h"
#include "LoadUnaligned.h"
#include "Deinterleave.h"
#include "RawPointDecoder.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace PoTree {

namespace {

using ::Octree::loadUnaligned;

using ::Octree::ModelTransform;
using ::Octree::NodePointData;

void decodeModelPositions(std::span<NodePointData::Position> positions, const char* codes,
                          const ModelTransform& transform)
{
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto xyz = Deinterleave::position(loadUnaligned<PositionCode>(codes + sizeof(PositionCode) * i));
        for (int axis = 0; axis < 3; ++axis) {
            // The converter stores every coordinate plus one (see PointCodes.h).
            positions[i][axis] = transform.toModel(std::int64_t(xyz[axis]) - 1, axis);
        }
    }
}

void decodeModelColors(std::span<Math::Color> colors, const char* codes, bool colorsAre16Bit)
{
    if (colorsAre16Bit) {
        // Only the high byte of each channel survives the division by 256, and those bytes are
        // interleaved in bits 24-47 of the code: half the lookups of a whole colour.
        for (std::size_t i = 0; i < colors.size(); ++i) {
            const std::uint64_t code = loadUnaligned<std::uint64_t>(codes + 8 * i);
            const std::uint64_t high =
                Deinterleave::table[code >> 24 & 0xFFFu] | Deinterleave::table[code >> 36 & 0xFFFu] << 4;
            colors[i] = Math::Color(static_cast<std::uint8_t>(Deinterleave::lane(high, 0)),
                                    static_cast<std::uint8_t>(Deinterleave::lane(high, 1)),
                                    static_cast<std::uint8_t>(Deinterleave::lane(high, 2)), 255);
        }
        return;
    }
    for (std::size_t i = 0; i < colors.size(); ++i) {
        colors[i] = ::Octree::toEightBitColor(Deinterleave::color(loadUnaligned<std::uint64_t>(codes + 8 * i)), 0);
    }
}

} // namespace

NodePointData decodeModelPoints(const ChunkSource& chunks, const Metadata& metadata, const Node& node,
                                std::stop_token stop, ::Octree::PointAttributes wanted, const ModelTransform& transform,
                                bool colorsAre16Bit)
{
    // Empty nodes and visibility taken from the node record are rare and cheap; they keep the
    // one implementation in decodeRawPoints.
    if (metadata.encoding != Encoding::Brotli || node.pointCount == 0 || node.byteSize == 0
        || (wanted.contains(::Octree::PointAttribute::Visibility) && visibilityFromRecord(metadata, node))) {
        return ::Octree::toNodePointData(decodeRawPoints(chunks, metadata, node, stop, wanted), transform,
                                         colorsAre16Bit);
    }
    requirePlausibleRecord(metadata, node, chunks.file);
    const std::string compressed = chunks.read(node, stop);
    const DecompressedChunk decompressed = decompressNodeChunk(compressed, metadata, node, chunks.file);
    const std::string_view decoded = decompressed.view();
    const std::size_t count = decoded.size() / metadata.bytesPerPoint();
    const AttributeLayout starts = columnStarts(metadata, count);

    NodePointData data(wanted & starts.available(), count);
    if (data.hasPositions()) {
        decodeModelPositions(data.positions(), decoded.data() + *starts.position, transform);
    }
    if (data.hasColors()) {
        decodeModelColors(data.colors(), decoded.data() + *starts.rgb, colorsAre16Bit);
    }
    if (data.hasIntensities())
        copyColumnInto(data.intensities(), *starts.intensity, decoded);
    if (data.hasClassifications())
        copyColumnInto(data.classifications(), *starts.classification, decoded);
    if (data.hasScanIndices())
        copyColumnInto(data.scanIndices(), *starts.scanIndex, decoded);
    if (data.hasVisibility())
        copyColumnInto(data.visibilities(), *starts.visibility, decoded);
    if (data.hasNormals())
        decodeNormalsInto(data.normals(), starts, decoded);
    return data;
}

} // namespace PoTree
