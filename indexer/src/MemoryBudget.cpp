#include "MemoryBudget.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Index {

MemoryBudget::Reservation& MemoryBudget::Reservation::operator=(Reservation&& other) noexcept
{
    if (this != &other) {
        if (mBudget) {
            mBudget->release(mBytes);
        }
        mBudget = other.mBudget;
        mBytes = other.mBytes;
        other.mBudget = nullptr;
    }
    return *this;
}

MemoryBudget::Reservation::~Reservation()
{
    if (mBudget) {
        mBudget->release(mBytes);
    }
}

std::optional<MemoryBudget::Reservation> MemoryBudget::tryReserve(std::uint64_t bytes,
                                                                  std::chrono::milliseconds timeout)
{
    if (bytes > mLimit) {
        throw std::runtime_error("a piece of work needs " + std::to_string(bytes >> 20) + " MiB, more than the "
                                 + std::to_string(mLimit >> 20) + " MiB the memory limit leaves for it");
    }
    std::unique_lock lock(mMutex);
    if (!mReleased.wait_for(lock, timeout, [&] { return mUsed + bytes <= mLimit; })) {
        return std::nullopt;
    }
    mUsed += bytes;
    mPeak = std::max(mPeak, mUsed);
    return Reservation(this, bytes);
}

std::uint64_t MemoryBudget::peak() const
{
    std::lock_guard lock(mMutex);
    return mPeak;
}

void MemoryBudget::release(std::uint64_t bytes)
{
    {
        std::lock_guard lock(mMutex);
        mUsed -= bytes;
    }
    mReleased.notify_all();
}

} // namespace Index
