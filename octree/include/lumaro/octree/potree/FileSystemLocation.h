#pragma once

#include <lumaro/octree/Location.h>

#include <filesystem>

namespace PoTree {

// A store in a folder of the local file system. Adds no state to Octree::Location, so converting
// it to one loses nothing.
class FileSystemLocation : public Octree::Location {
public:
    // `path` is the store's folder or its metadata file.
    explicit FileSystemLocation(const std::filesystem::path& path) : Octree::Location(path) {}
};

} // namespace PoTree
