// Packed EPT records of any schema: the first byte gives the number of dimensions, one byte per
// dimension its type and size, two bytes the point count, the rest the records. Decoding must
// either succeed or throw std::runtime_error; anything else is a bug.
#include <lumaro/octree/entwine/BinaryDecoder.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr std::array<const char*, 16> names{
        "X",       "Y",       "Z",        "Intensity",     "Classification", "Red",
        "Green",   "Blue",    "OriginId", "PointSourceId", "NormalX",        "NormalY",
        "NormalZ", "GpsTime", "UserData", "ReturnNumber"};
    static constexpr std::array<std::size_t, 4> sizes{1, 2, 4, 8};
    if (size < 1) {
        return 0;
    }
    const std::size_t dimensions = data[0] % names.size() + 1;
    if (size < 1 + dimensions + 2) {
        return 0;
    }
    std::vector<Entwine::Dimension> schemaDimensions;
    for (std::size_t i = 0; i < dimensions; ++i) {
        const std::uint8_t code = data[1 + i];
        Entwine::Dimension dimension;
        dimension.name = names[i];
        dimension.type = static_cast<Entwine::DimensionType>(code % 3);
        dimension.size = sizes[(code >> 2) % 4];
        dimension.scale = (code & 0x10) ? 0.01 : 1.0;
        schemaDimensions.push_back(dimension);
    }
    const std::uint64_t count = data[1 + dimensions] | std::uint64_t{data[2 + dimensions]} << 8;
    const std::size_t header = 3 + dimensions;
    const std::string_view records(reinterpret_cast<const char*>(data + header), size - header);
    try {
        const Entwine::Schema schema(std::move(schemaDimensions));
        Entwine::decodeBinaryPoints(records, schema, count, Octree::PointAttributes::all(), "fuzz.bin");
    } catch (const std::invalid_argument&) {
        // impossible schema, e.g. a one-byte float
    } catch (const std::runtime_error&) {
        // wrong length or float coordinates: reported, not crashed
    }
    return 0;
}
