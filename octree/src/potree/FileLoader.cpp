#include <lumaro/octree/potree/FileLoader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/OperationCancelled.h>

namespace PoTree {

FileLoader::FileLoader(const Octree::Location& location)
    : m_metadataPath(location.file("metadata.json")),
      m_hierarchyPath(location.file("hierarchy.bin")),
      m_octreePath(location.file("octree.bin"))
{
}

bool FileLoader::fetchHierarchyChunk(std::uint64_t offset, std::uint64_t size, std::string& bytes,
                                     std::stop_token stop) const
{
    bytes.clear();
    if (stop.stop_requested()) {
        return false;
    }
    bytes = Core::readLocalFileRange(m_hierarchyPath, offset, size);
    return true;
}

std::future<std::string> FileLoader::fetchOctreeChunk(std::uint64_t offset, std::uint64_t size,
                                                      std::stop_token stop) const
{
    // The read is one small contiguous range; doing it on the caller's thread costs less than
    // handing it to another, and the caller waits for it at once anyway.
    std::promise<std::string> promise;
    try {
        if (stop.stop_requested()) {
            throw Octree::OperationCancelled();
        }
        promise.set_value(Core::readLocalFileRange(m_octreePath, offset, size));
    } catch (...) {
        promise.set_exception(std::current_exception());
    }
    return promise.get_future();
}

} // namespace PoTree
