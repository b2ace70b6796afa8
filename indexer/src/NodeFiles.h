#pragma once

#include <lumaro/octree/OctreeNodeId.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Index {

// Point records of octree nodes in temporary files, one file per node, appended to by any number
// of threads at once.
class NodeFiles {
public:
    NodeFiles(std::filesystem::path folder, std::string prefix, std::size_t recordLength);

    void append(Octree::OctreeNodeId node, std::string_view records);
    // Every node with records, and how many it has.
    std::map<Octree::OctreeNodeId, std::uint64_t> counts() const;
    std::uint64_t count(Octree::OctreeNodeId node) const;
    // Reads `count` records from record `first` on into `out`.
    void read(Octree::OctreeNodeId node, std::uint64_t first, std::uint64_t count, char* out) const;
    void remove(Octree::OctreeNodeId node);

private:
    struct File {
        std::mutex mutex;
        std::uint64_t records = 0;
    };
    std::filesystem::path pathOf(Octree::OctreeNodeId node) const;
    std::shared_ptr<File> fileOf(Octree::OctreeNodeId node);

    std::filesystem::path mFolder;
    std::string mPrefix;
    std::size_t mRecordLength;
    mutable std::mutex mMutex;
    std::map<Octree::OctreeNodeId, std::shared_ptr<File>> mFiles;
};

} // namespace Index
