#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Entwine {

// The name of an EPT node, "D-X-Y-Z": its depth and its cell in the grid of 2^D cells per axis.
// It names the node's hierarchy entry and its data file.
struct Key {
    std::uint32_t depth = 0;
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t z = 0;

    // Throws std::invalid_argument for anything but four unpadded decimal numbers joined by '-',
    // and for a cell outside the grid of its depth.
    static Key parse(std::string_view text);

    static Key of(Octree::OctreeNodeId id);
    // Throws std::invalid_argument when the depth exceeds OctreeNodeId::MAX_REPRESENTABLE_LEVEL.
    Octree::OctreeNodeId nodeId() const;

    std::string toString() const;

    // The child that is in the upper half on each axis whose bit is set: 4 = x, 2 = y, 1 = z, as
    // in OctreeNodeId.
    Key child(unsigned index) const;

    // True for this key itself and every key below it.
    bool contains(const Key& other) const;

    // The node's box, found by halving `root` along the path from the root as EPT readers do.
    Math::NBoundingBox<double, 3> bounds(const Math::NBoundingBox<double, 3>& root) const;

    friend bool operator==(const Key&, const Key&) = default;
};

} // namespace Entwine
