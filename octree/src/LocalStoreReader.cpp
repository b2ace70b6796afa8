#include "LocalStoreReader.h"

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/ReadStatistics.h>

#include <stdexcept>
#include <system_error>

namespace Octree {

namespace {

void throwIfStopped(std::stop_token stop)
{
    if (stop.stop_requested()) {
        throw OperationCancelled();
    }
}

} // namespace

std::filesystem::path LocalStoreReader::path(std::string_view name) const
{
    // Names use '/', which becomes the system's separator, so that messages show one kind of path.
    return name.empty() ? mRoot : mRoot / std::filesystem::path(name).make_preferred();
}

std::string LocalStoreReader::read(std::string_view name, std::stop_token stop) const
{
    throwIfStopped(stop);
    std::string bytes = Core::readLocalFile(path(name));
    countStoreRead(bytes.size());
    return bytes;
}

std::string LocalStoreReader::readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                                        std::stop_token stop) const
{
    throwIfStopped(stop);
    std::string bytes = Core::readLocalFileRange(path(name), offset, size);
    countStoreRead(bytes.size());
    return bytes;
}

std::uint64_t LocalStoreReader::size(std::string_view name, std::stop_token stop) const
{
    throwIfStopped(stop);
    std::error_code error;
    const std::uint64_t bytes = std::filesystem::file_size(path(name), error);
    if (error) {
        throw std::runtime_error("Cannot determine the size of '" + path(name).string() + "': " + error.message());
    }
    return bytes;
}

bool LocalStoreReader::exists(std::string_view name) const
{
    std::error_code error;
    return std::filesystem::is_regular_file(path(name), error);
}

} // namespace Octree
