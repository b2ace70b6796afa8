#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PoTree {

enum class Encoding {
    Default, // interleaved records
    Brotli, // one Brotli stream of columns per node
};

struct AttributeDescription {
    std::string name;
    std::string type;
    // Bytes per point in the interleaved (DEFAULT) layout: numElements x elementSize.
    std::size_t size = 0;
    std::size_t numElements = 0;
    std::size_t elementSize = 0;
    std::vector<double> min;
    std::vector<double> max;
};

// The contents of a Potree 2.0 metadata.json.
class Metadata {
public:
    // Throws std::runtime_error naming `file` when the text is not JSON, a required field is
    // missing or has the wrong type, or the values are unusable: a scale or spacing that is not
    // positive, a bounding box whose minimum is not below its maximum, no "position" attribute of
    // 12 bytes, an rgb attribute of other than 6 bytes in the interleaved encoding, or an
    // attribute of implausible size.
    static Metadata parse(std::string_view json, const std::filesystem::path& file);
    static Metadata load(const std::filesystem::path& file);

    std::string version;
    std::string name;
    std::uint64_t points = 0;
    std::uint64_t firstChunkSize = 0;
    std::uint32_t stepSize = 0;
    std::array<double, 3> offset{};
    std::array<double, 3> scale{};
    double spacing = 0;
    std::array<double, 3> cubeMin{};
    std::array<double, 3> cubeMax{};
    Encoding encoding = Encoding::Default;
    std::vector<AttributeDescription> attributes;
    // Set when the high nibble of a hierarchy record's first byte tells the visibility of the
    // whole node (optional field "nodeVisibility" of metadata.json; off in converter output).
    bool hasNodeVisibility = false;

    // Bytes of one point in a node chunk of this store's encoding. In the Brotli layout position
    // takes 16 and rgb 8 bytes per point (their Morton codes); every other attribute its size.
    std::size_t bytesPerPoint() const;
    static std::size_t brotliColumnWidth(const AttributeDescription& attribute);

    // nullptr when there is no attribute of exactly this name.
    const AttributeDescription* attribute(std::string_view name) const;

    // The tight bounds of the points, from the position attribute's range; the cube when the
    // range is absent.
    std::array<double, 3> tightMin() const;
    std::array<double, 3> tightMax() const;

    // Whether colours use the 16-bit range and are brought to 8 bits by dividing by 256, decided
    // from the rgb attribute's declared maximum; std::nullopt when the store declares none.
    std::optional<bool> colorsAre16Bit() const;
};

} // namespace PoTree
