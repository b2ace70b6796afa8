#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/octree/NodeVisibility.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <array>
#include <cstdint>
#include <memory>

namespace PoTree {

enum class NodeType : std::uint8_t {
    Normal = 0,
    Leaf = 1, // unreliable in converter 2.1.1 and later: the child mask decides
    Proxy = 2, // byte offset and size name the node's own hierarchy chunk
};

// One node of a Potree hierarchy with the fields of its 22-byte record.
class Node {
public:
    Node(Octree::OctreeNodeId id, const Math::NBoundingBox<double, 3>& box) : id(id), box(box) {}

    bool isProxy() const { return type == NodeType::Proxy; }
    bool hasChild(std::size_t index) const { return (childMask >> index) & 1u; }

    Octree::OctreeNodeId id;
    Math::NBoundingBox<double, 3> box;
    NodeType type = NodeType::Normal;
    Octree::NodeVisibility visibility = Octree::NodeVisibility::PerPoint;
    std::uint8_t childMask = 0;
    std::uint32_t pointCount = 0;
    std::uint64_t byteOffset = 0;
    std::uint64_t byteSize = 0;
    // Set when a record has described this node; nodes announced by their parent's child mask
    // but never described stay false.
    bool described = false;
    std::array<std::shared_ptr<Node>, 8> children;
};

// Octant `index` of `box`: the upper half on x for bit value 4, on y for 2, on z for 1.
Math::NBoundingBox<double, 3> childBox(const Math::NBoundingBox<double, 3>& box, std::size_t index);

} // namespace PoTree
