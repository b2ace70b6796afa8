#pragma once

#include <lumaro/render/gpu/VertexContainer.h>
#include <lumaro/render/pointcloud/NodeId.h>
#include <lumaro/render/pointcloud/NodePriority.h>

#include <lumaro/math/NBoundingBox.h>

namespace Render {

// A resident node of the prioritizer: what it is, how much it matters, and its points ready to
// draw (with their distances for distance colorization, if known).
struct PrioritizedNode {
    Math::NBoundingBox<float, 3> boundingCube; // model coordinates, kept to re-rate the node
    NodeId id;
    NodePriority priority;
    VertexContainer vertices;
};

} // namespace Render
