#pragma once

#include <lumaro/octree/Location.h>

#include <filesystem>

namespace PoTree {

// A store in the local file system: a folder, or one file. Adds no state to Octree::Location, so converting
// it to one loses nothing.
class FileSystemLocation : public Octree::Location {
public:
    // `path` is the store's folder, its metadata file, or the file that is the whole store.
    explicit FileSystemLocation(const std::filesystem::path& path) : Octree::Location(path) {}
};

} // namespace PoTree
