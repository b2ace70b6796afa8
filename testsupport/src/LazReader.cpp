#include <lumaro/testsupport/LasReader.h>

#include <laszip/laszip_api.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace TestSupport {

LasFile readLaz(const std::filesystem::path& file)
{
    laszip_POINTER reader = nullptr;
    if (laszip_create(&reader) != 0 || !reader)
        throw std::runtime_error("cannot create a LASzip reader");
    const std::unique_ptr<void, void (*)(void*)> owned(reader, [](void* handle) { laszip_destroy(handle); });
    laszip_BOOL compressed = 0;
    if (laszip_open_reader(reader, file.string().c_str(), &compressed) != 0)
        throw std::runtime_error("LASzip cannot open " + file.string());
    laszip_header* header = nullptr;
    laszip_point* point = nullptr;
    laszip_get_header_pointer(reader, &header);
    laszip_get_point_pointer(reader, &point);
    LasFile las;
    las.scale = {header->x_scale_factor, header->y_scale_factor, header->z_scale_factor};
    las.offset = {header->x_offset, header->y_offset, header->z_offset};
    const unsigned format = header->point_data_format;
    las.hasColor = format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
    const laszip_U64 count = header->number_of_point_records != 0 ? header->number_of_point_records
                                                                  : header->extended_number_of_point_records;
    for (laszip_U64 i = 0; i < count; ++i) {
        if (laszip_read_point(reader) != 0) {
            laszip_close_reader(reader);
            throw std::runtime_error("LASzip cannot read point " + std::to_string(i) + " of " + file.string());
        }
        LasPoint lasPoint;
        laszip_get_coordinates(reader, lasPoint.position.data());
        lasPoint.intensity = point->intensity;
        lasPoint.classification = format >= 6 ? point->extended_classification : point->classification;
        if (las.hasColor)
            lasPoint.color = {point->rgb[0], point->rgb[1], point->rgb[2]};
        las.points.push_back(lasPoint);
    }
    laszip_close_reader(reader);
    return las;
}

} // namespace TestSupport
