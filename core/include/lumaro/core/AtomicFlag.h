#pragma once

#include <atomic>

namespace Core {

// A boolean that one thread may set while another reads or clears it (a redraw request raised by
// a loader thread, for example). Unlike std::atomic it can be copied: a copy takes the value the
// flag has at that moment, so classes holding one keep their default copy operations.
class AtomicFlag {
public:
    AtomicFlag(bool value = false) noexcept : mValue(value) {}
    AtomicFlag(const AtomicFlag& other) noexcept : mValue(other.load()) {}
    AtomicFlag& operator=(const AtomicFlag& other) noexcept
    {
        store(other.load());
        return *this;
    }

    bool load() const noexcept { return mValue.load(); }
    void store(bool value) noexcept { mValue.store(value); }
    // Returns the value the flag had before.
    bool exchange(bool value) noexcept { return mValue.exchange(value); }

private:
    std::atomic<bool> mValue;
};

static_assert(sizeof(AtomicFlag) == 1, "the flag is one byte, like the bool it stands for");
static_assert(std::atomic<bool>::is_always_lock_free);

} // namespace Core
