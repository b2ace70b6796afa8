#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Index {

// One LASzip chunk as the LAZ chunk table lists it.
struct ChunkTableEntry {
    std::uint32_t pointCount = 0;
    std::uint32_t byteCount = 0;
};

// The LAZ chunk table of a file with variable-size chunks, in the order the chunks lie in the file:
// a version (0), the number of chunks, then each chunk's point count and byte count, coded
// against the previous chunk's by LASzip's arithmetic integer coder. LASzip has no call that
// writes a table for chunks it did not cut itself, so the coder is reproduced here.
std::string encodeChunkTable(const std::vector<ChunkTableEntry>& chunks);

} // namespace Index
