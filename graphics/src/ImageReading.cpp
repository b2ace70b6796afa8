// Reading image files with stb_image, through streams opened from paths (so that non-ASCII paths
// work on Windows), and only the header where only the size is wanted.
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include "ImageFiles.h"

// Static linkage keeps stb's functions private to this file (see ImageFiles.cpp). Only the formats
// a panorama comes in are decoded: every other decoder would be one more parser for a hostile
// file to reach (TGA has no signature, so stb tries it on anything).
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_HDR
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace Graphics {

namespace {

int readBytes(void* user, char* data, int size)
{
    auto& file = *static_cast<std::ifstream*>(user);
    file.read(data, size);
    return static_cast<int>(file.gcount());
}

void skipBytes(void* user, int count)
{
    static_cast<std::ifstream*>(user)->seekg(count, std::ios::cur);
}

int atEnd(void* user)
{
    return static_cast<std::ifstream*>(user)->peek() == std::char_traits<char>::eof() ? 1 : 0;
}

constexpr stbi_io_callbacks streamCallbacks{readBytes, skipBytes, atEnd};

std::ifstream openImage(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("Cannot open image file '" + path.string() + "'");
    return file;
}

[[noreturn]] void undecodable(const std::filesystem::path& path)
{
    throw std::runtime_error("Cannot read image file '" + path.string() + "': " + stbi_failure_reason());
}

// The header's size, refused when it is empty or larger than an image may be: the decoder would
// otherwise allocate whatever the header claims before it finds the data missing.
void checkPixelCount(const std::filesystem::path& path, int width, int height)
{
    const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (width <= 0 || height <= 0 || pixels > MAX_IMAGE_PIXELS)
        throw std::runtime_error("Image file '" + path.string() + "' claims " + std::to_string(width) + " x "
                                 + std::to_string(height) + " pixels; an image may have from 1 to "
                                 + std::to_string(MAX_IMAGE_PIXELS) + " pixels");
}

// Reads the header's size and leaves the stream at the start again.
void readHeaderSize(std::ifstream& file, const std::filesystem::path& path, int& width, int& height)
{
    int channels = 0;
    if (stbi_info_from_callbacks(&streamCallbacks, &file, &width, &height, &channels) == 0)
        undecodable(path);
    checkPixelCount(path, width, height);
    file.clear();
    file.seekg(0);
}

struct StbFree {
    void operator()(void* pixels) const { stbi_image_free(pixels); }
};

} // namespace

ImageFileInfo readImageFileInfo(const std::filesystem::path& path)
{
    std::ifstream file = openImage(path);
    int width = 0;
    int height = 0;
    readHeaderSize(file, path, width, height);
    const bool hdr = stbi_is_hdr_from_callbacks(&streamCallbacks, &file) != 0;
    return {static_cast<std::size_t>(width), static_cast<std::size_t>(height), hdr};
}

ColorImage ColorImage::read(const std::filesystem::path& path)
{
    std::ifstream file = openImage(path);
    int width = 0;
    int height = 0;
    readHeaderSize(file, path, width, height);
    int channels = 0;
    const std::unique_ptr<stbi_uc, StbFree> pixels(
        stbi_load_from_callbacks(&streamCallbacks, &file, &width, &height, &channels, 4));
    if (!pixels)
        undecodable(path);
    ColorImage image(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    const stbi_uc* rgba = pixels.get();
    for (std::size_t y = 0; y < image.height(); ++y)
        for (Math::Color& texel : image.row(y)) {
            texel = Math::Color(rgba[0], rgba[1], rgba[2], rgba[3]);
            rgba += 4;
        }
    return image;
}

DepthImage DepthImage::readHdr(const std::filesystem::path& path)
{
    if (!readImageFileInfo(path).hdr)
        throw std::runtime_error("Image file '" + path.string() + "' is not a Radiance HDR image of floats");
    std::ifstream file = openImage(path);
    int width = 0;
    int height = 0;
    int channels = 0;
    const std::unique_ptr<float, StbFree> pixels(
        stbi_loadf_from_callbacks(&streamCallbacks, &file, &width, &height, &channels, 3));
    if (!pixels)
        undecodable(path);
    DepthImage image(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    const float* rgb = pixels.get();
    for (std::size_t y = 0; y < image.height(); ++y)
        for (float& texel : image.row(y)) {
            texel = rgb[0];
            rgb += 3;
        }
    return image;
}

} // namespace Graphics
