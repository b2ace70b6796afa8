#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace Core {

// Reads a whole file into memory. Throws std::runtime_error naming the path when the file is
// missing or cannot be read completely.
std::string readLocalFile(const std::filesystem::path& path);

// Reads `size` bytes starting at `offset`. Throws std::runtime_error naming the path, the offset
// and the size when the file is shorter than offset + size or cannot be read.
std::string readLocalFileRange(const std::filesystem::path& path, std::uint64_t offset, std::uint64_t size);

} // namespace Core
