#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace Octree {

// Raises the errors found in one file, each message led by the file's name so that a user knows
// which file of a store to fix. Holds a reference: the path must outlive it.
class FileErrors {
public:
    explicit FileErrors(const std::filesystem::path& file) : mFile(file) {}

    [[noreturn]] void fail(const std::string& problem) const
    {
        throw std::runtime_error(mFile.string() + ": " + problem);
    }

private:
    const std::filesystem::path& mFile;
};

} // namespace Octree
