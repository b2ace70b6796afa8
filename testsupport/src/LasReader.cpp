#include <lumaro/testsupport/LasReader.h>

#include <lumaro/core/ReadLocalFile.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace TestSupport {

namespace {

template <typename T>
T at(const std::string& bytes, std::size_t offset)
{
    if (offset + sizeof(T) > bytes.size()) {
        throw std::runtime_error("LAS file too short");
    }
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

} // namespace

LasFile readLas(const std::filesystem::path& file)
{
    const std::string bytes = Core::readLocalFile(file);
    if (bytes.compare(0, 4, "LASF") != 0) {
        throw std::runtime_error(file.string() + " is not a LAS file");
    }
    const auto versionMinor = at<std::uint8_t>(bytes, 25);
    const auto pointOffset = at<std::uint32_t>(bytes, 96);
    const auto format = static_cast<unsigned>(at<std::uint8_t>(bytes, 104) & 0x3Fu);
    const auto recordLength = at<std::uint16_t>(bytes, 105);
    std::uint64_t count = at<std::uint32_t>(bytes, 107);
    if (versionMinor >= 4 && count == 0) {
        count = at<std::uint64_t>(bytes, 247);
    }
    LasFile las;
    for (int axis = 0; axis < 3; ++axis) {
        las.scale[axis] = at<double>(bytes, 131 + 8 * axis);
        las.offset[axis] = at<double>(bytes, 155 + 8 * axis);
    }
    const bool extended = format >= 6;
    if (format > 3 && format != 6 && format != 7) {
        throw std::runtime_error(file.string() + ": point format " + std::to_string(format) + " not supported");
    }
    las.hasColor = format == 2 || format == 3 || format == 7;
    const std::size_t colorOffset = format == 2 ? 20 : format == 3 ? 28 : 30;

    las.points.resize(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::size_t base = pointOffset + i * recordLength;
        LasPoint& point = las.points[i];
        for (int axis = 0; axis < 3; ++axis) {
            point.position[axis] = at<std::int32_t>(bytes, base + 4 * axis) * las.scale[axis] + las.offset[axis];
        }
        point.intensity = at<std::uint16_t>(bytes, base + 12);
        point.classification = extended ? at<std::uint8_t>(bytes, base + 16)
                                        : static_cast<std::uint8_t>(at<std::uint8_t>(bytes, base + 15) & 0x1Fu);
        if (las.hasColor) {
            for (int c = 0; c < 3; ++c) {
                point.color[c] = at<std::uint16_t>(bytes, base + colorOffset + 2 * c);
            }
        }
    }
    return las;
}

} // namespace TestSupport
