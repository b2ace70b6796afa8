#include "ChunkDecoder.h"

#include <lumaro/octree/entwine/LaszipDecoder.h>

#include "LasFields.h"
#include "LoadUnaligned.h"

#include <cstring>
#include <stdexcept>

namespace Copc {

namespace {

using Octree::loadUnaligned;

constexpr std::size_t VLR_HEADER_SIZE = 54;

template <typename T>
void store(std::string& bytes, std::size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

std::string variableLengthRecord(const char* user, std::uint16_t id, std::string_view data)
{
    std::string record(VLR_HEADER_SIZE, '\0');
    std::memcpy(record.data() + 2, user, std::strlen(user));
    store<std::uint16_t>(record, 18, id);
    store<std::uint16_t>(record, 20, static_cast<std::uint16_t>(data.size()));
    record.append(data);
    return record;
}

// Points 6, 7 and 8 are compressed in layers: nine for the core fields, then one for RGB or two
// for RGB and NIR, then one per extra byte.
std::size_t layerCount(const FileHead& head)
{
    return 9
        + (head.pointFormat == 7       ? 1
               : head.pointFormat == 8 ? 2
                                       : 0)
        + (head.recordLength - Octree::corePointLength(head.pointFormat));
}

void checkFraming(const FileHead& head, std::string_view chunk, std::uint32_t pointCount, const std::string& source)
{
    const std::size_t layers = layerCount(head);
    const std::size_t framing = head.recordLength + 4 + 4 * layers;
    if (chunk.size() < framing) {
        throw std::runtime_error(source + ": the chunk is " + std::to_string(chunk.size())
                                 + " bytes long, shorter than the " + std::to_string(framing)
                                 + " bytes of its first point and layer sizes");
    }
    const auto stored = loadUnaligned<std::uint32_t>(chunk.data() + head.recordLength);
    if (stored != pointCount) {
        throw std::runtime_error(source + ": the chunk holds " + std::to_string(stored)
                                 + " points, but the hierarchy counts " + std::to_string(pointCount));
    }
    std::uint64_t total = framing;
    for (std::size_t layer = 0; layer < layers; ++layer) {
        total += loadUnaligned<std::uint32_t>(chunk.data() + head.recordLength + 4 + 4 * layer);
    }
    if (total != chunk.size()) {
        throw std::runtime_error(source + ": the chunk's layers need " + std::to_string(total)
                                 + " bytes, but the chunk is " + std::to_string(chunk.size())
                                 + " bytes long; it is truncated or corrupt");
    }
}

} // namespace

std::string loneChunkLazFile(const FileHead& head, std::string_view chunk, std::uint32_t pointCount)
{
    std::string laszip = head.laszipRecord;
    store<std::uint32_t>(laszip, 12, pointCount); // one chunk of exactly the node's points
    std::string records = variableLengthRecord("laszip encoded", 22204, laszip);
    std::uint32_t recordCount = 1;
    if (!head.extraBytesRecord.empty()) {
        records += variableLengthRecord("LASF_Spec", 4, head.extraBytesRecord);
        ++recordCount;
    }

    std::string file = head.lasHeader;
    const std::uint32_t pointData = static_cast<std::uint32_t>(FileHead::LAS_HEADER_SIZE + records.size());
    store<std::uint16_t>(file, 94, FileHead::LAS_HEADER_SIZE);
    store<std::uint32_t>(file, 96, pointData);
    store<std::uint32_t>(file, 100, recordCount);
    std::memset(file.data() + 107, 0, 4 + 5 * 4); // legacy counts
    store<std::uint64_t>(file, 227, 0); // waveform data
    store<std::uint64_t>(file, 235, 0); // extended records
    store<std::uint32_t>(file, 243, 0);
    store<std::uint64_t>(file, 247, pointCount);
    std::memset(file.data() + 255, 0, 15 * 8); // counts by return
    file += records;
    // A chunk table pointer to itself tells LASzip that no table follows: with fixed-size chunks
    // it then finds the one chunk right behind the pointer.
    const std::uint64_t tablePointer = pointData;
    file.append(reinterpret_cast<const char*>(&tablePointer), sizeof tablePointer);
    file.append(chunk);
    return file;
}

Entwine::DecodedPoints decodeChunk(const FileHead& head, std::string_view chunk, std::uint32_t pointCount,
                                   Octree::PointAttributes wanted, const std::string& source, std::stop_token stop)
{
    checkFraming(head, chunk, pointCount, source);
    return Entwine::decodeLaszipPoints(loneChunkLazFile(head, chunk, pointCount), pointCount, wanted, source, stop);
}

} // namespace Copc
