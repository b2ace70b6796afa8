#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>
#include <lumaro/octree/BoxTestResult.h>

namespace Render {

// A region of space chosen by the host, for point queries: which points it keeps, and whether a
// box (an octree node's, in world coordinates) lies inside it, outside it or across its border,
// so that whole subtrees can be taken or skipped without testing their points.
class LUMARO_RENDER_API IFilter {
public:
    virtual ~IFilter() = default;

    // True keeps the point (world coordinates).
    virtual bool testPosition(const Math::Point<float, 3>& position) = 0;
    virtual Octree::BoxTestResult testBox(const Math::NBoundingBox<float, 3>& box) = 0;
};

} // namespace Render
