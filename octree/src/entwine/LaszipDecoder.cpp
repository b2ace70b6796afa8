#include <lumaro/octree/entwine/LaszipDecoder.h>

#include <lumaro/octree/OperationCancelled.h>

#include "ColumnReader.h"
#include "LasFields.h"
#include "LoadUnaligned.h"
#include "MemoryStreamBuffer.h"

// LASzip's header declares its stream functions with unqualified std names after a
// using-directive, so it stays confined to this file.
#include <laszip/laszip_api.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Entwine {

namespace {

using Octree::loadUnaligned;
using Octree::PointAttribute;

constexpr std::size_t EXTRA_BYTES_RECORD_ID = 4;
constexpr std::size_t EXTRA_BYTES_ENTRY_SIZE = 192;
constexpr std::uint64_t POINTS_BETWEEN_STOP_CHECKS = 16384;
constexpr std::size_t MAX_POINTS_RESERVED = std::size_t{1} << 20;

constexpr std::size_t LAS_HEADER_MIN_SIZE = 227;
constexpr std::size_t LAS_14_HEADER_SIZE = 375;
constexpr std::size_t VLR_HEADER_SIZE = 54;
constexpr std::size_t EVLR_HEADER_SIZE = 60;
constexpr std::uint16_t LASZIP_RECORD_ID = 22204;

// The versions of the item types that LAZ compresses with: 1 and 2 for the point-wise items of
// point formats 0 to 5 (1 only for wave packets), 2 to 4 for those of LAS 1.4. LASzip leaks its
// point reader when another one fails to set up.
bool decodableVersion(std::uint16_t type, std::uint16_t version)
{
    if (type == 9) {
        return version == 1;
    }
    return type < 9 ? version == 1 || version == 2 : version >= 2 && version <= 4;
}

// The LASzip record's description of the compressed items, as the LAZ format defines it. LASzip
// keeps what it allocated for a record it then refuses, so a damaged one is refused here first.
void checkLaszipRecord(std::string_view record, std::uint16_t pointLength,
                       const std::function<void(const std::string&)>& fail)
{
    if (record.size() < 34) {
        fail("its LASzip record is cut short");
    }
    const auto compressor = loadUnaligned<std::uint16_t>(record.data());
    const auto coder = loadUnaligned<std::uint16_t>(record.data() + 2);
    const auto items = loadUnaligned<std::uint16_t>(record.data() + 32);
    if (compressor > 3 || coder != 0) {
        fail("its LASzip record names compressor " + std::to_string(compressor) + " and coder " + std::to_string(coder)
             + ", which LAZ does not define");
    }
    if (record.size() != 34 + 6 * std::size_t{items}) {
        fail("its LASzip record lists " + std::to_string(items) + " items in " + std::to_string(record.size())
             + " bytes");
    }
    // The sizes of the item types: 0 for the bytes of any count (BYTE and BYTE14), -1 for types no
    // LAZ writer uses.
    static constexpr std::array<int, 15> sizes{0, -1, -1, -1, -1, -1, 20, 8, 6, 29, 30, 6, 8, 29, 0};
    std::size_t itemBytes = 0;
    for (std::size_t i = 0; i < items; ++i) {
        const auto type = loadUnaligned<std::uint16_t>(record.data() + 34 + 6 * i);
        const auto size = loadUnaligned<std::uint16_t>(record.data() + 36 + 6 * i);
        const auto version = loadUnaligned<std::uint16_t>(record.data() + 38 + 6 * i);
        if (type >= sizes.size() || sizes[type] < 0 || (sizes[type] > 0 ? size != sizes[type] : size == 0)
            || (compressor != 0 && !decodableVersion(type, version))) {
            fail("its LASzip record describes item " + std::to_string(i) + " as type " + std::to_string(type) + " of "
                 + std::to_string(size) + " bytes, version " + std::to_string(version) + ", which LAZ does not define");
        }
        itemBytes += size;
    }
    if (itemBytes != pointLength) {
        fail("its LASzip record's items take " + std::to_string(itemBytes)
             + " bytes a point, but its header's points take " + std::to_string(pointLength));
    }
}

// LASzip sizes what it allocates by the header's numbers before it reads what they describe: a
// header size below the header's own fields, records beyond the point data, extended records or a
// chunk table beyond the file would make it allocate gigabytes, or keep what it allocated when it
// then gives up. So the file's layout is checked against its length first.
void requireReadableLayout(std::string_view laz, const std::filesystem::path& file)
{
    if (laz.size() < LAS_HEADER_MIN_SIZE || laz.substr(0, 4) != "LASF") {
        return; // not a LAS file at all: LASzip says so
    }
    const auto fail = [&file](const std::string& problem) { throw std::runtime_error(file.string() + ": " + problem); };
    const std::uint64_t size = laz.size();
    const unsigned minor = static_cast<unsigned char>(laz[25]);
    const auto headerSize = loadUnaligned<std::uint16_t>(laz.data() + 94);
    const auto pointData = loadUnaligned<std::uint32_t>(laz.data() + 96);
    const auto records = loadUnaligned<std::uint32_t>(laz.data() + 100);
    if (headerSize < LAS_HEADER_MIN_SIZE || headerSize > pointData || pointData > size) {
        fail("its header (" + std::to_string(headerSize) + " bytes) and point data offset (" + std::to_string(pointData)
             + ") do not fit a LAS file of " + std::to_string(size) + " bytes");
    }
    std::uint64_t at = headerSize;
    std::optional<std::string_view> laszip;
    for (std::uint32_t r = 0; r < records; ++r) {
        if (at + VLR_HEADER_SIZE > pointData
            || at + VLR_HEADER_SIZE + loadUnaligned<std::uint16_t>(laz.data() + at + 20) > pointData) {
            fail("its record " + std::to_string(r) + " of " + std::to_string(records)
                 + " runs past the start of the point data (" + std::to_string(pointData) + ")");
        }
        const char* vlr = laz.data() + at;
        const auto length = loadUnaligned<std::uint16_t>(vlr + 20);
        if (Octree::fixedLasText(vlr + 2, 16) == "laszip encoded"
            && loadUnaligned<std::uint16_t>(vlr + 18) == LASZIP_RECORD_ID) {
            laszip = laz.substr(at + VLR_HEADER_SIZE, length);
        }
        at += VLR_HEADER_SIZE + length;
    }
    if (laszip) {
        checkLaszipRecord(*laszip, loadUnaligned<std::uint16_t>(laz.data() + 105), fail);
        // A chunk table in the file counts chunks of at least a byte each. A file cut short has
        // lost its table, which LASzip does without for chunks of a fixed size, but it follows a
        // null pointer for chunks of variable size (0 or 0xFFFFFFFF), which only the table tells.
        const auto table = pointData + 8 <= size ? loadUnaligned<std::int64_t>(laz.data() + pointData) : -1;
        const bool tableInFile =
            table >= static_cast<std::int64_t>(pointData) + 8 && static_cast<std::uint64_t>(table) <= size - 8;
        const auto compressor = loadUnaligned<std::uint16_t>(laszip->data());
        const auto chunkSize = loadUnaligned<std::uint32_t>(laszip->data() + 12);
        if (compressor >= 2 && (chunkSize == 0 || chunkSize == UINT32_MAX) && !tableInFile) {
            fail("its chunks are of variable size, but the chunk table that gives their sizes is not in the file ("
                 + std::to_string(size) + " bytes; it is cut short)");
        }
        if (tableInFile) {
            const auto chunks = loadUnaligned<std::uint32_t>(laz.data() + table + 4);
            if (chunks > static_cast<std::uint64_t>(table)) {
                fail("its chunk table counts " + std::to_string(chunks) + " chunks before byte "
                     + std::to_string(table));
            }
        }
    }
    if (minor >= 4 && headerSize >= LAS_14_HEADER_SIZE) {
        std::uint64_t extended = loadUnaligned<std::uint64_t>(laz.data() + 235);
        const auto count = loadUnaligned<std::uint32_t>(laz.data() + 243);
        for (std::uint32_t r = 0; r < count; ++r) {
            if (extended > size || EVLR_HEADER_SIZE > size - extended
                || loadUnaligned<std::uint64_t>(laz.data() + extended + 20) > size - extended - EVLR_HEADER_SIZE) {
                fail("its extended record " + std::to_string(r) + " of " + std::to_string(count)
                     + " lies beyond the end");
            }
            extended += EVLR_HEADER_SIZE + loadUnaligned<std::uint64_t>(laz.data() + extended + 20);
        }
    }
}

// Owns a LASzip reader object.
class LaszipReader {
public:
    explicit LaszipReader(const std::filesystem::path& file) : mFile(file)
    {
        if (laszip_create(&mHandle) != 0 || !mHandle) {
            throw std::runtime_error(mFile.string() + ": cannot create a LASzip reader");
        }
    }
    ~LaszipReader()
    {
        if (mOpen) {
            laszip_close_reader(mHandle);
        }
        laszip_destroy(mHandle);
    }
    LaszipReader(const LaszipReader&) = delete;
    LaszipReader& operator=(const LaszipReader&) = delete;

