#pragma once

#include <lumaro/render/gpu/VertexContainer.h>

#include <lumaro/math/NBoundingBox.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Render {

// What a point cloud draws, as plain CPU data: written by the prioritizer on a loader thread,
// handed to the render thread through a triple buffer, and uploaded there (the node table into
// the `visibleNodes` texture, the vertices into the instance buffer) before the draws.
struct PointCloudBuffers {
    using Vertex = VertexContainer::Vertex;

    // One instanced draw: the node's points are vertices[firstPoint, firstPoint + pointCount).
    struct DrawNode {
        Math::NBoundingBox<float, 3> cube; // the shader's node_min is cube.min()
        std::uint32_t texel = 0; // node_index: the node's texel in nodeTexels
        std::uint32_t level = 0; // node_depth
        std::uint32_t firstPoint = 0;
        std::uint32_t pointCount = 0;
    };

    // Texels of the node table: RGBA, one byte each, read as 8-bit normalised channels.
    static constexpr std::size_t bytesPerTexel = 4;
    static constexpr std::size_t childMaskByte = 0; // red: bit i = child i is resident
    static constexpr std::size_t childOffsetHighByte = 1; // green and blue: texels from this node
    static constexpr std::size_t childOffsetLowByte = 2; // to its first resident child

    // Level order with the root first; the resident children of a node follow each other by
    // child index, so the shader finds child i at offset + (resident siblings below i).
    std::vector<std::uint8_t> nodeTexels;
    // In texel order: nodes[k].texel == k.
    std::vector<DrawNode> nodes;
    std::vector<Vertex> vertices;
    // Levels 0 .. levelCount - 1 each hold at least one node.
    std::size_t levelCount = 0;

    std::size_t nodeCount() const { return nodes.size(); }
    std::size_t pointCount() const { return vertices.size(); }
};

} // namespace Render
