#include <lumaro/octree/ReadStatistics.h>

#include <atomic>

namespace Octree {

namespace {

std::atomic<std::uint64_t> requestsSoFar{0};
std::atomic<std::uint64_t> bytesSoFar{0};

} // namespace

ReadStatistics readStatistics()
{
    return {requestsSoFar.load(std::memory_order_relaxed), bytesSoFar.load(std::memory_order_relaxed)};
}

void countStoreRead(std::uint64_t bytes)
{
    requestsSoFar.fetch_add(1, std::memory_order_relaxed);
    bytesSoFar.fetch_add(bytes, std::memory_order_relaxed);
}

} // namespace Octree
