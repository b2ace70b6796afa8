#include <lumaro/octree/copc/FileHead.h>

#include "FileErrors.h"
#include "LasFields.h"
#include "LoadUnaligned.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

namespace Copc {

namespace {

using Octree::loadUnaligned;

constexpr std::size_t VLR_HEADER_SIZE = 54;
constexpr std::size_t LASZIP_RECORD_ID = 22204;
constexpr std::size_t EXTRA_BYTES_RECORD_ID = 4;
constexpr std::uint16_t LAYERED_CHUNKS = 3;

enum LaszipItem : std::uint16_t {
    Point14 = 10,
    Rgb14 = 11,
    RgbNir14 = 12,
    Byte14 = 14
};

std::array<double, 3> threeDoubles(const char* bytes)
{
    return {loadUnaligned<double>(bytes), loadUnaligned<double>(bytes + 8), loadUnaligned<double>(bytes + 16)};
}

// The LASzip record must describe the layered chunks of exactly the header's point layout, or a
// chunk would be decoded with the wrong fields.
void checkLaszipRecord(std::string_view record, const FileHead& head, const Octree::FileErrors& errors)
{
    if (record.size() < 34) {
        errors.fail("its LASzip record is " + std::to_string(record.size())
                    + " bytes long, too short to describe any point");
    }
    const auto compressor = loadUnaligned<std::uint16_t>(record.data());
    if (compressor != LAYERED_CHUNKS) {
        errors.fail("its LASzip record names compressor " + std::to_string(compressor)
                    + ", not the layered chunks (3) that LAS 1.4 points are compressed with");
    }
    const auto items = loadUnaligned<std::uint16_t>(record.data() + 32);
    if (record.size() < 34 + 6 * std::size_t{items}) {
        errors.fail("its LASzip record lists " + std::to_string(items) + " items but holds only "
                    + std::to_string((record.size() - 34) / 6));
    }
    const std::uint16_t colorItem = head.pointFormat == 7 ? Rgb14 : RgbNir14;
    const std::size_t colorSize = head.pointFormat == 7 ? 6 : 8;
    std::size_t bytes = 0;
    bool layoutMatches = items >= 1;
    for (std::size_t i = 0; i < items && layoutMatches; ++i) {
        const auto type = loadUnaligned<std::uint16_t>(record.data() + 34 + 6 * i);
        const auto size = loadUnaligned<std::uint16_t>(record.data() + 36 + 6 * i);
        bytes += size;
        if (i == 0) {
            layoutMatches = type == Point14 && size == 30;
        } else if (i == 1 && head.pointFormat != 6) {
            layoutMatches = type == colorItem && size == colorSize;
        } else {
            layoutMatches = type == Byte14 && i == items - 1u;
        }
    }
    if (!layoutMatches || bytes != head.recordLength) {
        errors.fail("its LASzip record does not describe point format " + std::to_string(head.pointFormat) + " with "
                    + std::to_string(head.recordLength) + "-byte records");
    }
}

} // namespace

std::uint64_t FileHead::bytesNeeded(std::string_view start, const std::filesystem::path& file)
{
    const Octree::FileErrors errors(file);
    if (start.size() < LAS_HEADER_SIZE || start.substr(0, 4) != "LASF") {
        errors.fail("is not a LAS file (it does not start with a LAS header)");
    }
    const unsigned major = static_cast<unsigned char>(start[24]);
    const unsigned minor = static_cast<unsigned char>(start[25]);
    if (major != 1 || minor != 4) {
        errors.fail("is LAS " + std::to_string(major) + "." + std::to_string(minor) + ", but COPC files are LAS 1.4");
    }
    return loadUnaligned<std::uint32_t>(start.data() + 96);
}

FileHead FileHead::parse(std::string_view bytes, std::uint64_t fileSize, const std::filesystem::path& file)
{
    const Octree::FileErrors errors(file);
    const std::uint64_t needed = bytesNeeded(bytes, file);
    const char* data = bytes.data();
    FileHead head;
    head.pointDataOffset = needed;
    const std::uint16_t headerSize = loadUnaligned<std::uint16_t>(data + 94);
    if (headerSize < LAS_HEADER_SIZE || headerSize > needed || needed + 8 > fileSize || bytes.size() < needed) {
        errors.fail("its header (" + std::to_string(headerSize) + " bytes) and point data offset ("
                    + std::to_string(needed) + ") do not fit a file of " + std::to_string(fileSize) + " bytes");
    }
    head.pointFormat = static_cast<unsigned char>(data[104]) & 0x3Fu;
    head.recordLength = loadUnaligned<std::uint16_t>(data + 105);
    if (head.pointFormat < 6 || head.pointFormat > 8) {
        errors.fail("holds points of format " + std::to_string(head.pointFormat)
                    + "; COPC files hold formats 6, 7 or 8");
    }
    if (head.recordLength < Octree::corePointLength(head.pointFormat)) {
        errors.fail("has " + std::to_string(head.recordLength) + "-byte records, too short for point format "
                    + std::to_string(head.pointFormat));
    }
    head.scale = threeDoubles(data + 131);
    head.offset = threeDoubles(data + 155);
    for (int axis = 0; axis < 3; ++axis) {
        head.maximum[axis] = loadUnaligned<double>(data + 179 + 16 * axis);
        head.minimum[axis] = loadUnaligned<double>(data + 187 + 16 * axis);
        if (!std::isfinite(head.scale[axis]) || head.scale[axis] == 0 || !std::isfinite(head.offset[axis])) {
            errors.fail("its scale and offset must be finite with a scale other than 0");
        }
    }
    head.pointCount = loadUnaligned<std::uint64_t>(data + 247);
    head.lasHeader.assign(data, LAS_HEADER_SIZE);

    // The records between the header and the point data; the COPC info must be the first.
    const std::uint32_t records = loadUnaligned<std::uint32_t>(data + 100);
    std::optional<std::string_view> info;
    std::optional<std::string_view> laszip;
    std::uint64_t at = headerSize;
    for (std::uint32_t r = 0; r < records; ++r) {
        if (at + VLR_HEADER_SIZE > needed) {
            errors.fail("record " + std::to_string(r) + " of " + std::to_string(records) + " starts at byte "
                        + std::to_string(at) + ", past the start of the point data (" + std::to_string(needed) + ")");
        }
        const std::string user(Octree::fixedLasText(data + at + 2, 16));
        const auto id = loadUnaligned<std::uint16_t>(data + at + 18);
        const auto length = loadUnaligned<std::uint16_t>(data + at + 20);
        if (at + VLR_HEADER_SIZE + length > needed) {
            errors.fail("record '" + user + "'/" + std::to_string(id) + " runs past the start of the point data");
        }
        const std::string_view content = bytes.substr(at + VLR_HEADER_SIZE, length);
        if (r == 0) {
            if (user != "copc" || id != 1 || length != INFO_SIZE) {
                errors.fail("has no COPC info record (its first record is '" + user + "'/" + std::to_string(id)
                            + "): it is a LAS file, but not a COPC file");
            }
            info = content;
        } else if (user == "laszip encoded" && id == LASZIP_RECORD_ID) {
            laszip = content;
        } else if (user == "LASF_Spec" && id == EXTRA_BYTES_RECORD_ID) {
            head.extraBytesRecord = content;
        }
        at += VLR_HEADER_SIZE + length;
    }
    if (!info) {
        errors.fail("has no COPC info record (it has no records at all): it is a LAS file, but not a COPC file");
    }
    if (!laszip) {
        errors.fail("has no LASzip record, so its points are not compressed as COPC points are");
    }
    head.laszipRecord = *laszip;
    checkLaszipRecord(head.laszipRecord, head, errors);

    const char* record = info->data();
    head.center = threeDoubles(record);
    head.halfSize = loadUnaligned<double>(record + 24);
    head.spacing = loadUnaligned<double>(record + 32);
    head.rootPageOffset = loadUnaligned<std::uint64_t>(record + 40);
    head.rootPageSize = loadUnaligned<std::uint64_t>(record + 48);
    head.gpsTimeMinimum = loadUnaligned<double>(record + 56);
    head.gpsTimeMaximum = loadUnaligned<double>(record + 64);
    const bool centerFinite =
        std::all_of(head.center.begin(), head.center.end(), [](double v) { return std::isfinite(v); });
    if (!centerFinite || !std::isfinite(head.halfSize) || head.halfSize <= 0) {
        errors.fail("its COPC info gives no usable octree cube (centre and half size must be finite, the half size "
                    "positive; the half size is "
                    + std::to_string(head.halfSize) + ")");
    }
    if (!std::isfinite(head.spacing) || head.spacing <= 0) {
        errors.fail("its COPC info gives the spacing " + std::to_string(head.spacing) + "; it must be positive");
    }
    if (head.rootPageSize == 0 || head.rootPageSize % 32 != 0 || head.rootPageOffset > fileSize
        || head.rootPageSize > fileSize - head.rootPageOffset) {
        errors.fail("its COPC info places the root hierarchy page (" + std::to_string(head.rootPageSize)
                    + " bytes at byte " + std::to_string(head.rootPageOffset) + ") outside a file of "
                    + std::to_string(fileSize) + " bytes, or its size is not a whole number of 32-byte entries");
    }
    return head;
}

} // namespace Copc
