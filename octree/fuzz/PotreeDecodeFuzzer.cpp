// libFuzzer target for everything that reads untrusted bytes of a Potree store: hierarchy
// records, Brotli node chunks, interleaved node chunks and metadata.json. Any exception other
// than the documented std::runtime_error / std::invalid_argument, and any sanitizer report, is a
// finding.
//
// Input: byte 0 chooses the decoder; the rest feeds it (see below).
#include <lumaro/octree/potree/HierarchyChunk.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/NodeChunk.h>

#include "ModelTransform.h"
#include "potree/RawPointDecoder.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

const std::filesystem::path fuzzFile = "fuzz-input";

std::shared_ptr<PoTree::Node> rootNode()
{
    return std::make_shared<PoTree::Node>(Octree::OctreeNodeId::root(),
                                          Math::NBoundingBox<double, 3>({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}));
}

// Metadata with the attributes chosen by the bits of `selector`, so the fuzzer explores column
// layouts as well as chunk contents.
PoTree::Metadata metadataFor(std::uint8_t selector, const char* encoding)
{
    static const std::pair<const char*, int> candidates[] = {
        {"position", 12},      {"rgb", 6},        {"intensity", 2},    {"Intensity", 2},
        {"classification", 1}, {"visibility", 1}, {"normal_oct16", 2}, {"NormalX", 8},
    };
    std::string attributes;
    for (int bit = 0; bit < 8; ++bit) {
        // Every store has positions (metadata.json without them is refused).
        if (bit == 0 || (selector >> bit & 1u)) {
            attributes += std::string(attributes.empty() ? "" : ",") + "{\"name\":\"" + candidates[bit].first
                + "\",\"size\":" + std::to_string(candidates[bit].second) + "}";
        }
    }
    // NormalY and NormalZ go with NormalX so that the double-normal path is reachable.
    if (selector & 0x80u) {
        attributes += ",{\"name\":\"NormalY\",\"size\":8},{\"name\":\"NormalZ\",\"size\":8}";
    }
    const std::string json = std::string("{\"points\":1,\"hierarchy\":{\"firstChunkSize\":22},\"offset\":[0,0,0],")
        + "\"scale\":[0.001,0.001,0.001],\"spacing\":1,\"boundingBox\":{\"min\":[0,0,0],\"max\":[1,1,1]},"
        + "\"encoding\":\"" + encoding + "\",\"attributes\":[" + attributes + "]}";
    return PoTree::Metadata::parse(json, fuzzFile);
}

void decodeBrotli(std::string_view input)
{
    if (input.size() < 3)
        return;
    PoTree::Node node(Octree::OctreeNodeId::root(), {});
    node.pointCount =
        static_cast<std::uint8_t>(input[0]) | static_cast<std::uint32_t>(static_cast<std::uint8_t>(input[1])) << 8;
    const PoTree::Metadata metadata = metadataFor(static_cast<std::uint8_t>(input[2]), "BROTLI");
    PoTree::AllNodeColumns decoded;
    std::size_t count = 0;
    PoTree::decodeNodeChunkBytes(input.substr(3), metadata, node, decoded.columns(), count, fuzzFile);
    for (const auto& code : decoded.positions)
        PoTree::decodePositionCode(code);
    for (const auto code : decoded.colors)
        PoTree::decodeColorCode(code);
}

void decodeInterleaved(std::string_view input)
{
    if (input.size() < 3)
        return;
    PoTree::Node node(Octree::OctreeNodeId::root(), {});
    node.pointCount =
        static_cast<std::uint8_t>(input[0]) | static_cast<std::uint32_t>(static_cast<std::uint8_t>(input[1])) << 8;
    const PoTree::Metadata metadata = metadataFor(static_cast<std::uint8_t>(input[2]), "DEFAULT");
    const auto raw =
        PoTree::decodeInterleavedPoints(input.substr(3), metadata, node, Octree::PointAttributes::all(), fuzzFile);
    Octree::toNodePointData(raw, {{0.001, 0.001, 0.001}, {0, 0, 0}, 1.0}, true);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        switch (data[0] % 4) {
        case 0: PoTree::parseHierarchyChunk(input, rootNode()); break;
        case 1: decodeBrotli(input); break;
        case 2: decodeInterleaved(input); break;
        case 3: PoTree::Metadata::parse(input, fuzzFile); break;
        }
    } catch (const std::runtime_error&) {
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
