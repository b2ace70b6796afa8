#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/octree/OctreeNodeId.h>

#include <optional>
#include <stop_token>

namespace Render {

// Produces the point vertices of a point cloud's nodes for the prioritizer: the point-cloud
// renderable, through its shared node cache. Called without any prioritizer lock held, from the
// loader threads, possibly several at once.
class LUMARO_RENDER_API NodeVertexSource {
public:
    virtual ~NodeVertexSource() = default;

    // The node's vertices; std::nullopt when the load failed or `stop` ended it. May throw for a
    // failure it can describe better.
    virtual std::optional<VertexContainer> fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop) = 0;

protected:
    NodeVertexSource() = default;
    NodeVertexSource(const NodeVertexSource&) = default;
    NodeVertexSource& operator=(const NodeVertexSource&) = default;
};

} // namespace Render
