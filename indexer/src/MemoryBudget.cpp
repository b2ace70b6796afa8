#include "MemoryBudget.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Index {

MemoryBudget::Reservation& MemoryBudget::Reservation::operator=(Reservation&& other) noexcept
{
    if (this != &other) {
        if (m_budget) {
            m_budget->release(m_bytes);
        }
        m_budget = other.m_budget;
        m_bytes = other.m_bytes;
        other.m_budget = nullptr;
    }
    return *this;
}

MemoryBudget::Reservation::~Reservation()
{
    if (m_budget) {
        m_budget->release(m_bytes);
    }
}

std::optional<MemoryBudget::Reservation> MemoryBudget::tryReserve(std::uint64_t bytes, std::chrono::milliseconds timeout)
{
    if (bytes > m_limit) {
        throw std::runtime_error("a piece of work needs " + std::to_string(bytes >> 20) + " MiB, more than the "
                                 + std::to_string(m_limit >> 20) + " MiB the memory limit leaves for it");
    }
    std::unique_lock lock(m_mutex);
    if (!m_released.wait_for(lock, timeout, [&] { return m_used + bytes <= m_limit; })) {
        return std::nullopt;
    }
    m_used += bytes;
    m_peak = std::max(m_peak, m_used);
    return Reservation(this, bytes);
}

std::uint64_t MemoryBudget::peak() const
{
    std::lock_guard lock(m_mutex);
    return m_peak;
}

void MemoryBudget::release(std::uint64_t bytes)
{
    {
        std::lock_guard lock(m_mutex);
        m_used -= bytes;
    }
    m_released.notify_all();
}

} // namespace Index
