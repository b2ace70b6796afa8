#include "NodeFiles.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace Index {

NodeFiles::NodeFiles(std::filesystem::path folder, std::string prefix, std::size_t recordLength)
    : mFolder(std::move(folder)), mPrefix(std::move(prefix)), mRecordLength(recordLength)
{}

std::filesystem::path NodeFiles::pathOf(Octree::OctreeNodeId node) const
{
    return mFolder / (mPrefix + "-" + std::to_string(node.value()));
}

std::shared_ptr<NodeFiles::File> NodeFiles::fileOf(Octree::OctreeNodeId node)
{
    std::lock_guard lock(mMutex);
    std::shared_ptr<File>& file = mFiles[node];
    if (!file) {
        file = std::make_shared<File>();
    }
    return file;
}

void NodeFiles::append(Octree::OctreeNodeId node, std::string_view records)
{
    if (records.empty()) {
        return;
    }
    const std::shared_ptr<File> file = fileOf(node);
    std::lock_guard lock(file->mutex);
    std::ofstream out(pathOf(node), std::ios::binary | std::ios::app);
    out.write(records.data(), static_cast<std::streamsize>(records.size()));
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write the temporary file " + pathOf(node).string() + " (is the disk full?)");
    }
    file->records += records.size() / mRecordLength;
}

std::map<Octree::OctreeNodeId, std::uint64_t> NodeFiles::counts() const
{
    std::lock_guard lock(mMutex);
    std::map<Octree::OctreeNodeId, std::uint64_t> result;
    for (const auto& [node, file] : mFiles) {
        std::lock_guard fileLock(file->mutex);
        if (file->records > 0) {
            result[node] = file->records;
        }
    }
    return result;
}

std::uint64_t NodeFiles::count(Octree::OctreeNodeId node) const
{
    std::lock_guard lock(mMutex);
    const auto found = mFiles.find(node);
    return found == mFiles.end() ? 0 : found->second->records;
}

void NodeFiles::read(Octree::OctreeNodeId node, std::uint64_t first, std::uint64_t count, char* out) const
{
    std::ifstream in(pathOf(node), std::ios::binary);
    in.seekg(static_cast<std::streamoff>(first * mRecordLength));
    in.read(out, static_cast<std::streamsize>(count * mRecordLength));
    if (!in) {
        throw std::runtime_error("cannot read back the temporary file " + pathOf(node).string());
    }
}

void NodeFiles::remove(Octree::OctreeNodeId node)
{
    std::shared_ptr<File> file;
    {
        std::lock_guard lock(mMutex);
        const auto found = mFiles.find(node);
        if (found == mFiles.end()) {
            return;
        }
        file = found->second;
        mFiles.erase(found);
    }
    std::lock_guard lock(file->mutex);
    std::error_code ignored;
    std::filesystem::remove(pathOf(node), ignored);
}

} // namespace Index
