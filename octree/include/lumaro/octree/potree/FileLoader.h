#pragma once

#include <lumaro/octree/Location.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/Metadata.h>

#include <cstdint>
#include <filesystem>
#include <future>
#include <memory>
#include <stop_token>
#include <string>

namespace PoTree {

class Node;

// Reads the raw bytes of a Potree 2.0 store, on disk or on a web server. The paths name the
// store's files for messages (a URL's as given).
class FileLoader {
public:
    explicit FileLoader(const Octree::Location& location);
    explicit FileLoader(std::shared_ptr<Octree::StoreReader> reader);

    // metadata.json, parsed. Throws std::runtime_error naming it when it is missing or malformed.
    Metadata loadMetadata() const;

    const std::filesystem::path& metadataPath() const { return mMetadataPath; }
    const std::filesystem::path& hierarchyPath() const { return mHierarchyPath; }
    const std::filesystem::path& octreePath() const { return mOctreePath; }

    // Reads `size` bytes at `offset` of hierarchy.bin into `bytes`. Returns false, leaving
    // `bytes` empty, when `stop` is signalled; throws std::runtime_error naming the file when the
    // range lies past its end or it cannot be read.
    bool fetchHierarchyChunk(std::uint64_t offset, std::uint64_t size, std::string& bytes, std::stop_token stop) const;

    // The raw point chunk of a node from octree.bin. The future holds Octree::OperationCancelled
    // when `stop` is signalled, and std::runtime_error naming the file for a range past its end.
    std::future<std::string> fetchOctreeChunk(std::uint64_t offset, std::uint64_t size, std::stop_token stop) const;

    // The chunk of octree.bin that the node's record points at. Throws Octree::OperationCancelled
    // when `stop` is signalled, and std::runtime_error naming the file and the node when it cannot
    // be read (a record pointing past the end of a damaged file).
    std::string readNodeChunk(const Node& node, std::stop_token stop) const;

private:
    std::shared_ptr<Octree::StoreReader> mReader;
    std::filesystem::path mMetadataPath;
    std::filesystem::path mHierarchyPath;
    std::filesystem::path mOctreePath;
};

} // namespace PoTree
