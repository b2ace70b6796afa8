#include "NodeRating.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Render {

std::optional<std::pair<float, float>> drawnUnsignedDistances(float minDistance, float maxDistance, bool signedDistance)
{
    if (!(minDistance <= maxDistance) || (!signedDistance && maxDistance < 0.0f))
        return std::nullopt;
    if (!signedDistance || minDistance >= 0.0f)
        return std::pair(std::max(minDistance, 0.0f), maxDistance);
    if (maxDistance <= 0.0f)
        return std::pair(-maxDistance, -minDistance);
    return std::pair(0.0f, std::max(-minDistance, maxDistance));
}

NodePriority NodeRating::rate(std::size_t level, const Math::NBoundingBox<float, 3>& box) const
{
    if (level > maxLevelToKeep)
        return NodePriority::discard();
    if (renderMode == RenderMode::MeshDistance && modelMesh && !needsMeshDistanceColorization(box))
        return NodePriority::discard();
    if (renderMode == RenderMode::PlaneDistance && !needsPlaneDistanceColorization(box))
        return NodePriority::discard();
    if (!clipVolumes.empty() && clipVolumes.clipsAway(worldBox(box)))
        return NodePriority::discard();
    if (level < minLevelToKeep)
        return NodePriority::keep();
    if (!orthographic)
        return NodePriority::perspective(box, frustum, clippingVolume, eye, modelScale, viewport, fieldOfView,
                                         threshold);
    return NodePriority::orthographic(box, frustum, clippingVolume, eye, modelScale, projection, viewport, threshold);
}

Math::NBoundingBox<double, 3> NodeRating::worldBox(const Math::NBoundingBox<float, 3>& box) const
{
    Math::NBoundingBox<double, 3> moved;
    for (unsigned corner = 0; corner < 8; ++corner)
        moved.extend(Math::Point<double, 3>((world * box.corner(corner).homogeneous()).hnormalized().cast<double>()));
    return moved;
}

bool NodeRating::needsMeshDistanceColorization(const Math::NBoundingBox<float, 3>& box) const
{
    const auto drawn = drawnUnsignedDistances(minDistance, maxDistance, signedDistance);
    if (!drawn || !modelMesh || modelMesh->empty() || box.isEmpty())
        return false;
    // Distances are measured in world units, the mesh lies in model units.
    const float lowest = drawn->first / modelScale;
    const float highest = drawn->second / modelScale;
    if (!modelMesh->mayBeWithinDistance(box, highest))
        return false;
    // Distance to a mesh changes by at most the distance moved: no point of the box is farther
    // from the mesh than its centre's distance plus the box's half diagonal.
    const auto centre = modelMesh->nearestPoint(box.center());
    const float radius = (0.5f * box.size()).norm();
    return !centre || std::sqrt(centre->squaredDistance) + radius >= lowest;
}

bool NodeRating::needsPlaneDistanceColorization(const Math::NBoundingBox<float, 3>& box) const
{
    if (box.isEmpty() || !(minDistance <= maxDistance))
        return false;
    // The distance is linear, so the corners of the box in world coordinates bound it.
    float lowest = std::numeric_limits<float>::max();
    float highest = std::numeric_limits<float>::lowest();
    for (unsigned corner = 0; corner < 8; ++corner) {
        const Math::Point<float, 3> point((world * box.corner(corner).homogeneous()).hnormalized());
        const float distance = plane.signedDistance(point);
        lowest = std::min(lowest, distance);
        highest = std::max(highest, distance);
    }
    if (!signedDistance) {
        const float nearest =
            (lowest <= 0.0f && highest >= 0.0f) ? 0.0f : std::min(std::abs(lowest), std::abs(highest));
        highest = std::max(std::abs(lowest), std::abs(highest));
        lowest = nearest;
    }
    return lowest <= maxDistance && highest >= minDistance;
}

} // namespace Render
