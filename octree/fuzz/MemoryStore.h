// What the store fuzzers share: a store whose files come from the fuzzer's input and are read
// through the same StoreReader interface as stores on disk and on web servers, and a walk over a
// tree that asks for everything a renderer or `lumaro points` asks for.
#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Fuzz {

// The files of a store in one input: each starts with a line "@@file:NAME" and runs to the next
// such line or the end (bytes before the first are ignored), so that mutations stay inside a file
// unless they hit a marker.
inline std::map<std::string, std::string, std::less<>> splitFiles(std::string_view input)
{
    static constexpr std::string_view marker = "@@file:";
    std::map<std::string, std::string, std::less<>> files;
    std::size_t at = input.find(marker);
    while (at != std::string_view::npos) {
        const std::size_t nameStart = at + marker.size();
        const std::size_t nameEnd = input.find('\n', nameStart);
        if (nameEnd == std::string_view::npos) {
            break;
        }
        const std::size_t next = input.find(marker, nameEnd + 1);
        const std::size_t end = next == std::string_view::npos ? input.size() : next;
        files[std::string(input.substr(nameStart, nameEnd - nameStart))] = input.substr(nameEnd + 1, end - nameEnd - 1);
        at = next;
    }
    return files;
}

// A store in memory; a missing file and a range past the end fail as they do on disk.
class MemoryStoreReader final : public Octree::StoreReader {
public:
    explicit MemoryStoreReader(std::map<std::string, std::string, std::less<>> files) : mFiles(std::move(files)) {}

    std::string read(std::string_view name, std::stop_token) const override { return file(name); }

    std::string readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                          std::stop_token) const override
    {
        const std::string& bytes = file(name);
        if (offset > bytes.size() || size > bytes.size() - offset) {
            throw std::runtime_error(describe(name) + ": range of " + std::to_string(size) + " bytes at "
                                     + std::to_string(offset) + " lies beyond the end");
        }
        return bytes.substr(offset, size);
    }

    std::uint64_t size(std::string_view name, std::stop_token) const override { return file(name).size(); }
    bool exists(std::string_view name) const override { return mFiles.contains(name); }
    std::string describe(std::string_view name) const override { return "memory/" + std::string(name); }

private:
    const std::string& file(std::string_view name) const
    {
        const auto found = mFiles.find(name);
        if (found == mFiles.end()) {
            throw std::runtime_error(describe(name) + ": no such file");
        }
        return found->second;
    }

    std::map<std::string, std::string, std::less<>> mFiles;
};

// Walks the tree breadth-first as far as `maxNodes` nodes: each node's count and model points, and
// what `decode` reads of it (the stored points, as `lumaro points` writes them). A node that fails
// with std::runtime_error costs only itself: the walk goes on to its children, as the renderer's
// does. Everything else escapes, and the fuzzer reports it.
inline void walk(const Octree::Octree& tree, const std::function<void(Octree::OctreeNodeId)>& decode,
                 std::size_t maxNodes = 512)
{
    tree.boundingBox();
    tree.spacing(3);
    std::deque<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    for (std::size_t visited = 0; !pending.empty() && visited < maxNodes; ++visited) {
        const Octree::OctreeNodeId node = pending.front();
        pending.pop_front();
        try {
            tree.pointCount(node);
            tree.nodeVisibility(node);
            tree.boundingCube(node);
            if (const auto data = tree.nodePointData(node, {}); data && data->size() > 0) {
                data->position(data->size() - 1);
            }
            decode(node);
        } catch (const std::runtime_error&) {
        }
        try {
            for (const Octree::OctreeNodeId child : tree.children(node)) {
                pending.push_back(child);
            }
        } catch (const std::runtime_error&) {
        }
    }
    try {
        tree.fullIntensity({});
    } catch (const std::runtime_error&) {
    }
}

// Opens a store of kind `Tree` at `path` whose files are `files`, and walks it with `decode`
// (called with the tree and a node). A store that fails to open with std::runtime_error is not a
// finding.
template <typename Tree, typename Decode>
void openAndWalk(const std::string& path, std::map<std::string, std::string, std::less<>> files, Decode decode)
{
    const auto reader = std::make_shared<MemoryStoreReader>(std::move(files));
    std::unique_ptr<Tree> tree;
    try {
        tree = std::make_unique<Tree>(PoTree::FileSystemLocation(path), 1.0, reader);
    } catch (const std::runtime_error&) {
        return;
    }
    walk(*tree, [&](Octree::OctreeNodeId node) { decode(*tree, node); });
}

// Decodes a node's stored points as `lumaro points` does: every decoded point has a position.
template <typename Tree>
void decodeStoredPoints(const Tree& tree, Octree::OctreeNodeId node)
{
    const auto decoded = tree.decodedPoints(node, {});
    if (decoded && decoded->points.positions.size() != decoded->points.count) {
        __builtin_trap();
    }
}

} // namespace Fuzz
