#include <lumaro/graphics/ColorImage.h>

#include "ImageFiles.h"

namespace Graphics {

void ColorImage::writePng(const std::filesystem::path& path) const
{
    std::vector<std::uint8_t> rgba;
    rgba.reserve(width() * height() * 4);
    for (std::size_t y = 0; y < height(); ++y) {
        for (const Math::Color& color : row(y)) {
            rgba.push_back(color.r());
            rgba.push_back(color.g());
            rgba.push_back(color.b());
            rgba.push_back(color.a());
        }
    }
    writePngFile(path, width(), height(), 4, rgba);
}

} // namespace Graphics
