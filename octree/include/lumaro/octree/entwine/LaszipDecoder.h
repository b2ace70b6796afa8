#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/entwine/DecodedPoints.h>

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string_view>

namespace Entwine {

// The attributes that LAS points of `format` have: positions, intensities, classifications, a scan
// index (the point source id, or an extra-bytes attribute OriginId), colours for the formats with
// RGB, and normals when the extra-bytes description `extraBytesRecord` (the data of the
// LASF_Spec/4 record; empty when there is none) names NormalX, NormalY and NormalZ.
Octree::PointAttributes lasPointAttributes(unsigned format, std::string_view extraBytesRecord);

// Decodes a LAZ (or plain LAS) file held in memory with LASzip. Positions keep the file header's
// own scale and offset, which may differ from the store's schema. The scan index comes from an
// extra-bytes attribute named OriginId, else from the point source id; normals from extra-bytes
// attributes NormalX, NormalY, NormalZ. Throws std::runtime_error naming `file` when LASzip
// cannot read the file, its header's point count differs from `expectedCount`, or a point cannot
// be decompressed; throws Octree::OperationCancelled when `stop` is signalled.
DecodedPoints decodeLaszipPoints(std::string_view lazFile, std::uint64_t expectedCount, Octree::PointAttributes wanted,
                                 const std::filesystem::path& file, std::stop_token stop = {});

} // namespace Entwine
