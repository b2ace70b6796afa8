#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/Viewport.h>

#include <lumaro/math/ConvexPolytope.h>
#include <lumaro/math/Frustum.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

namespace Render {

// How much an octree node matters for the current view: how large it looks on screen, and, to
// break ties between nodes that look about as large, how far its centre is from the eye.
//
// Comparisons treat sizes within 0.1 of each other as equal and then prefer the nearer node, so
// that nodes of one level at the same distance do not flicker in and out of the resident set over
// rounding noise. That tolerance makes the order intransitive across chains of near-equal sizes;
// the prioritizer only needs it to be consistent for each pair.
class LUMARO_RENDER_API NodePriority {
public:
    static constexpr float tolerance = 0.1f;

    // Above everything: nodes that must stay whatever the view.
    static NodePriority keep();
    // Below everything that is worth loading: nodes that are invisible or too small.
    static NodePriority discard();

    // Screen size of the node's bounding sphere in pixels, for a perspective camera. `box` and
    // `eye` are in model coordinates, `scale` turns model lengths into world lengths,
    // `fieldOfView` is vertical, in radians. Boxes outside the frustum or the clipping volume, and
    // nodes smaller than `threshold` pixels, are discarded.
    static NodePriority perspective(const Math::NBoundingBox<float, 3>& box, const Math::Frustum<float>& frustum,
                                    const Math::ConvexPolytope<float, 3>& clippingVolume,
                                    const Math::Point<float, 3>& eye, float scale, const Viewport& viewport,
                                    float fieldOfView, float threshold);

    // The same for an orthographic camera, whose screen size does not depend on the distance.
    static NodePriority orthographic(const Math::NBoundingBox<float, 3>& box, const Math::Frustum<float>& frustum,
                                     const Math::ConvexPolytope<float, 3>& clippingVolume,
                                     const Math::Point<float, 3>& eye, float scale, const Eigen::Matrix4f& projection,
                                     const Viewport& viewport, float threshold);

    float priority() const { return mPriority; }
    float distanceToEye() const { return mDistanceToEye; }

    // True when this is one of the discarded values (about zero size, infinitely far).
    bool isDiscarded() const;

    // Adds the sizes and keeps the nearer distance: the priority of two nodes taken together.
    NodePriority operator+(const NodePriority& other) const;
    NodePriority& operator+=(const NodePriority& other);

private:
    NodePriority(float priority, float distanceToEye) : mPriority(priority), mDistanceToEye(distanceToEye) {}

    float mPriority;
    float mDistanceToEye;
};

static_assert(sizeof(NodePriority) == 8);

// "a < b": a matters less than b.
LUMARO_RENDER_API bool operator<(const NodePriority& a, const NodePriority& b);
LUMARO_RENDER_API bool operator>(const NodePriority& a, const NodePriority& b);
LUMARO_RENDER_API bool operator<=(const NodePriority& a, const NodePriority& b);
LUMARO_RENDER_API bool operator>=(const NodePriority& a, const NodePriority& b);
// Sizes within the tolerance and exactly the same distance.
LUMARO_RENDER_API bool operator==(const NodePriority& a, const NodePriority& b);
LUMARO_RENDER_API bool operator!=(const NodePriority& a, const NodePriority& b);

} // namespace Render
