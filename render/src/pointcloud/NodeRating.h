#pragma once

#include <lumaro/render/core/ClipVolumes.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/Viewport.h>
#include <lumaro/render/pointcloud/NodePriority.h>

#include <lumaro/math/ConvexPolytope.h>
#include <lumaro/math/Frustum.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>
#include <lumaro/math/TriangleMesh.h>

#include <Eigen/Core>

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

namespace Render {

// The range of unsigned distances |d| for which a point is drawn in a distance mode: the shader
// draws a point when d (or |d| without signs) lies in [minDistance, maxDistance]. Empty when no
// point can be drawn.
std::optional<std::pair<float, float>> drawnUnsignedDistances(float minDistance, float maxDistance,
                                                              bool signedDistance);

// How much the octree nodes of one point cloud matter for the current view: a copy of everything
// the rating needs, taken when a walk starts, so that the loader thread never reads what the
// caller's thread is changing (every change that matters restarts the walk with a fresh copy).
// Boxes are in the cloud's model coordinates.
struct NodeRating {
    std::size_t minLevelToKeep = 0;
    std::size_t maxLevelToKeep = 23;
    float threshold = 15.0f;

    // The view, in model coordinates where it is a place.
    bool orthographic = false;
    Math::Frustum<float> frustum;
    Math::ConvexPolytope<float, 3> clippingVolume;
    Math::Point<float, 3> eye;
    Eigen::Matrix4f world = Eigen::Matrix4f::Identity();
    float modelScale = 1.0f;
    Eigen::Matrix4f projection = Eigen::Matrix4f::Identity();
    Viewport viewport;
    float fieldOfView = 1.0471976f;

    // Distance colorization: the plane in world coordinates, the mesh in model coordinates.
    RenderMode renderMode = RenderMode::Default;
    Math::NPlane<float, 3> plane;
    std::shared_ptr<const Math::TriangleMesh<float>> modelMesh;
    float minDistance = 0.0f;
    float maxDistance = 1.0f;
    bool signedDistance = true;

    // Boxes and prisms in world coordinates.
    ClipVolumes clipVolumes;

    // In this order: deeper than maxLevelToKeep, unable to hold a drawn point in a distance mode,
    // or clipped away whole by the clip volumes: discard; shallower than minLevelToKeep: keep;
    // otherwise the box's size on screen.
    NodePriority rate(std::size_t level, const Math::NBoundingBox<float, 3>& box) const;

    // Whether the box may hold a point whose distance to the mesh (plane) lies in the drawn range.
    // Never false for a box that does; may be true for one that does not.
    bool needsMeshDistanceColorization(const Math::NBoundingBox<float, 3>& box) const;
    bool needsPlaneDistanceColorization(const Math::NBoundingBox<float, 3>& box) const;
    // The box that holds a model box moved into world coordinates.
    Math::NBoundingBox<double, 3> worldBox(const Math::NBoundingBox<float, 3>& box) const;
};

} // namespace Render
