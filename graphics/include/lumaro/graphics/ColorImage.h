#pragma once

#include <lumaro/graphics/Image.h>
#include <lumaro/math/Color.h>

#include <cstddef>
#include <filesystem>

namespace Graphics {

/// The most pixels an image file may have: 16384 x 16384, a gigabyte of RGBA texels, more than any
/// panorama a graphics card can show. A file claiming more is refused from its header.
inline constexpr std::size_t MAX_IMAGE_PIXELS = std::size_t{1} << 28;

/// An image of Math::Color texels, byte-compatible with B8G8R8A8_UNORM textures: what
/// Render::Renderer::getColorImage reads back.
class ColorImage : public Image<Math::Color> {
public:
    using Image::Image;

    /// Writes an 8-bit RGBA PNG. Throws std::runtime_error naming the path when the image is
    /// empty or the file cannot be written.
    void writePng(const std::filesystem::path& path) const;

    /// Reads a PNG or JPEG file (8 bits a channel; opaque where it has no alpha; a Radiance HDR
    /// file is tone-mapped). Throws std::runtime_error naming the path when the file cannot be read
    /// or decoded, or its header claims more pixels than an image may have (see
    /// Graphics::MAX_IMAGE_PIXELS), before anything is allocated for them.
    static ColorImage read(const std::filesystem::path& path);
};

} // namespace Graphics
