#pragma once

#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/potree/Metadata.h>

#include <cstddef>
#include <optional>

namespace PoTree {

// Where the attributes this library understands sit among a store's attributes, as the number of
// bytes per point that come before them: the offset inside an interleaved record, or, multiplied
// by the point count, the start of a column in the Brotli layout. Attributes are recognised by
// exact name and declared size only, so a column is never read with another width than its own.
struct AttributeLayout {
    std::optional<std::size_t> position;
    std::optional<std::size_t> rgb;
    std::optional<std::size_t> intensity;
    std::optional<std::size_t> scanIndex;
    std::optional<std::size_t> classification;
    std::optional<std::size_t> visibility;
    std::optional<std::size_t> normalOct16;
    std::optional<std::size_t> normalX;
    std::optional<std::size_t> normalY;
    std::optional<std::size_t> normalZ;

    static AttributeLayout of(const Metadata& metadata);

    bool hasNormals() const { return normalOct16 || (normalX && normalY && normalZ); }
    ::Octree::PointAttributes available() const;
};

} // namespace PoTree
