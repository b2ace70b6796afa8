#pragma once

#include <lumaro/core/CacheEntrySize.h>
#include <lumaro/core/CacheMemory.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace Core {

// A thread-safe least-recently-used cache whose capacity is counted in size units (SizeOf gives
// each value's size, e.g. its number of points). Values are copied out, so a caller never holds a
// reference into the cache while other threads evict.
//
// Inserting makes room first by evicting least recently used entries one at a time, each under
// its own short lock, so that other threads get through between evictions. An entry larger than
// the whole capacity empties the cache and is still kept; the used size then exceeds the capacity
// until the next insertion evicts it.
//
// A cache may also share a limit in bytes with other caches (CacheMemory): each entry then reserves
// its bytes there before it is inserted, and the least recently used entries of all those caches
// leave when the limit is reached, this cache's or another's. An entry larger than that whole limit
// is handed back without being cached. The shared limit is asked only while this cache's lock is
// not held; do not insert while holding mutex().
template <typename Key, typename Value, typename SizeOf = CacheEntrySizeOne<Value>, typename Hash = std::hash<Key>,
          typename KeyEqual = std::equal_to<Key>>
class LruCache final : private CacheMemory::Member {
public:
    // The bytes a value takes, for a shared limit.
    using BytesOf = std::function<std::uint64_t(const Value&)>;

    // Throws std::invalid_argument for a capacity of 0. `expectedEntries` only sizes the hash map.
    explicit LruCache(std::size_t capacity, std::size_t expectedEntries = 0) : mCapacity(capacity)
    {
        if (capacity == 0)
            throw std::invalid_argument("Size of the cache should be non-zero");
        mPositions.reserve(expectedEntries);
    }

    // A cache whose entries also count `bytesOf` bytes against the limit `memory` shares.
    LruCache(std::size_t capacity, std::size_t expectedEntries, std::shared_ptr<CacheMemory> memory, BytesOf bytesOf)
        : LruCache(capacity, expectedEntries)
    {
        if (!memory || !bytesOf)
            throw std::invalid_argument("a cache sharing a memory limit needs the limit and the size of a value");
        mMemory = std::move(memory);
        mBytesOf = std::move(bytesOf);
        mMemory->join(*this);
    }

    ~LruCache()
    {
        if (mMemory) {
            mMemory->leave(*this);
            mMemory->release(mUsedBytes);
        }
    }

    LruCache(const LruCache&) = delete;
    LruCache& operator=(const LruCache&) = delete;

    bool contains(const Key& key) const
    {
        std::lock_guard lock(mMutex);
        return mPositions.find(key) != mPositions.end();
    }

    // Copies the value out and marks it most recently used. Throws std::invalid_argument for an
    // absent key.
    Value get(const Key& key)
    {
        std::lock_guard lock(mMutex);
        auto value = find(key);
        if (!value)
            throw std::invalid_argument("Error: Key is not in cache");
        return *value;
    }

    // get() without the exception: empty when the key is absent.
    std::optional<Value> tryGet(const Key& key)
    {
        std::lock_guard lock(mMutex);
        if (auto value = find(key))
            return *value;
        return std::nullopt;
    }

    // Makes room for the value and inserts it as the most recently used entry, unless the key is
    // already cached (then the cached value stays and is marked most recently used). Returns a
    // copy of the value that the cache holds for the key afterwards.
    Value insert(const Key& key, Value value)
    {
        const std::size_t size = SizeOf{}(value);
        return insert(key, std::move(value), size);
    }

    // insert() with a size given by the caller instead of SizeOf.
    Value insert(const Key& key, Value value, std::size_t size)
    {
        std::uint64_t bytes = 0;
        if (mMemory) {
            if (auto cached = tryGet(key))
                return *cached;
            bytes = mBytesOf(value);
            if (!mMemory->reserve(bytes))
                return value;
        }
        makeRoom(size);
        std::lock_guard lock(mMutex);
        if (auto cached = find(key)) {
            releaseBytes(bytes);
            return *cached;
        }
        mEntries.push_front(Entry{key, std::move(value), size, bytes, stamp()});
        try {
            mPositions.emplace(key, mEntries.begin());
        } catch (...) {
            mEntries.pop_front();
            releaseBytes(bytes);
            throw;
        }
        mUsed += size;
        mUsedBytes += bytes;
        return mEntries.front().value;
    }

    // The cached value of the key; on a miss, load(), called without any lock held, produces it
    // (or std::nullopt for failure, which caches nothing) and it is inserted. Several threads may
    // load the same key at once; the first insertion wins and all of them get its value.
    template <typename Load>
    std::optional<Value> getOrLoad(const Key& key, Load&& load)
    {
        if (auto cached = tryGet(key))
            return cached;
        std::optional<Value> loaded = std::forward<Load>(load)();
        if (!loaded)
            return std::nullopt;
        return insert(key, std::move(*loaded));
    }

