#include <lumaro/render/core/ViewPlacement.h>

#include <algorithm>
#include <limits>

namespace Render {

CameraPose obliqueView(const Math::NBoundingBox<float, 3>& box)
{
    if (box.isEmpty())
        return {Math::Point<float, 3>(0.0f, 0.0f, 1.0f), Math::Point<float, 3>(0.0f, 0.0f, 0.0f)};
    const Math::Point<float, 3> centre = box.center();
    Math::Point<float, 3> corner = box.max();
    const float longestEdge = box.size().cwiseMax(0.0f).maxCoeff();
    corner.z() += 0.3f * longestEdge;
    const Math::Point<float, 3> eye = corner + 1.1f * (corner - centre);
    return {eye, centre};
}

TopView topView(const Math::NBoundingBox<float, 3>& box, std::size_t width, std::size_t height)
{
    TopView view;
    view.pose.up = Eigen::Vector3f::UnitY();
    if (box.isEmpty()) {
        view.pose.eye = Math::Point<float, 3>(0.0f, 0.0f, 1.0f);
        return view;
    }
    const float aspect = height == 0 ? 1.0f : static_cast<float>(width) / static_cast<float>(height);
    // A box without width or depth (a line) still gets a view of some size, taken from the other
    // of the two axes alone: a store in degrees is a few hundredths wide but may be tens of metres
    // high, and its height must not widen the picture. A single point or a vertical line gets a
    // view one unit across.
    const float widest = std::max(box.size().x(), box.size().y());
    const float smallest = widest > 0.0f ? widest * 1e-3f : 1.0f;
    const float boxWidth = std::max(box.size().x(), smallest);
    const float boxDepth = std::max(box.size().y(), smallest);
    if (boxWidth / boxDepth > aspect) {
        view.horizontalExtent = boxWidth;
        view.verticalExtent = boxWidth / aspect;
    } else {
        view.verticalExtent = boxDepth;
        view.horizontalExtent = boxDepth * aspect;
    }
    const Math::Point<float, 3> centre = box.center();
    view.pose.target = centre;
    view.pose.eye = Math::Point<float, 3>(centre.x(), centre.y(), box.max().z() + std::max(box.size().z(), smallest));
    return view;
}

} // namespace Render
