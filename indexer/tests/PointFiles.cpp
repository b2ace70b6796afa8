#include "PointFiles.h"

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/LasRecordLayout.h>

#include <laszip/laszip_api.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace IndexTest {

namespace {

template <typename T>
T at(const std::string& bytes, std::size_t offset)
{
    if (offset + sizeof(T) > bytes.size()) {
        throw std::runtime_error("file too short");
    }
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

using namespace TestSupport::LasRecordLayout;

std::int64_t onGrid(double world, double scale, double offset)
{
    return std::llround((world - offset) / scale);
}

} // namespace

Grid lasGrid(const std::filesystem::path& file)
{
    const std::string bytes = Core::readLocalFileRange(file, 0, 227);
    Grid grid;
    for (int axis = 0; axis < 3; ++axis) {
        grid.scale[axis] = at<double>(bytes, 131 + 8 * axis);
        grid.offset[axis] = at<double>(bytes, 155 + 8 * axis);
    }
    return grid;
}

std::vector<Point> readLasPoints(const std::filesystem::path& file, const Grid& grid)
{
    const std::string bytes = Core::readLocalFile(file);
    const Grid own = lasGrid(file);
    const auto minor = at<std::uint8_t>(bytes, 25);
    const auto dataAt = at<std::uint32_t>(bytes, 96);
    const unsigned format = at<std::uint8_t>(bytes, 104) & 0x3Fu;
    const auto length = at<std::uint16_t>(bytes, 105);
    std::uint64_t count = at<std::uint32_t>(bytes, 107);
    if (minor >= 4 && at<std::uint64_t>(bytes, 247) != 0) {
        count = at<std::uint64_t>(bytes, 247);
    }
    std::vector<Point> points(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::size_t base = dataAt + i * length;
        Point& p = points[i];
        for (int axis = 0; axis < 3; ++axis) {
            const double world = at<std::int32_t>(bytes, base + 4 * axis) * own.scale[axis] + own.offset[axis];
            p.xyz[axis] = onGrid(world, grid.scale[axis], grid.offset[axis]);
        }
        p.intensity = at<std::uint16_t>(bytes, base + 12);
        const auto b14 = at<std::uint8_t>(bytes, base + 14);
        const auto b15 = at<std::uint8_t>(bytes, base + 15);
        if (format < 6) {
            p.returnNumber = b14 & 7u;
            p.returnCount = (b14 >> 3) & 7u;
            p.scanDirection = (b14 >> 6) & 1u;
            p.edge = b14 >> 7;
            p.classification = b15 & 31u;
            p.classFlags = b15 >> 5;
            // Whole degrees become steps of 0.006 degrees, rounded to the nearest.
            p.scanAngle = static_cast<std::int16_t>(std::lround(at<std::int8_t>(bytes, base + 16) / 0.006));
            p.userData = at<std::uint8_t>(bytes, base + 17);
            p.pointSource = at<std::uint16_t>(bytes, base + 18);
        } else {
            p.returnNumber = b14 & 15u;
            p.returnCount = b14 >> 4;
            p.classFlags = b15 & 15u;
            p.channel = (b15 >> 4) & 3u;
            p.scanDirection = (b15 >> 6) & 1u;
            p.edge = b15 >> 7;
            p.classification = at<std::uint8_t>(bytes, base + 16);
            p.userData = at<std::uint8_t>(bytes, base + 17);
            p.scanAngle = at<std::int16_t>(bytes, base + 18);
            p.pointSource = at<std::uint16_t>(bytes, base + 20);
        }
        if (hasGps(format)) {
            p.gpsTime = at<double>(bytes, base + gpsAt(format));
        }
        if (hasRgb(format)) {
            for (int c = 0; c < 3; ++c) {
                p.colorAndNir[c] = at<std::uint16_t>(bytes, base + rgbAt(format) + 2 * c);
            }
        }
        if (hasNir(format)) {
            p.colorAndNir[3] = at<std::uint16_t>(bytes, base + NIR_AT);
        }
        p.extraBytes = bytes.substr(base + LENGTHS[format], length - LENGTHS[format]);
    }
    return points;
}

std::string wktOf(const std::filesystem::path& file)
{
    const std::string bytes = Core::readLocalFile(file);
    std::size_t record = at<std::uint16_t>(bytes, 94);
    for (std::uint32_t r = 0; r < at<std::uint32_t>(bytes, 100); ++r) {
        const std::string user(bytes.data() + record + 2, strnlen(bytes.data() + record + 2, 16));
        const std::size_t length = at<std::uint16_t>(bytes, record + 20);
        if (user == "LASF_Projection" && at<std::uint16_t>(bytes, record + 18) == 2112) {
            const std::string text = bytes.substr(record + 54, length);
            return text.substr(0, text.find('\0'));
        }
        record += 54 + length;
    }
    return {};
}

CopcFacts readCopcWithLaszip(const std::filesystem::path& file)
{
    const std::string head = Core::readLocalFileRange(file, 0, 375 + 54 + 160);
    CopcFacts facts;
    for (int axis = 0; axis < 3; ++axis) {
        facts.grid.scale[axis] = at<double>(head, 131 + 8 * axis);
        facts.grid.offset[axis] = at<double>(head, 155 + 8 * axis);
        facts.headerMaximum[axis] = at<double>(head, 179 + 16 * axis);
        facts.headerMinimum[axis] = at<double>(head, 187 + 16 * axis);
    }
    facts.format = at<std::uint8_t>(head, 104) & 0x3Fu;
    facts.headerCount = at<std::uint64_t>(head, 247);
    for (std::size_t r = 0; r < 15; ++r) {
        facts.headerByReturn[r] = at<std::uint64_t>(head, 255 + 8 * r);
    }
    facts.gpsMinimum = at<double>(head, 375 + 54 + 56);
    facts.gpsMaximum = at<double>(head, 375 + 54 + 64);

    laszip_POINTER reader = nullptr;
    laszip_create(&reader);
    std::ifstream stream(file, std::ios::binary);
    auto check = [&](laszip_I32 status, const char* what) {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(reader, &message);
            const std::string text = std::string("LASzip cannot ") + what + ": " + (message ? message : "");
            laszip_destroy(reader);
            throw std::runtime_error(text);
        }
    };
    laszip_BOOL compressed = 0;
    check(laszip_open_reader_stream(reader, stream, &compressed), "open the COPC file");
    laszip_header* header = nullptr;
    check(laszip_get_header_pointer(reader, &header), "give the header");
    laszip_point* point = nullptr;
    check(laszip_get_point_pointer(reader, &point), "give the point");
    const std::size_t extra = header->point_data_record_length - LENGTHS[facts.format];
    for (std::uint64_t i = 0; i < header->extended_number_of_point_records; ++i) {
        check(laszip_read_point(reader), "read a point");
        Point p;
        p.xyz = {point->X, point->Y, point->Z};
        p.intensity = point->intensity;
        p.returnNumber = point->extended_return_number;
        p.returnCount = point->extended_number_of_returns;
        p.classFlags = point->extended_classification_flags;
        p.channel = point->extended_scanner_channel;
        p.scanDirection = point->scan_direction_flag;
        p.edge = point->edge_of_flight_line;
        p.classification = point->extended_classification;
        p.userData = point->user_data;
        p.scanAngle = point->extended_scan_angle;
        p.pointSource = point->point_source_ID;
        p.gpsTime = point->gps_time;
        if (facts.format >= 7) {
            p.colorAndNir = {point->rgb[0], point->rgb[1], point->rgb[2],
                             facts.format == 8 ? point->rgb[3] : std::uint16_t{0}};
        }
        p.extraBytes.assign(reinterpret_cast<const char*>(point->extra_bytes), extra);
        facts.points.push_back(p);
    }
    laszip_close_reader(reader);
    laszip_destroy(reader);
    return facts;
}

} // namespace IndexTest
