#include <lumaro/testsupport/TemporaryFolder.h>

#include <atomic>
#include <fstream>
#include <random>
#include <stdexcept>

namespace TestSupport {

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    const auto base = std::filesystem::temp_directory_path();
    // A random part tells processes apart, the counter the folders of one process.
    for (int attempt = 0; attempt < 16; ++attempt) {
        const auto candidate = base / ("lumaro-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
        if (std::filesystem::create_directories(candidate)) {
            mPath = candidate;
            return;
        }
    }
    throw std::runtime_error("cannot create a fresh test folder in " + base.string());
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::filesystem::path TemporaryFolder::write(const std::string& name, std::string_view bytes) const
{
    const auto path = mPath / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream)
        throw std::runtime_error("cannot write test file " + path.string());
    return path;
}

} // namespace TestSupport
