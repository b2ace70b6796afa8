#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace Graphics {

// Writes tightly packed 8-bit rows (1 channel grey or 4 channels RGBA) as a PNG file. Throws
// std::runtime_error naming the path on an empty image or a failed write.
void writePngFile(const std::filesystem::path& path, std::size_t width, std::size_t height, int channels,
                  const std::vector<std::uint8_t>& pixels);

// Writes tightly packed float RGB rows as a Radiance HDR file; throws like writePngFile.
void writeHdrFile(const std::filesystem::path& path, std::size_t width, std::size_t height,
                  const std::vector<float>& rgb);

// The size and kind of an image file, from its header alone. Throws std::runtime_error naming the
// path when it cannot be opened or is no image that can be read.
struct ImageFileInfo {
    std::size_t width = 0;
    std::size_t height = 0;
    bool hdr = false;
};
ImageFileInfo readImageFileInfo(const std::filesystem::path& path);

} // namespace Graphics
