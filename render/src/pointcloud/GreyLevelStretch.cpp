#include "GreyLevelStretch.h"

#include <lumaro/render/pointcloud/PointCloudBuffers.h>

#include <algorithm>
#include <cstddef>

namespace Render {

namespace {

constexpr float maxProposedContrast = 4.0f;
constexpr float maxProposedBrightness = 0.5f;

} // namespace

GreyLevelStretch proposeGreyLevelStretch(const std::vector<PointCloudBuffers::Vertex>& points, bool byIntensity,
                                         float lowerFraction, float upperFraction)
{
    lowerFraction = std::clamp(lowerFraction, 0.0f, 1.0f);
    upperFraction = std::clamp(upperFraction, 0.0f, 1.0f);
    if (points.empty() || !(lowerFraction < upperFraction))
        return {};
    std::vector<float> levels;
    levels.reserve(points.size());
    for (const auto& point : points) {
        const Math::Color& color = point.color;
        levels.push_back(byIntensity ? point.intensity / 255.0f
                                     : (color.r() + color.g() + color.b()) / (3.0f * 255.0f));
    }
    const auto levelAt = [&](float fraction) {
        const auto position =
            levels.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<float>(levels.size() - 1));
        std::nth_element(levels.begin(), position, levels.end());
        return *position;
    };
    const float lower = levelAt(lowerFraction);
    const float upper = levelAt(upperFraction);
    if (!(upper > lower))
        return {};
    // adjustBrightnessContrast maps a grey level g to contrast · (g + brightness - 0.5) + 0.5.
    return {std::clamp(0.5f - (lower + upper) / 2.0f, -maxProposedBrightness, maxProposedBrightness),
            std::clamp(1.0f / (upper - lower), 1.0f, maxProposedContrast)};
}

} // namespace Render
