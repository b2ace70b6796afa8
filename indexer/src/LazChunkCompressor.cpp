#include <lumaro/indexer/LazChunkCompressor.h>

#include "PointRecord.h"

// LASzip's header declares its stream functions with unqualified std names after a
// using-directive, so it stays confined to this file and the readers'.
#include <laszip/laszip_api.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace Index {

namespace {

constexpr std::size_t LAS14_HEADER_SIZE = 375;
constexpr std::size_t RECORD_HEADER_SIZE = 54;

class LaszipWriter {
public:
    LaszipWriter()
    {
        if (laszip_create(&mHandle) != 0 || !mHandle) {
            throw std::runtime_error("cannot create a LASzip writer");
        }
    }
    ~LaszipWriter() { laszip_destroy(mHandle); }
    LaszipWriter(const LaszipWriter&) = delete;
    LaszipWriter& operator=(const LaszipWriter&) = delete;

    laszip_POINTER handle() const { return mHandle; }

    void check(laszip_I32 status, const char* action) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(mHandle, &message);
            throw std::runtime_error(std::string("LASzip cannot ") + action + ": "
                                     + (message ? message : "no details"));
        }
    }

private:
    laszip_POINTER mHandle = nullptr;
};

template <typename T>
T loadAt(const std::string& bytes, std::size_t at)
{
    if (at + sizeof(T) > bytes.size()) {
        throw std::runtime_error("LASzip wrote a stream too short for its own header");
    }
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

// Fills LASzip's point from a record; the legacy flag bits must mirror the extended ones, and
// the legacy class may stay 0 beside the extended one.
void fillPoint(laszip_point& point, const char* record, std::size_t extraBytes, std::size_t coreLength, unsigned format)
{
    point.X = loadField<std::int32_t>(record, 0);
    point.Y = loadField<std::int32_t>(record, 4);
    point.Z = loadField<std::int32_t>(record, 8);
    point.intensity = loadField<std::uint16_t>(record, RecordField::INTENSITY);
    const unsigned returns = static_cast<unsigned char>(record[RecordField::RETURNS]);
    const unsigned flags = static_cast<unsigned char>(record[RecordField::FLAGS]);
    point.extended_return_number = returns & 15u;
    point.extended_number_of_returns = returns >> 4;
    point.return_number = std::min(returns & 15u, 7u);
    point.number_of_returns = std::min(returns >> 4, 7u);
    point.extended_classification_flags = flags & 15u;
    point.synthetic_flag = flags & 1u;
    point.keypoint_flag = (flags >> 1) & 1u;
    point.withheld_flag = (flags >> 2) & 1u;
    point.extended_scanner_channel = (flags >> 4) & 3u;
    point.scan_direction_flag = (flags >> 6) & 1u;
    point.edge_of_flight_line = flags >> 7;
    point.extended_classification = static_cast<laszip_U8>(record[RecordField::CLASSIFICATION]);
    point.classification = 0;
    point.user_data = static_cast<laszip_U8>(record[RecordField::USER_DATA]);
    point.extended_scan_angle = loadField<std::int16_t>(record, RecordField::SCAN_ANGLE);
    point.point_source_ID = loadField<std::uint16_t>(record, RecordField::POINT_SOURCE);
    point.gps_time = loadField<double>(record, RecordField::GPS_TIME);
    if (format >= 7) {
        std::memcpy(point.rgb, record + RecordField::RGB, 6);
    }
    if (format == 8) {
        std::memcpy(&point.rgb[3], record + RecordField::NIR, 2);
    }
    if (extraBytes > 0) {
        std::memcpy(point.extra_bytes, record + coreLength, extraBytes);
    }
}

} // namespace

LazChunkCompressor::LazChunkCompressor(unsigned format, std::size_t extraBytes)
    : mFormat(format), mExtraBytes(extraBytes), mRecordLength(PointLayout{format, extraBytes}.recordLength())
{
    if (format < 6 || format > 8) {
        throw std::invalid_argument("COPC chunks hold points of format 6, 7 or 8, not " + std::to_string(format));
    }
    compressAndFrame({}, 0, &mLaszipRecord);
    std::memcpy(mLaszipRecord.data() + 12, "\xFF\xFF\xFF\xFF", 4);
}

std::string LazChunkCompressor::compress(std::string_view records, std::size_t count) const
{
    if (records.size() != count * mRecordLength) {
        throw std::invalid_argument("a chunk of " + std::to_string(count) + " records of "
                                    + std::to_string(mRecordLength) + " bytes cannot be "
                                    + std::to_string(records.size()) + " bytes long");
    }
    return compressAndFrame(records, count, nullptr);
}

std::string LazChunkCompressor::compressAndFrame(std::string_view records, std::size_t count,
                                                 std::string* laszipRecord) const
{
    LaszipWriter writer;
    laszip_header* header = nullptr;
    writer.check(laszip_get_header_pointer(writer.handle(), &header), "give its header");
    header->version_major = 1;
    header->version_minor = 4;
    header->header_size = LAS14_HEADER_SIZE;
    header->offset_to_point_data = LAS14_HEADER_SIZE;
    header->point_data_format = static_cast<laszip_U8>(mFormat);
    header->point_data_record_length = static_cast<laszip_U16>(mRecordLength);
    header->x_scale_factor = header->y_scale_factor = header->z_scale_factor = 1.0;
    header->extended_number_of_point_records = count;
    writer.check(laszip_request_native_extension(writer.handle(), 1), "use layered chunks");
    writer.check(laszip_set_chunk_size(writer.handle(), static_cast<laszip_U32>(std::max<std::size_t>(count, 1))),
                 "set the chunk size");
    std::ostringstream stream(std::ios::binary);
    writer.check(laszip_open_writer_stream(writer.handle(), stream, 1, 0), "open a stream");
    laszip_point* point = nullptr;
    writer.check(laszip_get_point_pointer(writer.handle(), &point), "give its point");
    const std::size_t coreLength = PointLayout{mFormat, mExtraBytes}.coreLength();
    for (std::size_t i = 0; i < count; ++i) {
        fillPoint(*point, records.data() + i * mRecordLength, mExtraBytes, coreLength, mFormat);
        writer.check(laszip_write_point(writer.handle()), "compress a point");
    }
    writer.check(laszip_close_writer(writer.handle()), "close the stream");

    // The stream: header, LASzip's record, the chunk table pointer, the chunk, the chunk table.
    const std::string laz = std::move(stream).str();
    const auto pointData = loadAt<std::uint32_t>(laz, 96);
    if (laszipRecord) {
        std::size_t at = loadAt<std::uint16_t>(laz, 94);
        for (std::uint32_t r = 0; r < loadAt<std::uint32_t>(laz, 100); ++r) {
            const std::size_t length = loadAt<std::uint16_t>(laz, at + 20);
            if (std::strncmp(laz.data() + at + 2, "laszip encoded", 16) == 0
                && loadAt<std::uint16_t>(laz, at + 18) == 22204) {
                *laszipRecord = laz.substr(at + RECORD_HEADER_SIZE, length);
            }
            at += RECORD_HEADER_SIZE + length;
        }
    }
    auto table = loadAt<std::int64_t>(laz, pointData);
    if (table == -1) {
        table = loadAt<std::int64_t>(laz, laz.size() - 8);
    }
    if (table < static_cast<std::int64_t>(pointData) + 8 || static_cast<std::uint64_t>(table) > laz.size()) {
        throw std::runtime_error("LASzip wrote a chunk table pointer outside its stream");
    }
    return laz.substr(pointData + 8, static_cast<std::size_t>(table) - pointData - 8);
}

} // namespace Index
