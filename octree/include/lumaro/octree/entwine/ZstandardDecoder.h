#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace Entwine {

// Decompresses the Zstandard frames of a .zst node file, which must yield exactly
// `expectedSize` bytes (EPT's frames do not record their decompressed size, so the hierarchy's
// point count sets it). Throws std::runtime_error naming `file` for corrupt or truncated data and
// for data that decompress to more or fewer bytes.
std::string decompressZstandard(std::string_view compressed, std::size_t expectedSize,
                                const std::filesystem::path& file);

} // namespace Entwine
