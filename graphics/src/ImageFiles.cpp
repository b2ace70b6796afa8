#include "ImageFiles.h"

#include <climits>
#include <fstream>
#include <stdexcept>
#include <string>

#include <libdeflate.h>

#include <cstdlib>

namespace {

// stb_image_write's own deflate takes a quarter of a second for a full-HD picture; libdeflate's
// fastest level takes a few milliseconds and compresses renderings nearly as well. Returns a
// malloc'ed zlib stream as stb expects (it frees it), or null when compression failed.
unsigned char* zlibCompress(unsigned char* data, int size, int* compressedSize, int)
{
    constexpr int level = 1;
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
    if (compressor == nullptr)
        return nullptr;
    const std::size_t bound = libdeflate_zlib_compress_bound(compressor, static_cast<std::size_t>(size));
    auto* out = static_cast<unsigned char*>(std::malloc(bound));
    std::size_t written = 0;
    if (out != nullptr)
        written = libdeflate_zlib_compress(compressor, data, static_cast<std::size_t>(size), out, bound);
    libdeflate_free_compressor(compressor);
    if (written == 0) {
        std::free(out);
        return nullptr;
    }
    *compressedSize = static_cast<int>(written);
    return out;
}

} // namespace

// Static linkage keeps stb's functions private to this file, so another library of the process
// that embeds stb_image_write too cannot clash with it.
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBIW_ZLIB_COMPRESS zlibCompress
#include <stb_image_write.h>

namespace Graphics {

namespace {

void appendToStream(void* context, void* data, int size)
{
    static_cast<std::ofstream*>(context)->write(static_cast<const char*>(data), size);
}

} // namespace

void writePngFile(const std::filesystem::path& path, std::size_t width, std::size_t height, int channels,
                  const std::vector<std::uint8_t>& pixels)
{
    const auto describe = [&] {
        return "'" + path.string() + "' (" + std::to_string(width) + " x " + std::to_string(height) + ")";
    };
    if (width == 0 || height == 0)
        throw std::runtime_error("Cannot write an empty image to PNG file " + describe());
    // The encoder sizes its filtered copy, (row bytes + 1) x rows, in an int.
    if (width > INT_MAX / 4 || height > INT_MAX
        || (width * static_cast<std::size_t>(channels) + 1) * height > static_cast<std::size_t>(INT_MAX))
        throw std::runtime_error("Image is too large for PNG file " + describe());
    if (pixels.size() != width * height * static_cast<std::size_t>(channels))
        throw std::logic_error("PNG pixel buffer does not match the image size for " + describe());

    // A stream opened from the path (not a narrow file name) reaches non-ASCII paths on Windows.
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file)
        throw std::runtime_error("Cannot open PNG file " + describe() + " for writing");
    const int rowBytes = static_cast<int>(width) * channels;
    const int written = stbi_write_png_to_func(appendToStream, &file, static_cast<int>(width), static_cast<int>(height),
                                               channels, pixels.data(), rowBytes);
    file.close();
    if (written == 0 || !file)
        throw std::runtime_error("Failed to write PNG file " + describe());
}

void writeHdrFile(const std::filesystem::path& path, std::size_t width, std::size_t height,
                  const std::vector<float>& rgb)
{
    const std::string name = "'" + path.string() + "'";
    if (width == 0 || height == 0)
        throw std::runtime_error("Cannot write an empty image to HDR file " + name);
    if (width > INT_MAX / 3 || height > INT_MAX)
        throw std::runtime_error("Image is too large for HDR file " + name);
    if (rgb.size() != width * height * 3)
        throw std::logic_error("HDR pixel buffer does not match the image size for " + name);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file)
        throw std::runtime_error("Cannot open HDR file " + name + " for writing");
    const int written =
        stbi_write_hdr_to_func(appendToStream, &file, static_cast<int>(width), static_cast<int>(height), 3, rgb.data());
    file.close();
    if (written == 0 || !file)
        throw std::runtime_error("Failed to write HDR file " + name);
}

} // namespace Graphics
