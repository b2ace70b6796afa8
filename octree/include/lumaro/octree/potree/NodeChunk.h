#pragma once

#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>
#include <lumaro/octree/potree/PointCodes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string_view>
#include <vector>

namespace PoTree {

// The columns a caller wants from a node chunk in the Brotli layout; null members are not
// wanted. Codes are copied as they stand in the chunk.
struct NodeColumns {
    std::vector<PositionCode>* positions = nullptr;
    std::vector<std::uint64_t>* colors = nullptr;
    std::vector<std::uint16_t>* intensities = nullptr;
    std::vector<std::uint32_t>* scanIndices = nullptr;
    std::vector<std::uint8_t>* classifications = nullptr;
    std::vector<std::uint8_t>* visibilities = nullptr; // 0 visible
    std::vector<std::array<float, 3>>* normals = nullptr;
};

// Storage for every column a node chunk can give, for callers that want all of them.
struct AllNodeColumns {
    std::vector<PositionCode> positions;
    std::vector<std::uint64_t> colors;
    std::vector<std::uint16_t> intensities;
    std::vector<std::uint32_t> scanIndices;
    std::vector<std::uint8_t> classifications;
    std::vector<std::uint8_t> visibilities;
    std::vector<std::array<float, 3>> normals;

    NodeColumns columns()
    {
        return {&positions, &colors, &intensities, &scanIndices, &classifications, &visibilities, &normals};
    }
};

// Fetches, decompresses and splits the Brotli point chunk of `node` into `columns` and sets
// `count` to its number of points. Returns true; the stop request and read failures arrive as
// exceptions (Octree::OperationCancelled, std::runtime_error naming the file).
bool decodeNodeChunk(const FileLoader& loader, const Metadata& metadata, const Node& node, std::stop_token stop,
                     const NodeColumns& columns, std::size_t& count);

// The decoding half of decodeNodeChunk, on the compressed chunk already in memory. `file` names
// the source in error messages.
void decodeNodeChunkBytes(std::string_view compressed, const Metadata& metadata, const Node& node,
                          const NodeColumns& columns, std::size_t& count, const std::filesystem::path& file);

} // namespace PoTree
