#pragma once

#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>
#include <lumaro/octree/potree/RawPoints.h>

#include <array>
#include <filesystem>
#include <stop_token>
#include <string_view>

namespace PoTree {

// Reads a node of either encoding into RawPoints. Throws Octree::OperationCancelled on a stop
// request and std::runtime_error naming the file for unreadable or malformed data.
RawPoints decodeRawPoints(const FileLoader& loader, const Metadata& metadata, const Node& node, std::stop_token stop,
                          ::Octree::PointAttributes wanted);

// The interleaved (DEFAULT) layout from bytes in memory.
RawPoints decodeInterleavedPoints(std::string_view chunk, const Metadata& metadata, const Node& node,
                                  ::Octree::PointAttributes wanted, const std::filesystem::path& file);

// How stored integers become model coordinates: (integer x scale + offset - origin) x unitScale,
// with the origin (the reference position before scaling) subtracted in double precision.
struct ModelTransform {
    std::array<double, 3> scale;
    std::array<double, 3> offsetFromOrigin;
    double unitScale;
};

// Builds the renderer's point data: positions in model coordinates, colours brought to 8 bits
// by dividing by 256 when `colorsAre16Bit`, alpha 255.
::Octree::NodePointData toNodePointData(const RawPoints& raw, const ModelTransform& transform, bool colorsAre16Bit);

} // namespace PoTree
