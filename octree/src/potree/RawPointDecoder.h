#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/RawPoints.h>
#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>

#include <filesystem>
#include <stop_token>
#include <string_view>

namespace PoTree {

// Reads a node of either encoding into Octree::RawPoints. Throws Octree::OperationCancelled on a
// stop request and std::runtime_error naming the file for unreadable or malformed data.
::Octree::RawPoints decodeRawPoints(const FileLoader& loader, const Metadata& metadata, const Node& node,
                                    std::stop_token stop, ::Octree::PointAttributes wanted);

// The interleaved (DEFAULT) layout from bytes in memory.
::Octree::RawPoints decodeInterleavedPoints(std::string_view chunk, const Metadata& metadata, const Node& node,
                                            ::Octree::PointAttributes wanted, const std::filesystem::path& file);

} // namespace PoTree
