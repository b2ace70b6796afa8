#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/copc/FileHead.h>
#include <lumaro/octree/entwine/DecodedPoints.h>

#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>

namespace Copc {

// Decodes the points of one node from its LAZ chunk alone. LASzip reads whole files, so the chunk
// is framed as a small LAZ file of its own: the file's header and LASzip record with the node's
// point count and one fixed-size chunk, followed by the chunk bytes. Nothing else of the COPC
// file is read, whichever order the chunks are stored in and however large the file is.
//
// Before LASzip sees the bytes, the chunk's own framing is checked: the point count it stores and
// the sizes of its layers must add up to its length. Throws std::runtime_error led by `source`
// when they do not or LASzip fails, and Octree::OperationCancelled when `stop` is signalled.
Entwine::DecodedPoints decodeChunk(const FileHead& head, std::string_view chunk, std::uint32_t pointCount,
                                   Octree::PointAttributes wanted, const std::string& source, std::stop_token stop);

// The LAZ file that decodeChunk hands to LASzip (exposed for tests and the benchmark).
std::string loneChunkLazFile(const FileHead& head, std::string_view chunk, std::uint32_t pointCount);

} // namespace Copc
