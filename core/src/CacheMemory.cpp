#include <lumaro/core/CacheMemory.h>

#include <algorithm>

namespace Core {

void CacheMemory::setLimit(std::uint64_t bytes)
{
    std::lock_guard lock(mMutex);
    mLimit.store(bytes);
    evictFor(0);
}

std::uint64_t CacheMemory::peakBytes() const
{
    std::lock_guard lock(mMutex);
    return mPeak;
}

void CacheMemory::resetPeak()
{
    std::lock_guard lock(mMutex);
    mPeak = mUsed.load();
}

bool CacheMemory::reserve(std::uint64_t bytes)
{
    std::lock_guard lock(mMutex);
    if (!evictFor(bytes))
        return false;
    // Only reserve() adds, under the lock; what others do meanwhile only gives bytes back.
    const std::uint64_t used = mUsed.fetch_add(bytes) + bytes;
    mPeak = std::max(mPeak, used);
    return true;
}

bool CacheMemory::evictFor(std::uint64_t bytes)
{
    const std::uint64_t limit = mLimit.load();
    if (bytes > limit)
        return false;
    while (mUsed.load() > limit - bytes) {
        // The member whose oldest entry is the oldest of all; each is asked under its own lock.
        Member* oldest = nullptr;
        std::uint64_t oldestUse = 0;
        for (Member* member : mMembers) {
            const std::optional<std::uint64_t> use = member->oldestUse();
            if (use && (!oldest || *use < oldestUse)) {
                oldest = member;
                oldestUse = *use;
            }
        }
        if (!oldest)
            return false; // what is used belongs to entries not inserted yet
        // A miss (the entry was used or went meanwhile) only means looking again.
        oldest->evictOldest(oldestUse);
    }
    return true;
}

void CacheMemory::join(Member& member)
{
    std::lock_guard lock(mMutex);
    mMembers.push_back(&member);
}

void CacheMemory::leave(Member& member)
{
    std::lock_guard lock(mMutex);
    std::erase(mMembers, &member);
}

} // namespace Core
