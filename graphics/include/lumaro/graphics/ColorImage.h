#pragma once

#include <lumaro/graphics/Image.h>
#include <lumaro/math/Color.h>

#include <filesystem>

namespace Graphics {

/// An image of Math::Color texels, byte-compatible with B8G8R8A8_UNORM textures: what
/// Render::Renderer::getColorImage reads back.
class ColorImage : public Image<Math::Color> {
public:
    using Image::Image;

    /// Writes an 8-bit RGBA PNG. Throws std::runtime_error naming the path when the image is
    /// empty or the file cannot be written.
    void writePng(const std::filesystem::path& path) const;

    /// Reads a PNG, JPEG, BMP, TGA or PSD file (8 bits a channel; opaque where it has no alpha).
    /// Throws std::runtime_error naming the path when the file cannot be read or decoded.
    static ColorImage read(const std::filesystem::path& path);
};

} // namespace Graphics
