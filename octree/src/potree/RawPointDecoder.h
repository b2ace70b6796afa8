#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/RawPoints.h>
#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>

#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

namespace PoTree {

// Where the decoders get a node's chunk of octree.bin from: `file` names it in messages, `read`
// reads the node's bytes (throwing Octree::OperationCancelled on a stop request).
struct ChunkSource {
    std::filesystem::path file;
    std::function<std::string(const Node& node, std::stop_token stop)> read;
};

// Reads a node of either encoding into Octree::RawPoints. Throws Octree::OperationCancelled on a
// stop request and std::runtime_error naming the file for unreadable or malformed data.
::Octree::RawPoints decodeRawPoints(const ChunkSource& chunks, const Metadata& metadata, const Node& node,
                                    std::stop_token stop, ::Octree::PointAttributes wanted);

// The interleaved (DEFAULT) layout from bytes in memory.
::Octree::RawPoints decodeInterleavedPoints(std::string_view chunk, const Metadata& metadata, const Node& node,
                                            ::Octree::PointAttributes wanted, const std::filesystem::path& file);

} // namespace PoTree
