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
            m_path = candidate;
            return;
        }
    }
    throw std::runtime_error("cannot make a temporary folder in " + parent.string()
                             + (error ? ": " + error.message() : std::string()));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

PartialFile::PartialFile(const std::filesystem::path& target)
    : m_target(target), m_path(target.string() + ".part-" + uniqueSuffix())
{
}

PartialFile::~PartialFile()
{
    if (!m_committed) {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
}

void PartialFile::commit()
{
    std::error_code error;
    std::filesystem::rename(m_path, m_target, error);
    if (error && std::filesystem::exists(m_target)) {
        // Windows' rename may refuse to replace a file: the old output goes only now, when the
        // new one is complete.
        std::filesystem::remove(m_target, error);
        if (!error) {
            std::filesystem::rename(m_path, m_target, error);
        }
    }
    if (error) {
        throw std::runtime_error("cannot rename " + m_path.string() + " to " + m_target.string() + ": " + error.message());
    }
    m_committed = true;
}

} // namespace Index
