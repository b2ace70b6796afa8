#pragma once

#include <lumaro/render/pointcloud/PointCloudBuffers.h>

#include <vector>

namespace Render {

// Brightness and contrast for the post-processing, as adjustBrightnessContrast takes them.
struct GreyLevelStretch {
    float brightness = 0.0f;
    float contrast = 1.0f;
};

// Stretches the grey levels of the points (intensity with `byIntensity`, else the mean of red,
// green and blue) so that those at `lowerFraction` and `upperFraction` of them in order (clamped
// to 0..1; for example 0.02 and 0.98) become black and white: contrast = 1 / (upper - lower), at
// least 1 and at most 4, and brightness moves the middle of the two to mid-grey, at most 0.5
// either way. Without points, or with fractions or levels that leave nothing between them,
// brightness 0 and contrast 1.
GreyLevelStretch proposeGreyLevelStretch(const std::vector<PointCloudBuffers::Vertex>& points, bool byIntensity,
                                         float lowerFraction, float upperFraction);

} // namespace Render
