#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

namespace Core {

// Hands data from a producer thread to a consumer thread without either waiting for the other:
// three slots of T, one being written, one being read, and one in between holding the newest
// complete data. The writer fills its write slot and swaps it with the middle one; the reader swaps
// its read slot with the middle one when that holds something newer. So the reader always sees the
// newest complete data, and the writer never blocks, however slowly the reader reads.
//
// After a swap, the write slot holds older data (the reader's previous slot or an unread one);
// the writer overwrites it completely. Keeping the slots lets vectors inside T reuse their memory.
//
// One reader thread. Writers: either one thread using writeSlot()/swapWrite(), or any number of
// threads using write(), which serialises them (never against the reader).
template <typename T>
class TripleBuffer {
public:
    TripleBuffer() = default;
    explicit TripleBuffer(const T& initial) : mSlots{initial, initial, initial} {}

    TripleBuffer(const TripleBuffer&) = delete;
    TripleBuffer& operator=(const TripleBuffer&) = delete;

    // Writer side
    T& writeSlot() { return mSlots[mWriteIndex]; }
    // Publishes the write slot as the newest data; the writer gets another slot to write.
    void swapWrite()
    {
        const auto previous = mMiddle.exchange(mWriteIndex | freshFlag, std::memory_order_acq_rel);
        mWriteIndex = previous & indexMask;
    }

    // Fills the write slot with fill(T&) and publishes it; nothing is published if fill throws.
    template <typename Fill>
    void write(Fill&& fill)
    {
        std::lock_guard lock(mWriterMutex);
        std::forward<Fill>(fill)(writeSlot());
        swapWrite();
    }

    // Reader side
    // Takes the newest published data into the read slot; false (and the read slot unchanged)
    // when nothing was published since the last call.
    bool swapRead()
    {
        if ((mMiddle.load(std::memory_order_relaxed) & freshFlag) == 0)
            return false;
        const auto previous = mMiddle.exchange(mReadIndex, std::memory_order_acq_rel);
        mReadIndex = previous & indexMask;
        return true;
    }
    const T& readSlot() const { return mSlots[mReadIndex]; }
    T& readSlot() { return mSlots[mReadIndex]; }

private:
    static constexpr std::uint8_t indexMask = 0x3;
    static constexpr std::uint8_t freshFlag = 0x4; // set when the middle slot is unread

    T mSlots[3]{};
    std::uint8_t mWriteIndex = 0;
    std::uint8_t mReadIndex = 1;
    std::atomic<std::uint8_t> mMiddle{2};
    std::mutex mWriterMutex;
};

} // namespace Core
