#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>

namespace Render {

/// A camera pose: where the eye is, what it looks at, and which way is up (Renderer::setCameraPose
/// takes the three).
struct CameraPose {
    Math::Point<float, 3> eye; ///< where the eye is
    Math::Point<float, 3> target; ///< the point it looks at
    Eigen::Vector3f up = Eigen::Vector3f::UnitZ(); ///< the direction that is up in the picture
};

/// The oblique overview of a box with z up: the eye stands beyond the box's top corner (its
/// maximum, raised by 0.3 times the box's longest edge), on the line from the centre through that
/// corner, 1.1 times as far again, and looks at the centre. A cube of edge 10 from the origin is
/// seen from (15.5, 15.5, 21.8). An empty box gives an eye one unit above the origin.
LUMARO_RENDER_API CameraPose obliqueView(const Math::NBoundingBox<float, 3>& box);

/// A map view: orthographic, looking down -z with +y up at the centre of the box, from above it,
/// with the extents that fit the box's x and y extents into a width x height image along the
/// limiting axis (the other axis shows more). Give the extents to Renderer::setOrthographic.
struct TopView {
    CameraPose pose; ///< above the box's centre, looking down with +y up
    float horizontalExtent = 1.0f; ///< the width shown, in the box's units
    float verticalExtent = 1.0f; ///< the height shown, in the box's units
};
/// The map view of `box` for a picture of width x height pixels (see TopView). A box without
/// width or depth still gets a view of some size; an empty box a view of one unit across from one
/// unit above the origin.
LUMARO_RENDER_API TopView topView(const Math::NBoundingBox<float, 3>& box, std::size_t width, std::size_t height);

} // namespace Render
