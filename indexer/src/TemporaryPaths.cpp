#include "TemporaryPaths.h"

#include <atomic>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Index {

namespace {

std::string uniqueSuffix()
{
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    char text[32];
    std::snprintf(text, sizeof text, "%08x%04x", random(), counter++ & 0xFFFFu);
    return text;
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent)
{
    std::error_code error;
    if (!std::filesystem::is_directory(parent, error)) {
        throw std::runtime_error("the temporary folder " + parent.string() + " does not exist");
    }
    for (int attempt = 0; attempt < 16; ++attempt) {
        const std::filesystem::path candidate = parent / ("lumaro-index-" + uniqueSuffix());
        if (std::filesystem::create_directory(candidate, error)) {
            mPath = candidate;
            return;
        }
    }
    throw std::runtime_error("cannot make a temporary folder in " + parent.string()
                             + (error ? ": " + error.message() : std::string()));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

PartialFile::PartialFile(const std::filesystem::path& target)
    : mTarget(target), mPath(target.string() + ".part-" + uniqueSuffix())
{}

PartialFile::~PartialFile()
{
    if (!mCommitted) {
        std::error_code ignored;
        std::filesystem::remove(mPath, ignored);
    }
}

void PartialFile::commit()
{
    std::error_code error;
    std::filesystem::rename(mPath, mTarget, error);
    if (error && std::filesystem::exists(mTarget)) {
        // Windows' rename may refuse to replace a file: the old output goes only now, when the
        // new one is complete.
        std::filesystem::remove(mTarget, error);
        if (!error) {
            std::filesystem::rename(mPath, mTarget, error);
        }
    }
    if (error) {
        throw std::runtime_error("cannot rename " + mPath.string() + " to " + mTarget.string() + ": "
                                 + error.message());
    }
    mCommitted = true;
}

} // namespace Index
