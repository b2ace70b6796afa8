#include "LasHeader.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace Index {

namespace {

constexpr std::array<std::size_t, 11> CORE_LENGTHS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr std::size_t RECORD_HEADER_SIZE = 54;
// LAS 1.3 added the waveform start (8 bytes), 1.4 the extended records and 64-bit counts.
constexpr std::array<std::size_t, 5> MINIMUM_HEADER_SIZES{227, 227, 227, 235, 375};
// LASzip's 32-bit point index and sanity: no file holds more points than this.
constexpr std::uint64_t MAX_POINT_COUNT = std::uint64_t{1} << 40;

template <typename T>
T load(std::string_view bytes, std::size_t at)
{
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

std::string_view fixedText(std::string_view bytes, std::size_t at, std::size_t size)
{
    const std::string_view text = bytes.substr(at, size);
    return text.substr(0, text.find('\0'));
}

[[noreturn]] void fail(const std::string& file, const std::string& problem)
{
    throw std::runtime_error(file + ": " + problem);
}

std::string numberText(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

void checkStart(std::string_view bytes, const std::string& file)
{
    if (bytes.size() < 4 || bytes.substr(0, 4) != "LASF") {
        fail(file, "not a LAS or LAZ file (it does not start with LASF)");
    }
    if (bytes.size() < LasHeader::FIXED_PART) {
        fail(file, "the file is " + std::to_string(bytes.size()) + " bytes long, too short for a LAS header");
    }
    const auto major = static_cast<unsigned>(static_cast<unsigned char>(bytes[24]));
    const auto minor = static_cast<unsigned>(static_cast<unsigned char>(bytes[25]));
    if (major != 1 || minor > 4) {
        fail(file,
             "LAS version " + std::to_string(major) + "." + std::to_string(minor)
                 + " is not supported (1.0 to 1.4 are)");
    }
}

} // namespace

std::size_t lasCoreLength(unsigned format)
{
    return format < CORE_LENGTHS.size() ? CORE_LENGTHS[format] : 0;
}
bool lasFormatHasGpsTime(unsigned format)
{
    return format != 0 && format != 2;
}
bool lasFormatHasColor(unsigned format)
{
    return format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
}
bool lasFormatHasNearInfrared(unsigned format)
{
    return format == 8 || format == 10;
}
bool lasFormatHasWaveform(unsigned format)
{
    return format == 4 || format == 5 || format == 9 || format == 10;
}

std::uint64_t LasHeader::bytesNeeded(std::string_view start, std::uint64_t fileSize, const std::string& file)
{
    checkStart(start, file);
    const auto headerSize = load<std::uint16_t>(start, 94);
    const auto pointData = load<std::uint32_t>(start, 96);
    if (pointData < headerSize || pointData > fileSize) {
        fail(file,
             "the point data are said to start at byte " + std::to_string(pointData) + ", outside the "
                 + std::to_string(fileSize) + " bytes after a header of " + std::to_string(headerSize));
    }
    return pointData;
}

LasHeader LasHeader::parse(std::string_view bytes, std::uint64_t fileSize, const std::string& file)
{
    checkStart(bytes, file);
    LasHeader header;
    header.versionMinor = static_cast<unsigned char>(bytes[25]);
    header.globalEncoding = load<std::uint16_t>(bytes, 6);
    header.headerSize = load<std::uint16_t>(bytes, 94);
    header.pointDataOffset = load<std::uint32_t>(bytes, 96);
    const auto recordCount = load<std::uint32_t>(bytes, 100);
    const auto formatByte = static_cast<unsigned char>(bytes[104]);
    header.pointFormat = formatByte & 0x3Fu;
    header.recordLength = load<std::uint16_t>(bytes, 105);

    const std::size_t minimumSize = MINIMUM_HEADER_SIZES[header.versionMinor];
    if (header.headerSize < minimumSize) {
        fail(file,
             "its header size " + std::to_string(header.headerSize) + " is below the " + std::to_string(minimumSize)
                 + " bytes of LAS 1." + std::to_string(header.versionMinor));
    }
    if (bytes.size() < header.pointDataOffset || header.pointDataOffset < header.headerSize
        || header.pointDataOffset > fileSize) {
        fail(file,
             "the point data are said to start at byte " + std::to_string(header.pointDataOffset)
                 + ", which does not fit a header of " + std::to_string(header.headerSize) + " bytes in a file of "
                 + std::to_string(fileSize));
    }
    if (header.pointFormat > 10) {
        fail(file, "point format " + std::to_string(header.pointFormat) + " is not supported (0 to 10 are)");
    }
    if (header.pointFormat > 5 && header.versionMinor < 4) {
        fail(file,
             "point format " + std::to_string(header.pointFormat) + " needs LAS 1.4, the file is LAS 1."
                 + std::to_string(header.versionMinor));
    }
    if (header.recordLength < lasCoreLength(header.pointFormat)) {
        fail(file,
             "its records of " + std::to_string(header.recordLength) + " bytes are shorter than the "
                 + std::to_string(lasCoreLength(header.pointFormat)) + " bytes of point format "
                 + std::to_string(header.pointFormat));
    }

    const std::uint64_t legacyCount = load<std::uint32_t>(bytes, 107);
    header.pointCount = legacyCount;
    if (header.versionMinor >= 4) {
        const auto count = load<std::uint64_t>(bytes, 247);
        if (legacyCount != 0 && count != 0 && count != legacyCount) {
            fail(file,
                 "its header counts " + std::to_string(count) + " points and, in the legacy field, "
                     + std::to_string(legacyCount));
        }
        header.pointCount = count != 0 ? count : legacyCount;
        header.extendedRecordsStart = load<std::uint64_t>(bytes, 235);
        header.extendedRecordCount = load<std::uint32_t>(bytes, 243);
    }
    if (header.pointCount > MAX_POINT_COUNT) {
        fail(file, "its header counts " + std::to_string(header.pointCount) + " points, more than any file can hold");
    }

    static constexpr const char* axisNames[] = {"x", "y", "z"};
    for (int axis = 0; axis < 3; ++axis) {
        header.scale[axis] = load<double>(bytes, 131 + 8 * axis);
        header.offset[axis] = load<double>(bytes, 155 + 8 * axis);
        header.maximum[axis] = load<double>(bytes, 179 + 16 * axis);
        header.minimum[axis] = load<double>(bytes, 187 + 16 * axis);
        if (!std::isfinite(header.scale[axis]) || header.scale[axis] <= 0) {
            fail(file,
                 std::string("its ") + axisNames[axis] + " scale " + numberText(header.scale[axis])
                     + " is not a positive number");
        }
        if (!std::isfinite(header.offset[axis])) {
            fail(file, std::string("its ") + axisNames[axis] + " offset is not a finite number");
        }
        if (header.pointCount > 0
            && (!std::isfinite(header.minimum[axis]) || !std::isfinite(header.maximum[axis])
                || header.minimum[axis] > header.maximum[axis])) {
            fail(file,
                 std::string("its ") + axisNames[axis] + " bounds " + numberText(header.minimum[axis]) + " to "
                     + numberText(header.maximum[axis]) + " are impossible");
        }
    }

    std::size_t at = header.headerSize;
    for (std::uint32_t r = 0; r < recordCount; ++r) {
        if (at + RECORD_HEADER_SIZE > header.pointDataOffset) {
            fail(file,
                 "variable-length record " + std::to_string(r + 1) + " of " + std::to_string(recordCount)
                     + " runs past the start of the point data");
        }
        const std::string_view user = fixedText(bytes, at + 2, 16);
        const auto id = load<std::uint16_t>(bytes, at + 18);
        const std::size_t length = load<std::uint16_t>(bytes, at + 20);
        if (at + RECORD_HEADER_SIZE + length > header.pointDataOffset) {
            fail(file,
                 "variable-length record " + std::to_string(r + 1) + " (" + std::string(user) + "/" + std::to_string(id)
                     + ") runs past the start of the point data");
        }
        const std::string_view data = bytes.substr(at + RECORD_HEADER_SIZE, length);
        if (user == "LASF_Projection" && id == 2112) {
            header.wkt = std::string(data.substr(0, data.find('\0')));
        } else if (user == "LASF_Projection" && id == 34735) {
            header.hasGeoTiffKeys = true;
        } else if (user == "LASF_Spec" && id == 4) {
            header.extraBytesRecord = std::string(data);
        } else if (user == "laszip encoded" && id == 22204) {
            if (length < 16) {
                fail(file, "its LASzip record is " + std::to_string(length) + " bytes long, too short");
            }
            header.compressed = true;
            header.lazChunkSize = load<std::uint32_t>(data, 12);
        }
        at += RECORD_HEADER_SIZE + length;
    }
    if ((formatByte & 0x80u) != 0 && !header.compressed) {
        fail(file, "it is marked compressed but has no LASzip record");
    }
    if (!header.compressed) {
        const std::uint64_t available = fileSize - header.pointDataOffset;
        if (header.pointCount > available / header.recordLength) {
            fail(file,
                 "its header counts " + std::to_string(header.pointCount) + " points of "
                     + std::to_string(header.recordLength) + " bytes, but only " + std::to_string(available)
                     + " bytes of point data follow; the file is truncated or its count is wrong");
        }
    }
    return header;
}

} // namespace Index
