#pragma once

#include <cstdint>

namespace Octree {

// What the store readers of this process have read so far: reads of files on disk and HTTP(S)
// requests, and their bytes. For measurements (lumaro render --stats): the counters only grow;
// take the difference of two readings.
struct ReadStatistics {
    std::uint64_t requests = 0;
    std::uint64_t bytes = 0;
};

ReadStatistics readStatistics();

// Counts one read or request of a store reader, with the bytes it brought.
void countStoreRead(std::uint64_t bytes);

} // namespace Octree
