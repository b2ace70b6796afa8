#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/Renderer.h>

#include <algorithm>

namespace Render {

void applyColoring(Renderer& renderer, Coloring coloring, const Math::NBoundingBox<float, 3>& box)
{
    if (coloring == Coloring::Elevation && !box.isEmpty()) {
        // Height above the lowest point, over the whole height of the data.
        renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, -box.min().z()));
        renderer.setColorMapRange(0.0f, std::max(box.size().z(), 1e-6f));
        renderer.setUseSignedDistance(false);
    }
    renderer.setRenderMode(renderModeOf(coloring));
}

} // namespace Render
