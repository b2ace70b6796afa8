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
    explicit MemoryBudget(std::uint64_t limit) : m_limit(limit) {}

    class Reservation {
    public:
        Reservation() = default;
        Reservation(MemoryBudget* budget, std::uint64_t bytes) : m_budget(budget), m_bytes(bytes) {}
        Reservation(Reservation&& other) noexcept : m_budget(other.m_budget), m_bytes(other.m_bytes) { other.m_budget = nullptr; }
        Reservation& operator=(Reservation&& other) noexcept;
        ~Reservation();
        std::uint64_t bytes() const { return m_bytes; }

    private:
        MemoryBudget* m_budget = nullptr;
        std::uint64_t m_bytes = 0;
    };

    // Waits up to `timeout` until `bytes` fit beside what is reserved; std::nullopt when they did
    // not. Throws std::runtime_error when `bytes` exceed the whole limit.
    std::optional<Reservation> tryReserve(std::uint64_t bytes, std::chrono::milliseconds timeout);

    std::uint64_t limit() const { return m_limit; }
    std::uint64_t peak() const;

private:
    void release(std::uint64_t bytes);

    const std::uint64_t m_limit;
    mutable std::mutex m_mutex;
    std::condition_variable m_released;
    std::uint64_t m_used = 0;
    std::uint64_t m_peak = 0;
};

} // namespace Index
