#include "RecordConverter.h"

#include "LasHeader.h"

#include <laszip/laszip_api.h>

#include <limits>
#include <stdexcept>

namespace Index {

namespace {

// Where the colour of an uncompressed record of a LAS format lies (formats with colour only).
std::size_t colorOffset(unsigned format)
{
    return format == 2 ? 20 : format < 6 ? 28 : 30;
}

} // namespace

RecordConverter::RecordConverter(unsigned inputFormat, std::size_t inputRecordLength, const PointLayout& output,
                                 GridChange grid, std::string file)
    : mFormat(inputFormat),
      mInputLength(inputRecordLength),
      mInputExtraAt(lasCoreLength(inputFormat)),
      mOutput(output),
      mGrid(grid),
      mFile(std::move(file))
{}

void RecordConverter::storePosition(std::int64_t x, std::int64_t y, std::int64_t z, char* out,
                                    std::uint64_t index) const
{
    const std::array<std::int64_t, 3> input{x, y, z};
    for (int axis = 0; axis < 3; ++axis) {
        const std::int64_t value = input[axis] * mGrid.factor[axis] + mGrid.shift[axis];
        if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
            throw std::runtime_error(mFile + ": point " + std::to_string(index)
                                     + " lies outside the range of the output's coordinate grid");
        }
        storeField<std::int32_t>(out, RecordField::X + 4 * axis, static_cast<std::int32_t>(value));
    }
}

void RecordConverter::storeFields(std::uint16_t intensity, unsigned returnNumber, unsigned returnCount,
                                  unsigned classFlags, unsigned channel, unsigned direction, unsigned edge,
                                  std::uint8_t classification, std::uint8_t userData, std::int16_t scanAngle,
                                  std::uint16_t pointSource, double gpsTime, char* out) const
{
    storeField<std::uint16_t>(out, RecordField::INTENSITY, intensity);
    out[RecordField::RETURNS] = static_cast<char>((returnNumber & 15u) | ((returnCount & 15u) << 4));
    out[RecordField::FLAGS] =
        static_cast<char>((classFlags & 15u) | ((channel & 3u) << 4) | ((direction & 1u) << 6) | ((edge & 1u) << 7));
    out[RecordField::CLASSIFICATION] = static_cast<char>(classification);
    out[RecordField::USER_DATA] = static_cast<char>(userData);
    storeField<std::int16_t>(out, RecordField::SCAN_ANGLE, scanAngle);
    storeField<std::uint16_t>(out, RecordField::POINT_SOURCE, pointSource);
    storeField<double>(out, RecordField::GPS_TIME, gpsTime);
}

void RecordConverter::fromLas(const char* in, char* out, std::uint64_t index) const
{
    storePosition(loadField<std::int32_t>(in, 0), loadField<std::int32_t>(in, 4), loadField<std::int32_t>(in, 8), out,
                  index);
    const auto intensity = loadField<std::uint16_t>(in, 12);
    if (mFormat >= 6) {
        const auto returns = static_cast<unsigned char>(in[14]);
        const auto flags = static_cast<unsigned char>(in[15]);
        storeFields(intensity, returns & 15u, returns >> 4, flags & 15u, (flags >> 4) & 3u, (flags >> 6) & 1u,
                    flags >> 7, static_cast<std::uint8_t>(in[16]), static_cast<std::uint8_t>(in[17]),
                    loadField<std::int16_t>(in, 18), loadField<std::uint16_t>(in, 20), loadField<double>(in, 22), out);
    } else {
        const auto returns = static_cast<unsigned char>(in[14]);
        const auto classByte = static_cast<unsigned char>(in[15]);
        storeFields(intensity, returns & 7u, (returns >> 3) & 7u, classByte >> 5, 0, (returns >> 6) & 1u, returns >> 7,
                    static_cast<std::uint8_t>(classByte & 31u), static_cast<std::uint8_t>(in[17]),
                    scanAngleOfRank(static_cast<std::int8_t>(in[16])), loadField<std::uint16_t>(in, 18),
                    lasFormatHasGpsTime(mFormat) ? loadField<double>(in, 20) : 0.0, out);
    }
    if (mOutput.format >= 7) {
        std::memcpy(out + RecordField::RGB, in + colorOffset(mFormat), 6);
    }
    if (mOutput.format == 8) {
        std::memcpy(out + RecordField::NIR, in + 36, 2);
    }
    if (mOutput.extraBytes > 0) {
        std::memcpy(out + mOutput.coreLength(), in + mInputExtraAt, mOutput.extraBytes);
    }
}

void RecordConverter::fromLaszip(const laszip_point& point, char* out, std::uint64_t index) const
{
    storePosition(point.X, point.Y, point.Z, out, index);
    if (mFormat >= 6) {
        storeFields(point.intensity, point.extended_return_number, point.extended_number_of_returns,
                    point.extended_classification_flags, point.extended_scanner_channel, point.scan_direction_flag,
                    point.edge_of_flight_line, point.extended_classification, point.user_data,
                    point.extended_scan_angle, point.point_source_ID, point.gps_time, out);
    } else {
        const unsigned classFlags = point.synthetic_flag | (point.keypoint_flag << 1) | (point.withheld_flag << 2);
        storeFields(point.intensity, point.return_number, point.number_of_returns, classFlags, 0,
                    point.scan_direction_flag, point.edge_of_flight_line, point.classification, point.user_data,
                    scanAngleOfRank(point.scan_angle_rank), point.point_source_ID,
                    lasFormatHasGpsTime(mFormat) ? point.gps_time : 0.0, out);
    }
    if (mOutput.format >= 7) {
        std::memcpy(out + RecordField::RGB, point.rgb, 6);
    }
    if (mOutput.format == 8) {
        std::memcpy(out + RecordField::NIR, &point.rgb[3], 2);
    }
    if (mOutput.extraBytes > 0) {
        if (point.num_extra_bytes < static_cast<laszip_I32>(mOutput.extraBytes) || !point.extra_bytes) {
            throw std::runtime_error(mFile + ": point " + std::to_string(index) + " has "
                                     + std::to_string(point.num_extra_bytes) + " extra bytes instead of "
                                     + std::to_string(mOutput.extraBytes));
        }
        // Waveform formats keep their packet between the core fields and the extra bytes; LASzip
        // hands the extra bytes alone.
        std::memcpy(out + mOutput.coreLength(), point.extra_bytes, mOutput.extraBytes);
    }
}

} // namespace Index
