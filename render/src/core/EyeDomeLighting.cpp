#include <lumaro/render/core/EyeDomeLighting.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace Render {

namespace {

// Far neighbours find depth steps that have nothing to do with the pixel, and cost a texture
// read each on a wide ring of the same eight.
constexpr float largestRadius = 16.0f;

} // namespace

void checkEyeDomeLighting(const EyeDomeLighting& lighting)
{
    if (!std::isfinite(lighting.strength) || lighting.strength < 0.0f)
        throw std::invalid_argument("the eye-dome lighting strength must be a number of at least 0, not "
                                    + std::to_string(lighting.strength));
    if (!(lighting.radius >= 1.0f && lighting.radius <= largestRadius))
        throw std::invalid_argument("the eye-dome lighting radius must lie between 1 and 16 pixels, not "
                                    + std::to_string(lighting.radius));
}

} // namespace Render
