#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/PotreeEncoding.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>

namespace TestSupport {

namespace {

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file)
        throw std::runtime_error("cannot write " + path.string());
}

std::string triple(double a, double b, double c)
{
    std::ostringstream text;
    text.precision(17);
    text << '[' << a << ", " << b << ", " << c << ']';
    return text.str();
}

} // namespace

void writePotreeStore(const std::filesystem::path& folder, const std::vector<StoreNode>& nodes, const StoreCube& cube)
{
    std::filesystem::create_directories(folder);
    // Every node with its ancestors, by name; a child's name extends its parent's by one digit.
    std::map<std::string, const StoreNode*> byName;
    for (const StoreNode& node : nodes) {
        for (std::size_t length = 1; length < node.name.size(); ++length)
            byName.emplace(node.name.substr(0, length), nullptr);
        byName[node.name] = &node;
    }
    byName.emplace("r", nullptr);

    std::string octree;
    std::string hierarchy;
    std::uint64_t total = 0;
    bool anyHidden = false;
    double low[3] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
                     std::numeric_limits<double>::max()};
    double high[3] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(),
                      std::numeric_limits<double>::lowest()};
    std::vector<std::string> order{"r"};
    for (std::size_t k = 0; k < order.size(); ++k) {
        const std::string name = order[k]; // a copy: the list grows below
        std::uint8_t childMask = 0;
        for (char digit = '0'; digit <= '7'; ++digit) {
            if (byName.contains(name + digit)) {
                childMask |= static_cast<std::uint8_t>(1u << (digit - '0'));
                order.push_back(name + digit);
            }
        }
        const StoreNode* node = byName.at(name);
        const std::uint64_t offset = octree.size();
        const std::size_t count = node ? node->points.size() : 0;
        for (std::size_t i = 0; i < count; ++i) {
            const StorePoint& point = node->points[i];
            const double xyz[3] = {point.x, point.y, point.z};
            for (int axis = 0; axis < 3; ++axis) {
                octree += bytesOf(static_cast<std::int32_t>(std::llround((xyz[axis] - cube.min) / cube.scale)));
                low[axis] = std::min(low[axis], xyz[axis]);
                high[axis] = std::max(high[axis], xyz[axis]);
            }
            octree += bytesOf(point.intensity) + bytesOf(std::uint16_t{point.red}) + bytesOf(std::uint16_t{point.green})
                + bytesOf(std::uint16_t{point.blue}) + bytesOf(point.classification);
        }
        total += count;
        const bool hidden = node && node->hidden;
        anyHidden = anyHidden || hidden;
        // Type 0 with the visibility of the whole node.
        hierarchy += hierarchyRecord(0, childMask, static_cast<std::uint32_t>(count), count == 0 ? 0 : offset,
                                     octree.size() - offset, hidden ? 2 : 1);
    }
    if (total == 0)
        for (int axis = 0; axis < 3; ++axis)
            low[axis] = high[axis] = cube.min;

    std::ostringstream metadata;
    metadata.precision(17);
    const double max = cube.min + cube.size;
    metadata
        << "{\n  \"version\": \"2.0\",\n  \"name\": \"synthetic\",\n  \"points\": " << total
        << ",\n  \"hierarchy\": {\"firstChunkSize\": " << hierarchy.size() << ", \"stepSize\": 4, \"depth\": 0},\n"
        << "  \"offset\": " << triple(cube.min, cube.min, cube.min)
        << ",\n  \"scale\": " << triple(cube.scale, cube.scale, cube.scale) << ",\n  \"spacing\": " << cube.size / 128.0
        << ",\n  \"boundingBox\": {\"min\": " << triple(cube.min, cube.min, cube.min)
        << ", \"max\": " << triple(max, max, max) << "},\n  \"encoding\": \"DEFAULT\",\n"
        << (anyHidden ? "  \"nodeVisibility\": true,\n" : "") << "  \"attributes\": [\n"
        << "    {\"name\": \"position\", \"size\": 12, \"numElements\": 3, \"elementSize\": 4, \"type\": \"int32\", "
        << "\"min\": " << triple(low[0], low[1], low[2]) << ", \"max\": " << triple(high[0], high[1], high[2])
        << "},\n    {\"name\": \"intensity\", \"size\": 2, \"numElements\": 1, \"elementSize\": 2, \"type\": "
           "\"uint16\"},\n"
        << "    {\"name\": \"rgb\", \"size\": 6, \"numElements\": 3, \"elementSize\": 2, \"type\": \"uint16\", "
        << "\"min\": [0, 0, 0], \"max\": [255, 255, 255]},\n"
        << "    {\"name\": \"classification\", \"size\": 1, \"numElements\": 1, \"elementSize\": 1, \"type\": "
           "\"uint8\"}\n"
        << "  ]\n}\n";
    writeFile(folder / "metadata.json", metadata.str());
    writeFile(folder / "hierarchy.bin", hierarchy);
    writeFile(folder / "octree.bin", octree);
}

} // namespace TestSupport
