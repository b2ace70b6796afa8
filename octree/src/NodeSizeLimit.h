#pragma once

#include <cstdint>

namespace Octree {

// Real nodes hold up to a few hundred thousand points, a few megabytes. A record claiming more
// than a gigabyte of points is corrupt: believing it would allocate gigabytes before the data
// could tell otherwise, or decode them for minutes from data that repeat one point.
inline constexpr std::uint64_t MAX_NODE_BYTES = std::uint64_t{1} << 30;

inline bool exceedsNodeSizeLimit(std::uint64_t points, std::uint64_t bytesPerPoint)
{
    return bytesPerPoint != 0 && points > MAX_NODE_BYTES / bytesPerPoint;
}

} // namespace Octree
