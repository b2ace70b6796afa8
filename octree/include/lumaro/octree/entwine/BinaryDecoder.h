#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/entwine/DecodedPoints.h>
#include <lumaro/octree/entwine/Schema.h>

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace Entwine {

// Decodes `count` packed records laid out by `schema` (the contents of a .bin file, or of a
// decompressed .zst file), keeping the wanted attributes that the schema provides. X, Y and Z
// must be integer dimensions. Throws std::runtime_error naming `file` when the byte count is not
// count x record size.
DecodedPoints decodeBinaryPoints(std::string_view records, const Schema& schema, std::uint64_t count,
                                 Octree::PointAttributes wanted, const std::filesystem::path& file);

} // namespace Entwine
