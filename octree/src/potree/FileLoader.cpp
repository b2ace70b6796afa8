#include <lumaro/octree/potree/FileLoader.h>

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/potree/Node.h>

#include <stdexcept>

namespace PoTree {

FileLoader::FileLoader(const Octree::Location& location) : FileLoader(Octree::StoreReader::open(location)) {}

FileLoader::FileLoader(std::shared_ptr<Octree::StoreReader> reader)
    : mReader(std::move(reader)),
      mMetadataPath(mReader->describe("metadata.json")),
      mHierarchyPath(mReader->describe("hierarchy.bin")),
      mOctreePath(mReader->describe("octree.bin"))
{}

Metadata FileLoader::loadMetadata() const
{
    return Metadata::parse(mReader->read("metadata.json"), mMetadataPath);
}

bool FileLoader::fetchHierarchyChunk(std::uint64_t offset, std::uint64_t size, std::string& bytes,
                                     std::stop_token stop) const
{
    bytes.clear();
    if (stop.stop_requested()) {
        return false;
    }
    try {
        bytes = mReader->readRange("hierarchy.bin", offset, size, stop);
    } catch (const Octree::OperationCancelled&) {
        bytes.clear();
        return false;
    }
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
        promise.set_value(mReader->readRange("octree.bin", offset, size, stop));
    } catch (...) {
        promise.set_exception(std::current_exception());
    }
    return promise.get_future();
}

std::string FileLoader::readNodeChunk(const Node& node, std::stop_token stop) const
{
    try {
        return fetchOctreeChunk(node.byteOffset, node.byteSize, stop).get();
    } catch (const Octree::OperationCancelled&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(mOctreePath.string() + ": points of node " + node.id.name() + " at offset "
                                 + std::to_string(node.byteOffset) + ": " + error.what());
    }
}

} // namespace PoTree
