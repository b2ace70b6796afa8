#pragma once

#include <lumaro/octree/entwine/Schema.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace Entwine {

// How the files in ept-data/ are encoded.
enum class DataType {
    Binary, // .bin: packed records in schema order
    Zstandard, // .zst: the same records in one Zstandard stream
    Laszip, // .laz: a complete LAZ file per node
};

// The name in ept.json: "binary", "zstandard" or "laszip".
std::string_view dataTypeName(DataType type);

// The file extension of a node's data file, without the dot ("bin", "zst", "laz").
std::string_view fileExtension(DataType type);

// The contents of an EPT store's ept.json.
class Metadata {
public:
    // Throws std::runtime_error naming `file` when the text is not JSON, a required member is
    // missing or has the wrong type, or a value is unusable (an empty or inverted box, an unknown
    // data type, a hierarchy type other than json, a span that is not positive, a schema without
    // X, Y and Z, or with non-integer X, Y, Z in a binary or zstandard store).
    static Metadata parse(std::string_view json, const std::filesystem::path& file);
    static Metadata load(const std::filesystem::path& file);

    // The root node's box (min x, y, z then max x, y, z) in world coordinates.
    std::array<double, 3> cubeMin{};
    std::array<double, 3> cubeMax{};
    // A box that holds every point (Entwine rounds it outward to whole units); the cube when the
    // file has none.
    std::array<double, 3> conformingMin{};
    std::array<double, 3> conformingMax{};
    DataType dataType = DataType::Binary;
    std::uint64_t points = 0;
    Schema schema;
    // Grid cells per axis of one node; older stores call it "ticks".
    std::uint64_t span = 0;
    std::string version;

    // Nominal point spacing of the root: the cube's x extent divided by the span. Each level
    // below halves it.
    double rootSpacing() const;
};

} // namespace Entwine
