#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

namespace Index {

// The bytes the indexer's large buffers may hold at once. Work is admitted only once its buffers
// fit; each holds a Reservation for as long as its buffers live, so the peak is bounded by the
// limit by construction, and measured.
class MemoryBudget {
public:
    explicit MemoryBudget(std::uint64_t limit) : mLimit(limit) {}

    class Reservation {
    public:
        Reservation() = default;
        Reservation(MemoryBudget* budget, std::uint64_t bytes) : mBudget(budget), mBytes(bytes) {}
        Reservation(Reservation&& other) noexcept : mBudget(other.mBudget), mBytes(other.mBytes)
        {
            other.mBudget = nullptr;
        }
        Reservation& operator=(Reservation&& other) noexcept;
        ~Reservation();
        std::uint64_t bytes() const { return mBytes; }

    private:
        MemoryBudget* mBudget = nullptr;
        std::uint64_t mBytes = 0;
    };

    // Waits up to `timeout` until `bytes` fit beside what is reserved; std::nullopt when they did
    // not. Throws std::runtime_error when `bytes` exceed the whole limit.
    std::optional<Reservation> tryReserve(std::uint64_t bytes, std::chrono::milliseconds timeout);

    std::uint64_t limit() const { return mLimit; }
    std::uint64_t peak() const;

private:
    void release(std::uint64_t bytes);

    const std::uint64_t mLimit;
    mutable std::mutex mMutex;
    std::condition_variable mReleased;
    std::uint64_t mUsed = 0;
    std::uint64_t mPeak = 0;
};

} // namespace Index
