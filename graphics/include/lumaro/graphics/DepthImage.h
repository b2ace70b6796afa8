#pragma once

#include <lumaro/graphics/Image.h>

#include <filesystem>

namespace Graphics {

/// An image of 32-bit float texels: a D32_FLOAT depth buffer (Render::Renderer::getDepthImage), or
/// distances in object units (panorama depth tiles).
class DepthImage : public Image<float> {
public:
    using Image::Image;

    /// Writes an 8-bit grey PNG for looking at the image: a texel v becomes
    /// round(clamp((v - black) / (white - black), 0, 1) * 255), NaN becomes 0. The default range
    /// suits a depth buffer; give white < black for a reversed one, or a distance range for
    /// panorama depth tiles. Throws std::invalid_argument for an empty or non-finite range and
    /// std::runtime_error naming the path when the image is empty or the file cannot be written.
    void writePng(const std::filesystem::path& path, float black = 0.0F, float white = 1.0F) const;

    /// Radiance HDR files hold one float per channel: the texels are written to all three and read
    /// back from the first (as 32-bit floats with an 8-bit mantissa: 3 significant digits, which is
    /// what such files keep). Both throw std::runtime_error naming the path on failure; read also
    /// for a file that is not a Radiance HDR image.
    ///@{
    void writeHdr(const std::filesystem::path& path) const;
    static DepthImage readHdr(const std::filesystem::path& path);
    ///@}
};

} // namespace Graphics
