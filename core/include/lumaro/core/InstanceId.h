#pragma once

#include <atomic>
#include <cstddef>

namespace Core {

// Base class that gives every instance of T a running number, unique among the Ts of the
// process: 0 for the first, then 1, 2, ... Each T counts on its own, so renderers and renderables
// are numbered independently. A copy is the same logical object in another place, so it keeps the
// number of its source; only default construction draws a new one.
template <typename T>
class InstanceId {
public:
    InstanceId() : mId(nextId()) {}
    InstanceId(const InstanceId&) = default;
    InstanceId& operator=(const InstanceId&) = default;
    virtual ~InstanceId() = default;

    std::size_t id() const { return mId; }

private:
    static_assert(sizeof(std::size_t) == 8, "instance identifiers are 64-bit");

    static std::size_t nextId()
    {
        static std::atomic<std::size_t> counter{0};
        return counter.fetch_add(1);
    }

    std::size_t mId;
};

} // namespace Core
