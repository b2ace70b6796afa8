#include "PointFiles.h"

#include <lumaro/core/ReadLocalFile.h>

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

template <typename T>
void put(std::string& bytes, std::size_t offset, T value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(T));
}

// Bytes per record before extra bytes, from the tables of the LAS 1.4 specification.
constexpr std::array<std::size_t, 11> LENGTHS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};

bool hasGps(unsigned f) { return f != 0 && f != 2; }
bool hasRgb(unsigned f) { return f == 2 || f == 3 || f == 5 || f == 7 || f == 8 || f == 10; }
bool hasNir(unsigned f) { return f == 8 || f == 10; }
std::size_t gpsAt(unsigned f) { return f < 6 ? 20 : 22; }
std::size_t rgbAt(unsigned f) { return f == 2 ? 20 : f < 6 ? 28 : 30; }

std::int64_t onGrid(double world, double scale, double offset) { return std::llround((world - offset) / scale); }

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
            p.colorAndNir[3] = at<std::uint16_t>(bytes, base + 36);
        }
        p.extraBytes = bytes.substr(base + LENGTHS[format], length - LENGTHS[format]);
    }
    return points;
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
    const std::size_t extra = header->point_data_record_length - (facts.format == 6 ? 30 : facts.format == 7 ? 36 : 38);
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
            p.colorAndNir = {point->rgb[0], point->rgb[1], point->rgb[2], facts.format == 8 ? point->rgb[3] : std::uint16_t{0}};
        }
        p.extraBytes.assign(reinterpret_cast<const char*>(point->extra_bytes), extra);
        facts.points.push_back(p);
    }
    laszip_close_reader(reader);
    laszip_destroy(reader);
    return facts;
}

void writeSyntheticLas(const std::filesystem::path& file, const SyntheticLas& spec, std::size_t count)
{
    const unsigned f = spec.format;
    const std::size_t length = LENGTHS[f] + spec.extraBytes;
    const std::size_t headerSize = spec.minor >= 4 ? 375 : spec.minor == 3 ? 235 : 227;
    std::string header(headerSize, '\0');
    std::memcpy(header.data(), "LASF", 4);
    header[24] = 1;
    header[25] = static_cast<char>(spec.minor);
    put<std::uint16_t>(header, 94, static_cast<std::uint16_t>(headerSize));
    put<std::uint32_t>(header, 96, static_cast<std::uint32_t>(headerSize));
    header[104] = static_cast<char>(f);
    put<std::uint16_t>(header, 105, static_cast<std::uint16_t>(length));
    if (f < 6) {
        put<std::uint32_t>(header, 107, static_cast<std::uint32_t>(count));
    }
    if (spec.minor >= 4) {
        put<std::uint64_t>(header, 247, count);
    }
    const std::size_t width = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    std::string records(count * length, '\0');
    std::array<double, 3> low{1e300, 1e300, 1e300};
    std::array<double, 3> high{-1e300, -1e300, -1e300};
    for (std::size_t i = 0; i < count; ++i) {
        char* r = records.data() + i * length;
        const std::array<std::int32_t, 3> stored{
            static_cast<std::int32_t>((i % width) * 50), static_cast<std::int32_t>((i / width) * 50),
            static_cast<std::int32_t>(1000 + 300 * std::sin(i * 0.001) + (i % 7))};
        for (int axis = 0; axis < 3; ++axis) {
            std::memcpy(r + 4 * axis, &stored[axis], 4);
            const double world = stored[axis] * spec.scale[axis] + spec.offset[axis];
            low[axis] = std::min(low[axis], world);
            high[axis] = std::max(high[axis], world);
        }
        const auto intensity = static_cast<std::uint16_t>(i * 7);
        std::memcpy(r + 12, &intensity, 2);
        const unsigned returns = 1 + i % 5;
        const unsigned returnNumber = 1 + i % returns;
        if (f < 6) {
            r[14] = static_cast<char>(returnNumber | (returns << 3) | ((i % 2) << 6) | ((i % 3 == 0) << 7));
            r[15] = static_cast<char>((i % 19) | ((i % 8) << 5));
            r[16] = static_cast<char>(static_cast<int>(i % 181) - 90);
            r[17] = static_cast<char>(i % 251);
            const auto source = static_cast<std::uint16_t>(i % 65521);
            std::memcpy(r + 18, &source, 2);
        } else {
            const unsigned manyReturns = 1 + i % 15;
            r[14] = static_cast<char>((1 + i % manyReturns) | (manyReturns << 4));
            r[15] = static_cast<char>((i % 16) | ((i % 4) << 4) | ((i % 2) << 6) | ((i % 3 == 0) << 7));
            r[16] = static_cast<char>(i % 256);
            r[17] = static_cast<char>(i % 251);
            const auto angle = static_cast<std::int16_t>(static_cast<int>(i % 30001) - 15000);
            std::memcpy(r + 18, &angle, 2);
            const auto source = static_cast<std::uint16_t>(i % 65521);
            std::memcpy(r + 20, &source, 2);
        }
        if (hasGps(f)) {
            const double time = 1.0e8 + i * 0.25;
            std::memcpy(r + gpsAt(f), &time, 8);
        }
        if (hasRgb(f)) {
            const std::array<std::uint16_t, 3> rgb{static_cast<std::uint16_t>(i * 3), static_cast<std::uint16_t>(i * 5),
                                                   static_cast<std::uint16_t>(65535 - i)};
            std::memcpy(r + rgbAt(f), rgb.data(), 6);
        }
        if (hasNir(f)) {
            const auto nir = static_cast<std::uint16_t>(i * 11);
            std::memcpy(r + 36, &nir, 2);
        }
        for (std::size_t e = 0; e < spec.extraBytes; ++e) {
            r[LENGTHS[f] + e] = static_cast<char>(i * 13 + e);
        }
    }
    for (int axis = 0; axis < 3; ++axis) {
        put<double>(header, 131 + 8 * axis, spec.scale[axis]);
        put<double>(header, 155 + 8 * axis, spec.offset[axis]);
        put<double>(header, 179 + 16 * axis, count ? high[axis] : 0.0);
        put<double>(header, 187 + 16 * axis, count ? low[axis] : 0.0);
    }
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << header << records;
    if (!out) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace IndexTest
