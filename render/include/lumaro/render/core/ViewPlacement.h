#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>

namespace Render {

// A camera pose: where the eye is, what it looks at, and which way is up.
struct CameraPose {
    Math::Point<float, 3> eye;
    Math::Point<float, 3> target;
    Eigen::Vector3f up = Eigen::Vector3f::UnitZ();
};

// The oblique overview of a box with z up: the eye stands beyond the box's top corner (its
// maximum, raised by 0.3 times the box's longest edge), on the line from the centre through that
// corner, 1.1 times as far again, and looks at the centre. A cube of edge 10 from the origin is
// seen from (15.5, 15.5, 21.8). An empty box gives an eye one unit above the origin.
LUMARO_RENDER_API CameraPose obliqueView(const Math::NBoundingBox<float, 3>& box);

// A map view: orthographic, looking down -z with +y up at the centre of the box, from above it,
// with the extents that fit the box's x and y extents into a width x height image along the
// limiting axis (the other axis shows more).
struct TopView {
    CameraPose pose;
    float horizontalExtent = 1.0f;
    float verticalExtent = 1.0f;
};
LUMARO_RENDER_API TopView topView(const Math::NBoundingBox<float, 3>& box, std::size_t width, std::size_t height);

} // namespace Render
