#include <lumaro/octree/entwine/Hierarchy.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/OperationCancelled.h>

#include <nlohmann/json.hpp>

#include "FileErrors.h"
#include "ParseJsonObject.h"

#include <stdexcept>

namespace Entwine {

namespace {

using Octree::OctreeNodeId;

Key ancestorAt(const Key& key, std::uint32_t depth)
{
    const std::uint32_t shift = key.depth - depth;
    return Key{depth, key.x >> shift, key.y >> shift, key.z >> shift};
}

std::filesystem::path fileOf(const std::filesystem::path& folder, const Key& key)
{
    return folder / (key.toString() + ".json");
}

} // namespace

std::vector<Hierarchy::Entry> Hierarchy::parseFile(std::string_view json, const std::filesystem::path& file)
{
    const Octree::FileErrors errors(file);
    const nlohmann::json root = Octree::parseJsonObject(json, file, "a JSON object of node keys and point counts");
    std::vector<Entry> entries;
    entries.reserve(root.size());
    for (const auto& [name, value] : root.items()) {
        Key key;
        try {
            key = Key::parse(name);
            key.nodeId();
        } catch (const std::invalid_argument& error) {
            errors.fail(error.what());
        }
        if (!value.is_number_integer() || value.get<std::int64_t>() < SUBTREE_ELSEWHERE) {
            errors.fail("the count of " + name + " is not an integer of at least -1");
        }
        entries.emplace_back(key, value.get<std::int64_t>());
    }
    return entries;
}

Hierarchy::Hierarchy(std::filesystem::path folder) : m_folder(std::move(folder))
{
    const std::lock_guard lock(m_mutex);
    const Key root;
    const std::filesystem::path file = fileOf(m_folder, root);
    for (const auto& [key, count] : parseFile(Core::readLocalFile(file), file)) {
        m_counts[key.nodeId()] = count;
    }
    const auto found = m_counts.find(root.nodeId());
    if (found == m_counts.end() || found->second == SUBTREE_ELSEWHERE) {
        throw std::runtime_error(file.string() + ": does not give the point count of the root 0-0-0-0");
    }
    m_filesRead.push_back(root);
}

std::vector<Hierarchy::Entry> Hierarchy::readSubtreeFile(const Key& key) const
{
    const std::filesystem::path file = fileOf(m_folder, key);
    std::vector<Entry> entries = parseFile(Core::readLocalFile(file), file);
    bool listsItself = false;
    for (const auto& [entryKey, count] : entries) {
        if (!key.contains(entryKey)) {
            throw std::runtime_error(file.string() + ": lists " + entryKey.toString() + ", which is not inside the subtree of "
                                     + key.toString());
        }
        listsItself = listsItself || (entryKey == key && count != SUBTREE_ELSEWHERE);
    }
    if (!listsItself) {
        throw std::runtime_error(file.string() + ": does not give the point count of " + key.toString());
    }
    return entries;
}

std::optional<std::uint64_t> Hierarchy::pointCount(const Key& key, std::stop_token stop) const
{
    if (key.depth > OctreeNodeId::MAX_REPRESENTABLE_LEVEL) {
        return std::nullopt;
    }
    while (true) {
        Key unread;
        {
            const std::lock_guard lock(m_mutex);
            // A listed node is only part of the tree when every node above it is.
            bool complete = true;
            for (std::uint32_t depth = 0; depth <= key.depth && complete; ++depth) {
                const Key step = ancestorAt(key, depth);
                const auto found = m_counts.find(step.nodeId());
                if (found == m_counts.end()) {
                    return std::nullopt;
                }
                if (found->second == SUBTREE_ELSEWHERE) {
                    unread = step;
                    complete = false;
                } else if (depth == key.depth) {
                    return static_cast<std::uint64_t>(found->second);
                }
            }
        }
        // The file is read without the lock; when another thread read it meanwhile, the first
        // one's entries stay.
        if (stop.stop_requested()) {
            throw Octree::OperationCancelled();
        }
        const std::vector<Entry> entries = readSubtreeFile(unread);
        const std::lock_guard lock(m_mutex);
        if (m_counts[unread.nodeId()] == SUBTREE_ELSEWHERE) {
            for (const auto& [entryKey, count] : entries) {
                m_counts[entryKey.nodeId()] = count;
            }
            m_filesRead.push_back(unread);
        }
    }
}

std::vector<Key> Hierarchy::children(const Key& key, std::stop_token stop) const
{
    std::vector<Key> result;
    if (key.depth >= OctreeNodeId::MAX_REPRESENTABLE_LEVEL || !pointCount(key, stop)) {
        return result;
    }
    const std::lock_guard lock(m_mutex);
    for (unsigned index = 0; index < 8; ++index) {
        const Key child = key.child(index);
        if (m_counts.contains(child.nodeId())) {
            result.push_back(child);
        }
    }
    return result;
}

std::vector<Key> Hierarchy::filesRead() const
{
    const std::lock_guard lock(m_mutex);
    return m_filesRead;
}

} // namespace Entwine
