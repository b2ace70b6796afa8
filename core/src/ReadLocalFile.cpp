#include <lumaro/core/ReadLocalFile.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace Core {

namespace {

std::ifstream openForReading(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::error_code error;
        const bool exists = std::filesystem::exists(path, error);
        throw std::runtime_error("Cannot open file '" + path.string() + "'"
                                 + (exists ? ": permission denied or not a regular file" : ": no such file"));
    }
    return stream;
}

std::uint64_t fileSize(const std::filesystem::path& path)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error)
        throw std::runtime_error("Cannot determine the size of '" + path.string() + "': " + error.message());
    return size;
}

} // namespace

std::string readLocalFile(const std::filesystem::path& path)
{
    auto stream = openForReading(path);
    const auto size = fileSize(path);
    std::string content(static_cast<std::size_t>(size), '\0');
    if (size > 0 && !stream.read(content.data(), static_cast<std::streamsize>(size)))
        throw std::runtime_error("Cannot read all " + std::to_string(size) + " bytes of '" + path.string() + "'");
    return content;
}

std::string readLocalFileRange(const std::filesystem::path& path, std::uint64_t offset, std::uint64_t size)
{
    auto stream = openForReading(path);
    const auto total = fileSize(path);
    if (offset > total || size > total - offset)
        throw std::runtime_error("Range of " + std::to_string(size) + " bytes at offset " + std::to_string(offset)
                                 + " lies beyond the end of '" + path.string() + "' (" + std::to_string(total)
                                 + " bytes)");
    std::string content(static_cast<std::size_t>(size), '\0');
    stream.seekg(static_cast<std::streamoff>(offset));
    if (size > 0 && !stream.read(content.data(), static_cast<std::streamsize>(size)))
        throw std::runtime_error("Cannot read " + std::to_string(size) + " bytes at offset " + std::to_string(offset)
                                 + " of '" + path.string() + "'");
    return content;
}

} // namespace Core
