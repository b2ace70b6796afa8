#include <lumaro/octree/potree/Node.h>

namespace PoTree {

Math::NBoundingBox<double, 3> childBox(const Math::NBoundingBox<double, 3>& box, std::size_t index)
{
    const Math::Point<double, 3> centre = box.center();
    Math::Point<double, 3> min = box.min();
    Math::Point<double, 3> max = box.max();
    const std::size_t bitOfAxis[3] = {4, 2, 1};
    for (int axis = 0; axis < 3; ++axis) {
        if (index & bitOfAxis[axis]) {
            min[axis] = centre[axis];
        } else {
            max[axis] = centre[axis];
        }
    }
    return {min, max};
}

} // namespace PoTree
