// Reading image files with stb_image, through streams opened from paths (so that non-ASCII paths
// work on Windows), and only the header where only the size is wanted.
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include "ImageFiles.h"

// Static linkage keeps stb's functions private to this file (see ImageFiles.cpp).
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

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

struct StbFree {
    void operator()(void* pixels) const { stbi_image_free(pixels); }
};

} // namespace

ImageFileInfo readImageFileInfo(const std::filesystem::path& path)
{
    std::ifstream file = openImage(path);
    int width = 0;
    int height = 0;
    int channels = 0;
    if (stbi_info_from_callbacks(&streamCallbacks, &file, &width, &height, &channels) == 0)
        undecodable(path);
    file.clear();
    file.seekg(0);
    const bool hdr = stbi_is_hdr_from_callbacks(&streamCallbacks, &file) != 0;
    return {static_cast<std::size_t>(width), static_cast<std::size_t>(height), hdr};
}

ColorImage ColorImage::read(const std::filesystem::path& path)
{
    std::ifstream file = openImage(path);
    int width = 0;
    int height = 0;
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
