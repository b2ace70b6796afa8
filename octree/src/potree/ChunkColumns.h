#pragma once

#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>
#include <lumaro/octree/potree/NodeChunk.h>

#include "AttributeLayout.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// The steps of decodeNodeChunk, for decoders that read some columns in place instead of copying.
namespace PoTree {

// Refuses a record that claims more points than the whole store holds, or more bytes than any
// real node decompresses to, before anything is allocated or read for it. Throws
// std::runtime_error naming `file`.
void requirePlausibleRecord(const Metadata& metadata, const Node& node, const std::filesystem::path& file);

// Decompresses a node's Brotli chunk to exactly pointCount x bytes per point bytes; throws
// std::runtime_error naming `file` otherwise.
struct DecompressedChunk {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
    std::string_view view() const { return {bytes.get(), size}; }
};
DecompressedChunk decompressNodeChunk(std::string_view compressed, const Metadata& metadata, const Node& node,
                                      const std::filesystem::path& file);

// Where each recognised column starts in a decompressed chunk of `count` points.
AttributeLayout columnStarts(const Metadata& metadata, std::size_t count);

// Copies the requested columns (and decodes normals) out of a decompressed chunk.
void splitColumns(std::string_view decoded, const AttributeLayout& starts, const NodeColumns& columns,
                  std::size_t count);

// Copies the column starting at `start` as it stands, one value per element of `to`.
template <typename T>
void copyColumnInto(std::span<T> to, std::size_t start, std::string_view decoded)
{
    if (!to.empty()) {
        std::memcpy(to.data(), decoded.data() + start, to.size_bytes());
    }
}

// Decodes one normal per element of `normals`; `starts` must have normals.
void decodeNormalsInto(std::span<std::array<float, 3>> normals, const AttributeLayout& starts,
                       std::string_view decoded);

// The visibility (0 visible, 1 hidden) that all points of `node` share by its record, where the
// store lets the record decide; std::nullopt when each point's own visibility counts.
std::optional<std::uint8_t> visibilityFromRecord(const Metadata& metadata, const Node& node);

} // namespace PoTree
