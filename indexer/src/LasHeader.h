#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Index {

// The bytes of a point of LAS format 0 to 10 before any extra bytes (waveform fields included).
std::size_t lasCoreLength(unsigned format);
bool lasFormatHasGpsTime(unsigned format);
bool lasFormatHasColor(unsigned format);
bool lasFormatHasNearInfrared(unsigned format);
bool lasFormatHasWaveform(unsigned format);

// What the indexer needs of a LAS or LAZ file's header and variable-length records, checked so
// that nothing later trusts an impossible value.
struct LasHeader {
    static constexpr std::size_t FIXED_PART = 227; // the LAS 1.0 to 1.2 header

    unsigned versionMinor = 0;
    std::uint16_t headerSize = 0;
    std::uint32_t pointDataOffset = 0;
    unsigned pointFormat = 0;
    std::uint16_t recordLength = 0;
    std::uint64_t pointCount = 0;
    std::uint16_t globalEncoding = 0;
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    std::array<double, 3> minimum{};
    std::array<double, 3> maximum{};
    // LAS 1.4: where the extended records start and how many there are.
    std::uint64_t extendedRecordsStart = 0;
    std::uint32_t extendedRecordCount = 0;

    // A LASzip record makes the file LAZ; its chunk size (0xFFFFFFFF or 0: chunks of any size).
    bool compressed = false;
    std::uint32_t lazChunkSize = 0;
    // The coordinate system as WKT (LASF_Projection/2112), and whether GeoTIFF keys describe one.
    std::string wkt;
    bool hasGeoTiffKeys = false;
    // The data of the extra-bytes description (LASF_Spec/4); empty when there is none.
    std::string extraBytesRecord;

    std::size_t extraBytes() const { return recordLength - lasCoreLength(pointFormat); }
    bool gpsTimeIsStandard() const { return (globalEncoding & 1u) != 0; }

    // How many bytes from the start of the file parse() needs (the header and every record
    // before the points), given at least FIXED_PART of them. Throws std::runtime_error naming
    // `file` when they are not those of a LAS file or point beyond its `fileSize` bytes.
    static std::uint64_t bytesNeeded(std::string_view start, std::uint64_t fileSize, const std::string& file);

    // Parses the first bytesNeeded() bytes. Throws std::runtime_error naming `file` and the
    // problem: not LAS, a version other than 1.0 to 1.4, a point format other than 0 to 10, a
    // record shorter than its format, an impossible scale, bounds or point count, or records
    // that overrun the point data.
    static LasHeader parse(std::string_view bytes, std::uint64_t fileSize, const std::string& file);
};

} // namespace Index
