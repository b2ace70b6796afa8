#include "ClipVolumeConstants.h"

#include "gpu/StoreMatrix.h"

#include <algorithm>
#include <limits>

namespace Render {

namespace {

float clampedHeight(double height)
{
    const double largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(height, -largest, largest));
}

} // namespace

ClipVolumeConstants clipVolumeConstants(const ClipVolumes& volumes)
{
    ClipVolumeConstants constants{};
    int vertex = 0;
    int v = 0;
    for (const ClipVolumes::Volume& volume : volumes.volumes()) {
        constants.volumes[v][1] = static_cast<std::int32_t>(volume.effect);
        if (const auto* box = std::get_if<Math::OrientedBox>(&volume.shape)) {
            constants.volumes[v][0] = 1;
            storeMatrix(constants.clipFromWorld[v], box->unitFromWorld().cast<float>());
        } else {
            const ClipPrism& prism = std::get<ClipPrism>(volume.shape);
            const Math::Point<double, 2>& centre = prism.footprint.centroid();
            Eigen::Matrix4d frame = Eigen::Matrix4d::Identity();
            frame(0, 3) = -centre.x();
            frame(1, 3) = -centre.y();
            storeMatrix(constants.clipFromWorld[v], frame.cast<float>());
            constants.volumes[v][0] = 2;
            constants.volumes[v][2] = vertex;
            constants.volumes[v][3] = static_cast<std::int32_t>(prism.footprint.size());
            constants.heights[v][0] = clampedHeight(prism.bottom);
            constants.heights[v][1] = clampedHeight(prism.top);
            for (const Math::Point<double, 2>& corner : prism.footprint.vertices()) {
                constants.vertices[vertex / 2][2 * (vertex % 2)] = static_cast<float>(corner.x() - centre.x());
                constants.vertices[vertex / 2][2 * (vertex % 2) + 1] = static_cast<float>(corner.y() - centre.y());
                ++vertex;
            }
        }
        ++v;
    }
    constants.volumeCount = v;
    const Math::Color highlight = volumes.highlightColor();
    constants.highlightColor[0] = highlight.r() / 255.0f;
    constants.highlightColor[1] = highlight.g() / 255.0f;
    constants.highlightColor[2] = highlight.b() / 255.0f;
    constants.highlightColor[3] = highlight.a() / 255.0f;
    return constants;
}

} // namespace Render
