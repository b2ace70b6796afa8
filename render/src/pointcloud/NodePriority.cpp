#include <lumaro/render/pointcloud/NodePriority.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Render {

namespace {

constexpr float largest = std::numeric_limits<float>::max();

// The box lies wholly on the outer side of one of the planes: even its corner farthest along the
// plane's normal is behind it. A polytope without planes bounds nothing and keeps every box.
bool isOutside(const Math::NBoundingBox<float, 3>& box, const Math::ConvexPolytope<float, 3>& volume)
{
    for (const auto& halfSpace : volume.halfSpaces()) {
        const Eigen::Vector3f& normal = halfSpace.plane().normal();
        Math::Point<float, 3> farthest;
        for (int axis = 0; axis < 3; ++axis)
            farthest[axis] = normal[axis] > 0.0f ? box.max()[axis] : box.min()[axis];
        if (halfSpace.plane().signedDistance(farthest) < 0.0f)
            return true;
    }
    return false;
}

// Half the box diagonal; an axis along which the box is empty adds nothing.
float boundingSphereRadius(const Math::NBoundingBox<float, 3>& box)
{
    return (0.5f * box.size()).cwiseMax(0.0f).norm();
}

Eigen::Vector2f toPixels(const Eigen::Matrix4f& projection, const Math::Point<float, 3>& point,
                         const Viewport& viewport)
{
    const Eigen::Vector3f ndc = (projection * point.homogeneous()).hnormalized();
    return {(ndc.x() + 1.0f) * static_cast<float>(viewport.width()) / 2.0f,
            (ndc.y() + 1.0f) * static_cast<float>(viewport.height()) / 2.0f};
}

} // namespace

NodePriority NodePriority::keep()
{
    return {largest, 0.0f};
}

NodePriority NodePriority::discard()
{
    return {0.0f, largest};
}

NodePriority NodePriority::perspective(const Math::NBoundingBox<float, 3>& box, const Math::Frustum<float>& frustum,
                                       const Math::ConvexPolytope<float, 3>& clippingVolume,
                                       const Math::Point<float, 3>& eye, float scale, const Viewport& viewport,
                                       float fieldOfView, float threshold)
{
    if (isOutside(box, clippingVolume) || isOutside(box, frustum))
        return discard();
    const Math::Point<float, 3> center = box.center();
    const float radius = boundingSphereRadius(box);
    const float distance = (center - eye).norm();
    const float halfHeight = static_cast<float>(viewport.height()) / 2.0f;
    const float priority = halfHeight / (std::tan(fieldOfView / 2.0f) * distance) * radius * scale;
    if (threshold > priority)
        return discard();
    return {priority, distance};
}

NodePriority NodePriority::orthographic(const Math::NBoundingBox<float, 3>& box, const Math::Frustum<float>& frustum,
                                        const Math::ConvexPolytope<float, 3>& clippingVolume,
                                        const Math::Point<float, 3>& eye, float scale,
                                        const Eigen::Matrix4f& projection, const Viewport& viewport, float threshold)
{
    if (isOutside(box, clippingVolume) || isOutside(box, frustum))
        return discard();
    const Math::Point<float, 3> center = box.center();
    const float radius = boundingSphereRadius(box);
    const float distance = (center - eye).norm();
    const Math::Point<float, 3> rim = center + Eigen::Vector3f(radius * scale, 0.0f, 0.0f);
    const float priority = (toPixels(projection, rim, viewport) - toPixels(projection, center, viewport)).norm();
    if (threshold > priority)
        return discard();
    return {priority, distance};
}

bool NodePriority::isDiscarded() const
{
    return std::abs(mPriority) < tolerance && mDistanceToEye == largest;
}

NodePriority NodePriority::operator+(const NodePriority& other) const
{
    NodePriority sum = *this;
    sum += other;
    return sum;
}

NodePriority& NodePriority::operator+=(const NodePriority& other)
{
    mPriority += other.mPriority;
    mDistanceToEye = std::min(mDistanceToEye, other.mDistanceToEye);
    return *this;
}

bool operator<(const NodePriority& a, const NodePriority& b)
{
    constexpr float tolerance = NodePriority::tolerance;
    if (a.priority() < b.priority() - tolerance)
        return true;
    if (a.priority() > b.priority() + tolerance)
        return false;
    return a.distanceToEye() > b.distanceToEye();
}

bool operator>(const NodePriority& a, const NodePriority& b)
{
    constexpr float tolerance = NodePriority::tolerance;
    if (a.priority() - tolerance > b.priority())
        return true;
    if (b.priority() > a.priority() + tolerance)
        return false;
    return b.distanceToEye() > a.distanceToEye();
}

bool operator<=(const NodePriority& a, const NodePriority& b)
{
    constexpr float tolerance = NodePriority::tolerance;
    if (a.priority() - tolerance > b.priority())
        return false;
    if (b.priority() > a.priority() + tolerance)
        return true;
    return !(b.distanceToEye() > a.distanceToEye());
}

bool operator>=(const NodePriority& a, const NodePriority& b)
{
    return b <= a;
}

bool operator==(const NodePriority& a, const NodePriority& b)
{
    return std::abs(a.priority() - b.priority()) < NodePriority::tolerance && a.distanceToEye() == b.distanceToEye();
}

bool operator!=(const NodePriority& a, const NodePriority& b)
{
    return !(a == b);
}

} // namespace Render
