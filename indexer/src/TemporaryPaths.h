#pragma once

#include <filesystem>

namespace Index {

// A folder of temporary files, made with a name of its own inside `parent` and removed with
// everything in it when the object goes, whether the work succeeded, failed or was stopped.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::filesystem::path& parent);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }

private:
    std::filesystem::path mPath;
};

// The file the output is written to until it is complete: beside the output, with a name of its
// own; removed when the object goes unless commit() renamed it to the output's name.
class PartialFile {
public:
    explicit PartialFile(const std::filesystem::path& target);
    ~PartialFile();
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const std::filesystem::path& path() const { return mPath; }
    // Throws std::runtime_error naming both files when the rename fails.
    void commit();

private:
    std::filesystem::path mTarget;
    std::filesystem::path mPath;
    bool mCommitted = false;
};

} // namespace Index
