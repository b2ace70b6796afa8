#pragma once

#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/entwine/SubtreeIndex.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <stop_token>
#include <string_view>
#include <utility>
#include <vector>

namespace Entwine {

// The point counts of an EPT store's nodes, read from ept-hierarchy/ as the tree is walked. A
// file maps keys to counts; the count -1 hands a key's whole subtree to the file named after that
// key, which is read only when that part of the tree is first visited. A node that no file lists
// does not exist, and neither do its descendants. All members may be called from several threads.
class Hierarchy {
public:
    // One member of a hierarchy file: a key and its count (-1: see the key's own file).
    using Entry = std::pair<Key, std::int64_t>;
    static constexpr std::int64_t SUBTREE_ELSEWHERE = -1;

    // Parses one hierarchy file. Throws std::runtime_error naming `file` when the text is not a
    // JSON object, a name is not a key, or a count is not an integer of at least -1.
    static std::vector<Entry> parseFile(std::string_view json, const std::filesystem::path& file);

    // The files below `folder` of the store that `reader` reads ("ept-hierarchy"); reads the root
    // file 0-0-0-0.json, which must list the root. Throws std::runtime_error naming the file
    // otherwise.
    Hierarchy(std::shared_ptr<const Octree::StoreReader> reader, std::string folder);
    // The same for an ept-hierarchy folder on disk.
    explicit Hierarchy(const std::filesystem::path& folder);

    // The node's point count; std::nullopt when the tree has no such node. Reads the files on
    // the way to it that were not read yet, without holding the lock: a missing or malformed file
    // throws std::runtime_error naming it, and a stop requested before a needed file was read
    // throws Octree::OperationCancelled.
    std::optional<std::uint64_t> pointCount(const Key& key, std::stop_token stop = {}) const;

    // The existing children in ascending child index (see Key::child); empty for a node that does
    // not exist. Reads files as pointCount does.
    std::vector<Key> children(const Key& key, std::stop_token stop = {}) const;

    // The hierarchy files read so far, by the key that names them.
    std::vector<Key> filesRead() const;

    // A count as the index keeps it.
    struct Count {
        std::int64_t value = 0;
        bool describedElsewhere() const { return value == SUBTREE_ELSEWHERE; }
    };

private:
    std::string fileOf(const Key& key) const;
    std::vector<SubtreeIndex<Count>::Entry> readFile(const Key& key) const;

    std::shared_ptr<const Octree::StoreReader> mReader;
    std::string mFolder;
    SubtreeIndex<Count> mIndex;
};

} // namespace Entwine
