#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace Core {

// One limit in bytes shared by many caches (e.g. the node caches of every store a process shows):
// a cache that takes a new entry reserves its bytes here first, and when they do not fit, the
// least recently used entries of all member caches leave, whichever cache holds them. Recency is
// one process-wide order of use stamps, which the members give their entries.
//
// Locks: reserve() holds this object's lock while it asks the members, one at a time, for their
// oldest entry and evicts it; a member's lock is never held together with another member's. A
// member therefore must not call reserve(), setLimit(), join() or leave() while it holds its own
// lock; release() and nextUse() are lock-free and may be called anywhere.
class CacheMemory {
public:
    // What a member cache offers the shared limit.
    class Member {
    public:
        // The use stamp of the member's least recently used entry; none when it is empty.
        virtual std::optional<std::uint64_t> oldestUse() const = 0;
        // Evicts the least recently used entry (releasing its bytes) when it still carries the stamp
        // `use`; whether it did.
        virtual bool evictOldest(std::uint64_t use) = 0;

    protected:
        Member() = default;
        Member(const Member&) = default;
        Member& operator=(const Member&) = default;
        ~Member() = default;
    };

    explicit CacheMemory(std::uint64_t limitBytes) : mLimit(limitBytes) {}
    CacheMemory(const CacheMemory&) = delete;
    CacheMemory& operator=(const CacheMemory&) = delete;

    std::uint64_t limit() const { return mLimit.load(); }
    // A lower limit evicts least recently used entries at once until the used bytes fit.
    void setLimit(std::uint64_t bytes);
    // The bytes of the entries held (and of those being inserted) now.
    std::uint64_t usedBytes() const { return mUsed.load(); }
    // The most bytes ever used at once since the last resetPeak().
    std::uint64_t peakBytes() const;
    void resetPeak();

    // A stamp later than every stamp handed out before.
    std::uint64_t nextUse() { return mNextUse.fetch_add(1) + 1; }

    // Reserves `bytes` for a new entry, evicting least recently used entries of the members until
    // they fit. False, reserving nothing, when they cannot fit: an entry larger than the whole limit,
    // or room held by entries on their way into caches.
    bool reserve(std::uint64_t bytes);
    // Gives back the bytes of entries that left a cache, or of a reservation not used.
    void release(std::uint64_t bytes) { mUsed.fetch_sub(bytes); }

    void join(Member& member);
    // After this returns, the member is never asked again.
    void leave(Member& member);

private:
    // Evicts until `bytes` more fit; whether they do. Needs mMutex.
    bool evictFor(std::uint64_t bytes);

    mutable std::mutex mMutex;
    std::vector<Member*> mMembers;
    std::atomic<std::uint64_t> mLimit;
    std::atomic<std::uint64_t> mUsed{0};
    std::uint64_t mPeak = 0;
    std::atomic<std::uint64_t> mNextUse{0};
};

} // namespace Core
