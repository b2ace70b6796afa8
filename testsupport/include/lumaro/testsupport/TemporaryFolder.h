#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace TestSupport {

// A folder of one test's files, unique to the process and the instance (tests of one program
// run in parallel processes), removed with everything in it when the object goes.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }

    // Writes `bytes` to `name` inside the folder (sub-folders are created) and returns its path.
    std::filesystem::path write(const std::string& name, std::string_view bytes) const;

private:
    std::filesystem::path mPath;
};

} // namespace TestSupport
