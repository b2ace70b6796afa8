#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace TestSupport {

// A point of a synthetic COPC file, with its coordinates as stored (world = stored x scale + offset).
struct CopcPoint {
    std::array<std::int32_t, 3> stored{};
    std::uint16_t intensity = 0;
    std::uint8_t classification = 0;
    std::uint16_t pointSource = 0;
    std::array<std::uint16_t, 3> rgb{};
    std::uint16_t nir = 0;
    std::array<float, 3> normal{}; // written only with CopcLayout::normals
};

// A node by its key "D-X-Y-Z" with its points.
struct CopcNode {
    std::string key;
    std::vector<CopcPoint> points;
};

struct CopcLayout {
    unsigned pointFormat = 7; // 6, 7 or 8
    // Three float extra bytes NormalX, NormalY, NormalZ after the format's fields.
    bool normals = false;
    std::array<double, 3> scale{0.01, 0.01, 0.01};
    std::array<double, 3> offset{};
    std::array<double, 3> center{};
    double halfSize = 1;
    double spacing = 1;
    // Keys whose subtree is described by a hierarchy page of its own; the page that holds the
    // key's parent lists it with the count -1. Child pages are written before the pages that
    // point to them, as common writers do.
    std::vector<std::string> pageRoots;
    // Keys listed with the count 0 (no points, no chunk); their descendants are nodes as usual.
    std::vector<std::string> emptyKeys;
    // The LASzip record's chunk size: 0xFFFFFFFF, or 0 as some writers put it.
    std::uint32_t chunkSize = 0xFFFFFFFF;
};

// Writes a COPC file: every node's points compressed by LASzip into a chunk of its own, the
// chunks stored in the reverse order of `nodes`, then the hierarchy pages in one extended record.
// The header's bounds are those of the points.
void writeCopcFile(const std::filesystem::path& file, const std::vector<CopcNode>& nodes, const CopcLayout& layout);

} // namespace TestSupport
