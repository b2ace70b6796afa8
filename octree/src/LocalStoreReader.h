#pragma once

#include <lumaro/octree/StoreReader.h>

#include <filesystem>

namespace Octree {

// A store on disk: resources are files below the store's folder, or the store's one file.
class LocalStoreReader final : public StoreReader {
public:
    explicit LocalStoreReader(std::filesystem::path root) : mRoot(std::move(root)) {}

    std::string read(std::string_view name, std::stop_token stop) const override;
    std::string readRange(std::string_view name, std::uint64_t offset, std::uint64_t size,
                          std::stop_token stop) const override;
    std::uint64_t size(std::string_view name, std::stop_token stop) const override;
    bool exists(std::string_view name) const override;
    std::string describe(std::string_view name) const override { return path(name).string(); }

private:
    std::filesystem::path path(std::string_view name) const;

    std::filesystem::path mRoot;
};

} // namespace Octree
