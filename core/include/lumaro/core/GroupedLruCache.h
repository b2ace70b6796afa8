#pragma once

#include <lumaro/core/LruCache.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Core {

// A least-recently-used cache whose entries belong to groups: the same key may be cached once
// per group, and a whole group can be dropped at once. Use it for values derived from a key and
// some other input that changes now and then (e.g. per-node distances to one particular mesh):
// the group stands for that input, so values of an outdated input are dropped together, or simply
// age out, while those of the current one are kept.
//
// The capacity counts size units over all groups (entries, by default), and eviction is least
// recently used across groups. Thread-safe.
template <typename Key, typename Value, typename Group, typename SizeOf = CacheEntrySizeOne<Value>,
          typename KeyHash = std::hash<Key>, typename GroupHash = std::hash<Group>>
class GroupedLruCache {
public:
    // Throws std::invalid_argument for a capacity of 0.
    explicit GroupedLruCache(std::size_t capacity) : mCache(checkedCapacity(capacity), capacity) {}
    // Entries also count `bytesOf` bytes against the limit `memory` shares (see LruCache).
    GroupedLruCache(std::size_t capacity, std::shared_ptr<CacheMemory> memory,
                    std::function<std::uint64_t(const Value&)> bytesOf)
        : mCache(checkedCapacity(capacity), capacity, std::move(memory), std::move(bytesOf))
    {}

    bool contains(const Group& group, const Key& key) const { return mCache.contains({group, key}); }

    // Copies the value out and marks it most recently used. Throws std::invalid_argument when the
    // group does not hold the key.
    Value get(const Group& group, const Key& key) { return mCache.get({group, key}); }

    std::optional<Value> tryGet(const Group& group, const Key& key) { return mCache.tryGet({group, key}); }

    // Inserts unless the group already holds the key; returns the value held afterwards.
    Value insert(const Group& group, const Key& key, Value value)
    {
        return mCache.insert({group, key}, std::move(value));
    }

    // Removes every entry of the group; returns how many.
    std::size_t eraseGroup(const Group& group)
    {
        return mCache.eraseIf([&](const GroupKey& groupKey, const Value&) { return groupKey.group == group; });
    }

    void clear() { mCache.clear(); }

    std::size_t capacity() const { return mCache.capacity(); }
    std::size_t usedSize() const { return mCache.usedSize(); }
    std::uint64_t usedBytes() const { return mCache.usedBytes(); }
    std::size_t entryCount() const { return mCache.entryCount(); }

private:
    struct GroupKey {
        Group group;
        Key key;
        bool operator==(const GroupKey&) const = default;
    };

    struct GroupKeyHash {
        std::size_t operator()(const GroupKey& groupKey) const
        {
            const std::size_t groupHash = GroupHash{}(groupKey.group);
            // Mixes the two hashes so that (g, k) and (k, g) differ and nearby values spread.
            return groupHash ^ (KeyHash{}(groupKey.key) + 0x9e3779b97f4a7c15ull + (groupHash << 6) + (groupHash >> 2));
        }
    };

    static std::size_t checkedCapacity(std::size_t capacity)
    {
        if (capacity == 0)
            throw std::invalid_argument("Capacity must be greater than 0");
        return capacity;
    }

    LruCache<GroupKey, Value, SizeOf, GroupKeyHash> mCache;
};

} // namespace Core
