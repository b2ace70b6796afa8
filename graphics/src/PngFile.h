#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace Graphics {

// Writes tightly packed 8-bit rows (1 channel grey or 4 channels RGBA) as a PNG file. Throws
// std::runtime_error naming the path on an empty image or a failed write.
void writePngFile(const std::filesystem::path& path, std::size_t width, std::size_t height, int channels,
                  const std::vector<std::uint8_t>& pixels);

} // namespace Graphics
