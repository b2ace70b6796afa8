#include <lumaro/octree/entwine/DecodedPoints.h>

#include <cmath>
#include <stdexcept>

namespace Entwine {

using ::Octree::PointAttribute;

void requirePointsInside(const DecodedPoints& decoded, const Math::NBoundingBox<double, 3>& box,
                         const std::string& source)
{
    const ::Octree::RawPoints& raw = decoded.points;
    if (!raw.attributes.contains(PointAttribute::Position)) {
        return;
    }
    std::array<double, 3> low{};
    std::array<double, 3> high{};
    for (int axis = 0; axis < 3; ++axis) {
        const double slack = std::abs(decoded.scale[axis]) / 2 + 1e-9 * (box.max()[axis] - box.min()[axis]);
        low[axis] = box.min()[axis] - slack;
        high[axis] = box.max()[axis] + slack;
    }
    for (std::size_t i = 0; i < raw.count; ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            const double world =
                static_cast<double>(raw.positions[i][axis]) * decoded.scale[axis] + decoded.offset[axis];
            if (!(world >= low[axis] && world <= high[axis])) {
                throw std::runtime_error(source + ": point " + std::to_string(i) + " lies outside its node ("
                                         + "coordinate " + std::to_string(world) + " on axis " + std::to_string(axis)
                                         + "); the data are corrupt");
            }
        }
    }
}

} // namespace Entwine