    void check(laszip_I32 status, std::string_view action) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(mHandle, &message);
            throw std::runtime_error(mFile.string() + ": LASzip cannot " + std::string(action) + ": "
                                     + (message ? message : "no details"));
        }
    }

    void open(std::istream& stream, laszip_U32 selection)
    {
        check(laszip_decompress_selective(mHandle, selection), "select the fields to decompress");
        laszip_BOOL compressed = 0;
        check(laszip_open_reader_stream(mHandle, stream, &compressed), "read the file");
        mOpen = true;
    }

    const laszip_header& header() const
    {
        laszip_header* header = nullptr;
        check(laszip_get_header_pointer(mHandle, &header), "give the header");
        return *header;
    }

    const laszip_point& point() const
    {
        laszip_point* point = nullptr;
        check(laszip_get_point_pointer(mHandle, &point), "give the point");
        return *point;
    }

    void readPoint(std::uint64_t index) const
    {
        const laszip_I32 status = laszip_read_point(mHandle);
        if (status != 0) {
            check(status, "decompress point " + std::to_string(index));
        }
    }

private:
    const std::filesystem::path& mFile;
    laszip_POINTER mHandle = nullptr;
    bool mOpen = false;
};

bool formatHasRgb(unsigned format)
{
    return format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
}

