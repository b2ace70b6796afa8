#pragma once

#include <cstdint>

namespace Octree {

// Visibility of a node's points as a whole, where the store records it per node. AllVisible and
// AllHidden have the values of the high nibble of a Potree hierarchy record; every other nibble
// value is PerPoint.
enum class NodeVisibility : std::uint8_t {
    PerPoint = 0, // look at each point's own visibility
    AllVisible = 1,
    AllHidden = 2,
};

} // namespace Octree
