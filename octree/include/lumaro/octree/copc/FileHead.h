#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace Copc {

// What a COPC reader learns from the start of the file, before any point: the LAS 1.4 header,
// the COPC info record (the octree cube, the root spacing and where the hierarchy starts) and the
// records that a LASzip reader needs to decode a chunk of it.
struct FileHead {
    static constexpr std::size_t LAS_HEADER_SIZE = 375;
    static constexpr std::size_t INFO_SIZE = 160;

    // The point record format (6, 7 or 8) and the bytes per point, extra bytes included.
    unsigned pointFormat = 0;
    std::size_t recordLength = 0;
    std::uint64_t pointCount = 0;
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    // The header's bounds of the points.
    std::array<double, 3> minimum{};
    std::array<double, 3> maximum{};
    // Where the LAZ point data begin: an 8-byte pointer to the chunk table, then the chunks.
    std::uint64_t pointDataOffset = 0;

    // The COPC info record.
    std::array<double, 3> center{};
    double halfSize = 0;
    double spacing = 0;
    std::uint64_t rootPageOffset = 0;
    std::uint64_t rootPageSize = 0;
    double gpsTimeMinimum = 0;
    double gpsTimeMaximum = 0;

    // The records copied into the LAZ file that a lone chunk is decoded from: the 375 header
    // bytes as stored, the data of the LASzip record and of the extra-bytes description (empty
    // when there is none).
    std::string lasHeader;
    std::string laszipRecord;
    std::string extraBytesRecord;

    // The number of bytes from the start of the file that parse() needs: the header and every
    // record before the point data. `start` holds at least the 375 header bytes. Throws
    // std::runtime_error naming `file` when they are not those of a LAS 1.4 file.
    static std::uint64_t bytesNeeded(std::string_view start, const std::filesystem::path& file);

    // Parses the first bytesNeeded() bytes of a file of `fileSize` bytes. Throws
    // std::runtime_error naming `file` and the problem when it is not LAS 1.4, the first record is
    // not the COPC info, the LASzip record is missing or describes another layout than the
    // header, or the cube, the spacing or the root page are impossible.
    static FileHead parse(std::string_view bytes, std::uint64_t fileSize, const std::filesystem::path& file);
};

} // namespace Copc