std::uint64_t pointCountOf(const laszip_header& header)
{
    return header.number_of_point_records != 0 ? header.number_of_point_records
                                               : header.extended_number_of_point_records;
}

// The attributes described by a LAS extra-bytes record, placed in each point's extra bytes.
// Entwine stores there the schema dimensions that the LAS point format has no field for.
std::vector<Dimension> extraBytesDimensions(std::string_view record)
{
    static constexpr std::array<std::size_t, 10> baseSizes{1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
    std::vector<Dimension> dimensions;
    std::size_t offset = 0;
    for (std::size_t at = 0; at + EXTRA_BYTES_ENTRY_SIZE <= record.size(); at += EXTRA_BYTES_ENTRY_SIZE) {
        const auto* entry = reinterpret_cast<const unsigned char*>(record.data() + at);
        const unsigned type = entry[2];
        const unsigned options = entry[3];
        if (type == 0) {
            offset += options; // undocumented bytes: the options byte holds their count
            continue;
        }
        if (type > 30) {
            break; // unknown types have unknown sizes, so nothing after them can be placed
        }
        const std::size_t size = baseSizes[(type - 1) % 10] * ((type - 1) / 10 + 1);
        if (type <= 10) {
            const char* name = reinterpret_cast<const char*>(entry + 4);
            Dimension dimension;
            dimension.name = Octree::fixedLasText(name, 32);
            dimension.size = size;
            dimension.type =
                type >= 9 ? DimensionType::Float : (type % 2 == 1 ? DimensionType::Unsigned : DimensionType::Signed);
            dimension.byteOffset = offset;
            double scale = 1.0;
            double valueOffset = 0.0;
            std::memcpy(&scale, entry + 112, sizeof(double));
            std::memcpy(&valueOffset, entry + 136, sizeof(double));
            if ((options & 8u) != 0 && std::isfinite(scale) && scale != 0.0) {
                dimension.scale = scale;
            }
            if ((options & 16u) != 0 && std::isfinite(valueOffset)) {
                dimension.offset = valueOffset;
            }
            dimensions.push_back(dimension);
        }
        offset += size;
    }
    return dimensions;
}

std::string_view extraBytesRecordOf(const laszip_header& header)
{
    for (laszip_U32 v = 0; v < header.number_of_variable_length_records; ++v) {
        const laszip_vlr& vlr = header.vlrs[v];
        if (Octree::fixedLasText(vlr.user_id, sizeof(vlr.user_id)) == "LASF_Spec"
            && vlr.record_id == EXTRA_BYTES_RECORD_ID && vlr.data) {
            return {reinterpret_cast<const char*>(vlr.data), vlr.record_length_after_header};
        }
    }
    return {};
}

const Dimension* findDimension(const std::vector<Dimension>& dimensions, std::string_view name)
{
    for (const Dimension& dimension : dimensions) {
        if (dimension.name == name) {
            return &dimension;
        }
    }
    return nullptr;
}

} // namespace

