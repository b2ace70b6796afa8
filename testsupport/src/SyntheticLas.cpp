#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/LasRecordLayout.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

namespace TestSupport {

namespace {

template <typename T>
void put(std::string& bytes, std::size_t offset, T value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(T));
}

using namespace LasRecordLayout;

} // namespace

void writeSyntheticLas(const std::filesystem::path& file, const SyntheticLas& recipe, std::size_t count)
{
    const unsigned f = recipe.format;
    const std::size_t length = LENGTHS[f] + recipe.extraBytes;
    const std::size_t headerSize = recipe.minor >= 4 ? 375 : recipe.minor == 3 ? 235 : 227;
    std::string header(headerSize, '\0');
    std::memcpy(header.data(), "LASF", 4);
    header[24] = 1;
    header[25] = static_cast<char>(recipe.minor);
    put<std::uint16_t>(header, 94, static_cast<std::uint16_t>(headerSize));
    put<std::uint32_t>(header, 96, static_cast<std::uint32_t>(headerSize));
    header[104] = static_cast<char>(f);
    put<std::uint16_t>(header, 105, static_cast<std::uint16_t>(length));
    if (f < 6) {
        put<std::uint32_t>(header, 107, static_cast<std::uint32_t>(count));
    }
    if (recipe.minor >= 4) {
        put<std::uint64_t>(header, 247, count);
    }
    const std::size_t width = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    std::string records(count * length, '\0');
    std::array<double, 3> low{1e300, 1e300, 1e300};
    std::array<double, 3> high{-1e300, -1e300, -1e300};
    for (std::size_t i = 0; i < count; ++i) {
        char* r = records.data() + i * length;
        const std::array<std::int32_t, 3> stored{static_cast<std::int32_t>((i % width) * 50),
                                                 static_cast<std::int32_t>((i / width) * 50),
                                                 static_cast<std::int32_t>(1000 + 300 * std::sin(i * 0.001) + (i % 7))};
        for (int axis = 0; axis < 3; ++axis) {
            std::memcpy(r + 4 * axis, &stored[axis], 4);
            const double world = stored[axis] * recipe.scale[axis] + recipe.offset[axis];
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
            std::memcpy(r + NIR_AT, &nir, 2);
        }
        for (std::size_t e = 0; e < recipe.extraBytes; ++e) {
            r[LENGTHS[f] + e] = static_cast<char>(i * 13 + e);
        }
    }
    for (int axis = 0; axis < 3; ++axis) {
        put<double>(header, 131 + 8 * axis, recipe.scale[axis]);
        put<double>(header, 155 + 8 * axis, recipe.offset[axis]);
        put<double>(header, 179 + 16 * axis, count ? high[axis] : 0.0);
        put<double>(header, 187 + 16 * axis, count ? low[axis] : 0.0);
    }
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << header << records;
    if (!out) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace TestSupport
