#pragma once

#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/entwine/Key.h>

#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Entwine {

// The nodes of a D-X-Y-Z keyed octree whose index is split into parts that are read only when a
// walk first reaches them: EPT's hierarchy files and COPC's hierarchy pages. Each part maps keys
// to records; a record whose `describedElsewhere()` is true hands that key's whole subtree to
// another part, which `read` fetches and which must list that key again with its real record.
// A node that no part lists does not exist, and neither do its descendants. All members may be
// called from several threads; parts are read without holding the lock.
template <class Record>
class SubtreeIndex {
public:
    using Entry = std::pair<Key, Record>;
    // Reads the part that describes the subtree of `key`, whose record points to it.
    using ReadPart = std::function<std::vector<Entry>(const Key& key, const Record& pointer)>;
    // Names that part for messages (a file, a byte range).
    using NamePart = std::function<std::string(const Key& key, const Record& pointer)>;

    // `rootPart` is the part that holds the root; `rootName` names it. Throws std::runtime_error
    // naming it when it does not give the root's own record.
    SubtreeIndex(const std::vector<Entry>& rootPart, const std::string& rootName, ReadPart read, NamePart name)
        : mRead(std::move(read)), mName(std::move(name))
    {
        for (const auto& [key, record] : rootPart) {
            mRecords[key.nodeId()] = record;
        }
        const auto root = mRecords.find(Key{}.nodeId());
        if (root == mRecords.end() || root->second.describedElsewhere()) {
            throw std::runtime_error(rootName + ": does not give the point count of the root 0-0-0-0");
        }
        mPartsRead.push_back(Key{});
    }

    // The node's record; std::nullopt when the tree has no such node. Reads the parts on the way
    // to it that were not read yet: a part that cannot be read throws what `read` throws, a part
    // that lists keys outside its subtree or does not list its own key throws std::runtime_error
    // naming it, and a stop requested before a needed part was read throws
    // Octree::OperationCancelled.
    std::optional<Record> find(const Key& key, std::stop_token stop = {}) const
    {
        if (key.depth > Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL) {
            return std::nullopt;
        }
        while (true) {
            Key unread;
            Record pointer{};
            {
                const std::lock_guard lock(mMutex);
                // A listed node is only part of the tree when every node above it is.
                for (std::uint32_t depth = 0;; ++depth) {
                    const Key step = ancestorAt(key, depth);
                    const auto found = mRecords.find(step.nodeId());
                    if (found == mRecords.end()) {
                        return std::nullopt;
                    }
                    if (found->second.describedElsewhere()) {
                        unread = step;
                        pointer = found->second;
                        break;
                    }
                    if (depth == key.depth) {
                        return found->second;
                    }
                }
            }
            if (stop.stop_requested()) {
                throw Octree::OperationCancelled();
            }
            const std::vector<Entry> entries = readSubtree(unread, pointer);
            const std::lock_guard lock(mMutex);
            // When another thread read the part meanwhile, its entries stay.
            if (mRecords[unread.nodeId()].describedElsewhere()) {
                for (const auto& [entryKey, record] : entries) {
                    mRecords[entryKey.nodeId()] = record;
                }
                mPartsRead.push_back(unread);
            }
        }
    }

    // The existing children in ascending child index (see Key::child); empty for a node that does
    // not exist. Reads parts as find does.
    std::vector<Key> children(const Key& key, std::stop_token stop = {}) const
    {
        std::vector<Key> result;
        if (key.depth >= Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL || !find(key, stop)) {
            return result;
        }
        const std::lock_guard lock(mMutex);
        for (unsigned index = 0; index < 8; ++index) {
            const Key child = key.child(index);
            if (mRecords.contains(child.nodeId())) {
                result.push_back(child);
            }
        }
        return result;
    }

    // The parts read so far, by the key whose subtree they describe.
    std::vector<Key> partsRead() const
    {
        const std::lock_guard lock(mMutex);
        return mPartsRead;
    }

private:
    static Key ancestorAt(const Key& key, std::uint32_t depth)
    {
        const std::uint32_t shift = key.depth - depth;
        return Key{depth, key.x >> shift, key.y >> shift, key.z >> shift};
    }

    std::vector<Entry> readSubtree(const Key& key, const Record& pointer) const
    {
        std::vector<Entry> entries = mRead(key, pointer);
        bool listsItself = false;
        for (const auto& [entryKey, record] : entries) {
            if (!key.contains(entryKey)) {
                throw std::runtime_error(mName(key, pointer) + ": lists " + entryKey.toString()
                                         + ", which is not inside the subtree of " + key.toString());
            }
            listsItself = listsItself || (entryKey == key && !record.describedElsewhere());
        }
        if (!listsItself) {
            throw std::runtime_error(mName(key, pointer) + ": does not give the point count of " + key.toString());
        }
        return entries;
    }

    ReadPart mRead;
    NamePart mName;
    mutable std::mutex mMutex;
    mutable std::unordered_map<Octree::OctreeNodeId, Record> mRecords;
    mutable std::vector<Key> mPartsRead;
};

} // namespace Entwine
