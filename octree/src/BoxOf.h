#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <array>

namespace Octree {

// The box between two corners as the stores' metadata give them.
inline Math::NBoundingBox<double, 3> boxOf(const std::array<double, 3>& min, const std::array<double, 3>& max)
{
    return {Math::Point<double, 3>(min[0], min[1], min[2]), Math::Point<double, 3>(max[0], max[1], max[2])};
}

} // namespace Octree