    // Evicts least recently used entries, one per lock, until `size` more units fit or the cache
    // is empty.
    void makeRoom(std::size_t size)
    {
        while (true) {
            std::lock_guard lock(mMutex);
            if (mEntries.empty() || freeSize() >= size)
                return;
            evictLeastRecentlyUsed();
        }
    }

    // Removes every entry for which predicate(key, value) is true; returns how many.
    template <typename Predicate>
    std::size_t eraseIf(Predicate&& predicate)
    {
        std::lock_guard lock(mMutex);
        std::size_t erased = 0;
        for (auto entry = mEntries.begin(); entry != mEntries.end();) {
            if (predicate(std::as_const(entry->key), std::as_const(entry->value))) {
                mUsed -= entry->size;
                forgetBytes(entry->bytes);
                mPositions.erase(entry->key);
                entry = mEntries.erase(entry);
                ++erased;
            } else {
                ++entry;
            }
        }
        return erased;
    }

    bool erase(const Key& key)
    {
        std::lock_guard lock(mMutex);
        const auto position = mPositions.find(key);
        if (position == mPositions.end())
            return false;
        mUsed -= position->second->size;
        forgetBytes(position->second->bytes);
        mEntries.erase(position->second);
        mPositions.erase(position);
        return true;
    }

    void clear()
    {
        std::lock_guard lock(mMutex);
        mPositions.clear();
        mEntries.clear();
        mUsed = 0;
        forgetBytes(mUsedBytes);
    }

    std::size_t capacity() const { return mCapacity; }

    std::size_t usedSize() const
    {
        std::lock_guard lock(mMutex);
        return mUsed;
    }

    // The bytes this cache's entries count against its shared limit (0 without one).
    std::uint64_t usedBytes() const
    {
        std::lock_guard lock(mMutex);
        return mUsedBytes;
    }

    std::size_t entryCount() const
    {
        std::lock_guard lock(mMutex);
        return mEntries.size();
    }

    // The cache's own lock, recursive so that a caller may hold it across several operations
    // (e.g. a presence check and the get that follows) to make them one step for other threads.
    std::recursive_mutex& mutex() const { return mMutex; }

private:
    struct Entry {
        Key key;
        Value value;
        std::size_t size;
        std::uint64_t bytes; // against the shared limit
        std::uint64_t lastUse; // the shared limit's stamp
    };
    using Entries = std::list<Entry>;

    // Marks the key most recently used and returns its value; null when absent. Needs the lock.
    const Value* find(const Key& key)
    {
        const auto position = mPositions.find(key);
        if (position == mPositions.end())
            return nullptr;
        mEntries.splice(mEntries.begin(), mEntries, position->second);
        position->second->lastUse = stamp();
        return &position->second->value;
    }

    // A use stamp of the shared limit (0 without one).
    std::uint64_t stamp() { return mMemory ? mMemory->nextUse() : 0; }

    // Gives a reservation back, or an entry's bytes. Lock-free on the shared side.
    void releaseBytes(std::uint64_t bytes)
    {
        if (mMemory && bytes > 0)
            mMemory->release(bytes);
    }
    // Needs the lock: an entry's bytes leave this cache and the shared limit.
    void forgetBytes(std::uint64_t bytes)
    {
        mUsedBytes -= bytes;
        releaseBytes(bytes);
    }

    // The shared limit's questions, each under this cache's lock alone.
    std::optional<std::uint64_t> oldestUse() const override
    {
        std::lock_guard lock(mMutex);
        if (mEntries.empty())
            return std::nullopt;
        return mEntries.back().lastUse;
    }
    bool evictOldest(std::uint64_t use) override
    {
        std::lock_guard lock(mMutex);
        if (mEntries.empty() || mEntries.back().lastUse != use)
            return false;
        evictLeastRecentlyUsed();
        return true;
    }

    // Needs the lock.
    std::size_t freeSize() const { return mUsed >= mCapacity ? 0 : mCapacity - mUsed; }

    // Needs the lock and a non-empty cache.
    void evictLeastRecentlyUsed()
    {
        const auto last = std::prev(mEntries.end());
        mUsed -= last->size;
        forgetBytes(last->bytes);
        mPositions.erase(last->key);
        mEntries.erase(last);
    }

    mutable std::recursive_mutex mMutex;
    const std::size_t mCapacity;
    std::size_t mUsed = 0;
    std::shared_ptr<CacheMemory> mMemory;
    BytesOf mBytesOf;
    std::uint64_t mUsedBytes = 0;
    Entries mEntries; // most recently used first
    std::unordered_map<Key, typename Entries::iterator, Hash, KeyEqual> mPositions;
};

} // namespace Core
