#pragma once

#include <lumaro/octree/Location.h>

#include <cstddef>
#include <functional>

namespace Octree {

// Decoded node data depend on the store and on the unit scale applied to its coordinates, so
// caches of decoded nodes are shared under this pair.
struct CacheIdentifier {
    Location location;
    double unitScale;

    friend bool operator==(const CacheIdentifier&, const CacheIdentifier&) = default;
};

} // namespace Octree

template <>
struct std::hash<Octree::CacheIdentifier> {
    std::size_t operator()(const Octree::CacheIdentifier& id) const noexcept
    {
        std::size_t h = std::hash<Octree::Location>{}(id.location);
        return h ^ (std::hash<double>{}(id.unitScale) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2));
    }
};
