#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace TestSupport {

// A point of a synthetic store, in world coordinates.
struct StorePoint {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    std::uint8_t red = 255;
    std::uint8_t green = 255;
    std::uint8_t blue = 255;
    std::uint16_t intensity = 0;
    std::uint8_t classification = 0;
};

// A node by its conventional name ("r", "r0", "r07", ...) and its points, which must lie in its
// cube. A hidden node is marked so in its hierarchy record (the whole node's points are hidden).
struct StoreNode {
    std::string name;
    std::vector<StorePoint> points;
    bool hidden = false;
};

// The root cube of a synthetic store and its quantisation step.
struct StoreCube {
    double min = 0.0;
    double size = 16.0;
    double scale = 0.001;
};

// Writes a Potree 2.0 store in the DEFAULT (interleaved) encoding with the attributes position,
// intensity, rgb (8-bit values in the 16-bit fields) and classification into `folder`: metadata.json (spacing
// cube size / 128, position range the tight bounds of the points), one hierarchy chunk in
// breadth-first order, and octree.bin. Nodes on the way to a listed node that are not listed
// themselves are written empty. Coordinates are stored as integers rounded to the scale, so place
// points on multiples of it to read back exactly what was written.
void writePotreeStore(const std::filesystem::path& folder, const std::vector<StoreNode>& nodes,
                      const StoreCube& cube = {});

} // namespace TestSupport
