#include <lumaro/graphics/DepthImage.h>

#include "ImageFiles.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace Graphics {

void DepthImage::writePng(const std::filesystem::path& path, float black, float white) const
{
    if (!std::isfinite(black) || !std::isfinite(white) || black == white)
        throw std::invalid_argument("Depth range [" + std::to_string(black) + ", " + std::to_string(white)
                                    + "] for PNG file '" + path.string() + "' must be finite and non-empty");
    const double scale = 1.0 / (static_cast<double>(white) - black);
    std::vector<std::uint8_t> gray;
    gray.reserve(width() * height());
    for (std::size_t y = 0; y < height(); ++y) {
        for (const float value : row(y)) {
            const double unit = std::isnan(value) ? 0.0 : std::clamp((value - black) * scale, 0.0, 1.0);
            gray.push_back(static_cast<std::uint8_t>(std::lround(unit * 255.0)));
        }
    }
    writePngFile(path, width(), height(), 1, gray);
}

void DepthImage::writeHdr(const std::filesystem::path& path) const
{
    std::vector<float> rgb;
    rgb.reserve(width() * height() * 3);
    for (std::size_t y = 0; y < height(); ++y)
        for (const float value : row(y))
            rgb.insert(rgb.end(), 3, value);
    writeHdrFile(path, width(), height(), rgb);
}

} // namespace Graphics
