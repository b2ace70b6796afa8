#include <lumaro/render/core/ClippingPlanes.h>

#include <stdexcept>
#include <string>

namespace Render {

void requireClippingPlaneCount(std::size_t count)
{
    if (count > maxClippingPlanes)
        throw std::runtime_error("Error: volume contains too many clipping planes, plane count = "
                                 + std::to_string(count));
}

} // namespace Render
