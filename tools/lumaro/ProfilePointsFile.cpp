#include "ProfilePointsFile.h"

#include "OutputFile.h"
#include "PointWriter.h"

// LASzip's header declares its stream functions with unqualified std names after a
// using-directive, so it stays confined to this file.
#include <laszip/laszip_api.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

namespace Tool {

namespace {

constexpr laszip_U16 las14HeaderSize = 375;
constexpr laszip_U16 format7RecordLength = 36;

std::string lowerExtension(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

class LaszipWriter {
public:
    explicit LaszipWriter(const std::filesystem::path& path) : mPath(path)
    {
        if (laszip_create(&mHandle) != 0 || !mHandle)
            throw std::runtime_error("cannot create a LASzip writer for " + path.string());
    }
    ~LaszipWriter()
    {
        if (mOpen)
            laszip_close_writer(mHandle);
        laszip_destroy(mHandle);
    }
    LaszipWriter(const LaszipWriter&) = delete;
    LaszipWriter& operator=(const LaszipWriter&) = delete;

    laszip_POINTER handle() const { return mHandle; }

    void check(laszip_I32 status, const char* action) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(mHandle, &message);
            throw std::runtime_error("cannot write " + mPath.string() + ": LASzip cannot " + action + ": "
                                     + (message ? message : "no details"));
        }
    }

    void open(const std::filesystem::path& file, bool compress)
    {
        check(laszip_open_writer(mHandle, file.string().c_str(), compress ? 1 : 0), "open the file");
        mOpen = true;
    }

    void close()
    {
        mOpen = false;
        check(laszip_close_writer(mHandle), "finish the file");
    }

private:
    std::filesystem::path mPath;
    laszip_POINTER mHandle = nullptr;
    bool mOpen = false;
};

// The grid of the points: theirs when they share one, otherwise millimetres from their lowest corner.
void chooseGrid(const Measure::Profile& profile, std::array<double, 3>& scale, std::array<double, 3>& offset)
{
    if (profile.scale[0] > 0.0 && profile.scale[1] > 0.0 && profile.scale[2] > 0.0) {
        scale = profile.scale;
        offset = profile.offset;
        return;
    }
    scale = {0.001, 0.001, 0.001};
    offset = {0.0, 0.0, 0.0};
    for (int axis = 0; axis < 3; ++axis) {
        double lowest = std::numeric_limits<double>::infinity();
        for (const Measure::ProfilePoint& point : profile.points)
            lowest = std::min(lowest, point.position[axis]);
        offset[axis] = profile.points.empty() ? 0.0 : std::floor(lowest);
    }
}

void writeLas(const Measure::Profile& profile, const std::filesystem::path& file, const std::filesystem::path& named,
              bool compress)
{
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    chooseGrid(profile, scale, offset);
    LaszipWriter writer(named);
    laszip_header* header = nullptr;
    writer.check(laszip_get_header_pointer(writer.handle(), &header), "give its header");
    header->version_major = 1;
    header->version_minor = 4;
    header->header_size = las14HeaderSize;
    header->offset_to_point_data = las14HeaderSize;
    header->point_data_format = 7;
    header->point_data_record_length = format7RecordLength;
    header->x_scale_factor = scale[0];
    header->y_scale_factor = scale[1];
    header->z_scale_factor = scale[2];
    header->x_offset = offset[0];
    header->y_offset = offset[1];
    header->z_offset = offset[2];
    header->extended_number_of_point_records = profile.points.size();
    header->min_x = header->min_y = header->min_z = profile.points.empty() ? 0.0 : std::numeric_limits<double>::max();
    header->max_x = header->max_y = header->max_z =
        profile.points.empty() ? 0.0 : std::numeric_limits<double>::lowest();
    for (const Measure::ProfilePoint& point : profile.points) {
        header->min_x = std::min(header->min_x, point.position[0]);
        header->min_y = std::min(header->min_y, point.position[1]);
        header->min_z = std::min(header->min_z, point.position[2]);
        header->max_x = std::max(header->max_x, point.position[0]);
        header->max_y = std::max(header->max_y, point.position[1]);
        header->max_z = std::max(header->max_z, point.position[2]);
    }
    header->extended_number_of_points_by_return[0] = profile.points.size();
    if (compress)
        writer.check(laszip_request_native_extension(writer.handle(), 1), "compress LAS 1.4 points");
    writer.open(file, compress);
    laszip_point* record = nullptr;
    writer.check(laszip_get_point_pointer(writer.handle(), &record), "give its point");
    for (const Measure::ProfilePoint& point : profile.points) {
        laszip_I32 stored[3];
        for (int axis = 0; axis < 3; ++axis) {
            const double step = std::round((point.position[axis] - offset[axis]) / scale[axis]);
            if (!(std::abs(step) <= double(std::numeric_limits<laszip_I32>::max())))
                throw std::runtime_error("cannot write " + named.string()
                                         + ": a coordinate lies too far from the grid's offset");
            stored[axis] = static_cast<laszip_I32>(step);
        }
        record->X = stored[0];
        record->Y = stored[1];
        record->Z = stored[2];
        record->intensity = point.intensity;
        record->extended_return_number = 1;
        record->extended_number_of_returns = 1;
        record->return_number = 1;
        record->number_of_returns = 1;
        record->extended_classification = point.classification;
        record->classification = 0;
        std::copy(point.color.begin(), point.color.end(), record->rgb);
        writer.check(laszip_write_point(writer.handle()), "write a point");
    }
    writer.close();
}

void writeText(const Measure::Profile& profile, const std::filesystem::path& file, const std::filesystem::path& named)
{
    std::ofstream out(file, std::ios::trunc);
    std::string line;
    for (const Measure::ProfilePoint& point : profile.points) {
        const PointLine text{
            point.position, {point.color[0], point.color[1], point.color[2]}, point.intensity, point.classification};
        writePointLine(text, out, line);
    }
    if (!out.flush())
        throw std::runtime_error("cannot write the points to " + named.string());
}

} // namespace

void writeProfilePoints(const Measure::Profile& profile, const std::filesystem::path& path)
{
    const std::string extension = lowerExtension(path);
    writeWhole(path, [&](const std::filesystem::path& temporary) {
        if (extension == ".las" || extension == ".laz")
            writeLas(profile, temporary, path, extension == ".laz");
        else
            writeText(profile, temporary, path);
    });
}

} // namespace Tool