Octree::PointAttributes lasPointAttributes(unsigned format, std::string_view extraBytesRecord)
{
    Octree::PointAttributes provided = PointAttribute::Position | PointAttribute::Intensity
        | PointAttribute::Classification | PointAttribute::ScanIndex;
    if (formatHasRgb(format)) {
        provided = provided | PointAttribute::Color;
    }
    const std::vector<Dimension> extra = extraBytesDimensions(extraBytesRecord);
    if (findDimension(extra, "NormalX") && findDimension(extra, "NormalY") && findDimension(extra, "NormalZ")) {
        provided = provided | PointAttribute::Normal;
    }
    return provided;
}

DecodedPoints decodeLaszipPoints(std::string_view lazFile, std::uint64_t expectedCount, Octree::PointAttributes wanted,
                                 const std::filesystem::path& file, std::stop_token stop)
{
    requireReadableLayout(lazFile, file);
    MemoryStreamBuffer buffer(lazFile);
    std::istream stream(&buffer);
    LaszipReader reader(file);
    reader.open(stream,
                laszip_DECOMPRESS_SELECTIVE_CHANNEL_RETURNS_XY | laszip_DECOMPRESS_SELECTIVE_Z
                    | laszip_DECOMPRESS_SELECTIVE_RGB | laszip_DECOMPRESS_SELECTIVE_INTENSITY
                    | laszip_DECOMPRESS_SELECTIVE_CLASSIFICATION | laszip_DECOMPRESS_SELECTIVE_POINT_SOURCE
                    | laszip_DECOMPRESS_SELECTIVE_EXTRA_BYTES);

    const laszip_header& header = reader.header();
    const std::uint64_t count = pointCountOf(header);
    if (count != expectedCount) {
        throw std::runtime_error(file.string() + ": its header counts " + std::to_string(count)
                                 + " points, but the hierarchy counts " + std::to_string(expectedCount));
    }
    const unsigned format = header.point_data_format;
    const std::string_view extraBytesRecord = extraBytesRecordOf(header);
    const std::vector<Dimension> extra = extraBytesDimensions(extraBytesRecord);
    const Dimension* originId = findDimension(extra, "OriginId");
    const std::array<const Dimension*, 3> normalDimensions{
        findDimension(extra, "NormalX"), findDimension(extra, "NormalY"), findDimension(extra, "NormalZ")};
    const Octree::PointAttributes provided = lasPointAttributes(format, extraBytesRecord);

    DecodedPoints decoded;
    decoded.scale = {header.x_scale_factor, header.y_scale_factor, header.z_scale_factor};
    decoded.offset = {header.x_offset, header.y_offset, header.z_offset};
    ::Octree::RawPoints& raw = decoded.points;
    raw.attributes = wanted & provided;
    const std::size_t n = static_cast<std::size_t>(count);
    raw.count = n;
    const bool positions = raw.attributes.contains(PointAttribute::Position);
    const bool colors = raw.attributes.contains(PointAttribute::Color);
    const bool intensities = raw.attributes.contains(PointAttribute::Intensity);
    const bool classifications = raw.attributes.contains(PointAttribute::Classification);
    const bool scanIndices = raw.attributes.contains(PointAttribute::ScanIndex);
    const bool normals = raw.attributes.contains(PointAttribute::Normal);
    const bool extendedClassification = format >= 6;
    // Columns grow point by point: a header count that the data cannot back fails on the data,
    // not on an allocation of its size.
    const std::size_t reserved = std::min<std::size_t>(n, MAX_POINTS_RESERVED);
    auto reserve = [reserved](bool wanted, auto& column) {
        if (wanted) {
            column.reserve(reserved);
        }
    };
    reserve(positions, raw.positions);
    reserve(colors, raw.colors);
    reserve(intensities, raw.intensities);
    reserve(classifications, raw.classifications);
    reserve(scanIndices && !originId, raw.scanIndices);

    // Extra bytes are gathered and decoded column by column afterwards, like binary records.
    const bool needExtraBytes = (scanIndices && originId) || normals;
    std::size_t extraStride = 0;
    std::vector<char> extraBytes;

    const laszip_point& point = reader.point();
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i % POINTS_BETWEEN_STOP_CHECKS == 0 && stop.stop_requested()) {
            throw Octree::OperationCancelled();
        }
        reader.readPoint(i);
        if (positions) {
            raw.positions.push_back({point.X, point.Y, point.Z});
        }
        if (colors) {
            raw.colors.push_back({point.rgb[0], point.rgb[1], point.rgb[2]});
        }
        if (intensities) {
            raw.intensities.push_back(point.intensity);
        }
        if (classifications) {
            raw.classifications.push_back(extendedClassification ? point.extended_classification
                                                                 : point.classification);
        }
        if (scanIndices && !originId) {
            raw.scanIndices.push_back(point.point_source_ID);
        }
        if (needExtraBytes) {
            if (i == 0) {
                extraStride = static_cast<std::size_t>(point.num_extra_bytes);
                extraBytes.reserve(extraStride * reserved);
            }
            if (static_cast<std::size_t>(point.num_extra_bytes) != extraStride
                || (extraStride > 0 && !point.extra_bytes)) {
                throw std::runtime_error(file.string() + ": point " + std::to_string(i) + " has "
                                         + std::to_string(point.num_extra_bytes) + " extra bytes instead of "
                                         + std::to_string(extraStride));
            }
            const char* bytes = reinterpret_cast<const char*>(point.extra_bytes);
            extraBytes.insert(extraBytes.end(), bytes, bytes + extraStride);
        }
    }

    auto requireInside = [&](const Dimension& dimension) {
        if (n > 0 && dimension.byteOffset + dimension.size > extraStride) {
            throw std::runtime_error(file.string() + ": extra-bytes attribute " + dimension.name
                                     + " lies beyond the points' " + std::to_string(extraStride) + " extra bytes");
        }
    };
    if (scanIndices && originId) {
        requireInside(*originId);
        raw.scanIndices.resize(n);
        forEachValue(*originId, extraBytes.data(), extraStride, n,
                     [&raw](std::size_t i, auto value) { raw.scanIndices[i] = clampTo<std::uint32_t>(value); });
    }
    if (normals) {
        raw.normals.resize(n);
        for (int axis = 0; axis < 3; ++axis) {
            const Dimension& dimension = *normalDimensions[axis];
            requireInside(dimension);
            forEachValue(dimension, extraBytes.data(), extraStride, n, [&](std::size_t i, auto value) {
                raw.normals[i][axis] =
                    static_cast<float>(static_cast<double>(value) * dimension.scale + dimension.offset);
            });
        }
    }
    return decoded;
}

} // namespace Entwine
