#include <lumaro/octree/Location.h>

#include <system_error>

namespace Octree {

namespace {

bool isMetadataFileName(const std::filesystem::path& path)
{
    const auto name = path.filename();
    return name == "metadata.json" || name == "ept.json";
}

std::filesystem::path storeFolder(const std::filesystem::path& path)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (error) {
        absolute = path;
    }
    absolute = absolute.lexically_normal();
    if (isMetadataFileName(absolute)) {
        absolute = absolute.parent_path();
    }
    // "a/b/" and "a/b" name the same folder and must compare equal.
    if (!absolute.has_filename() && absolute.has_relative_path()) {
        absolute = absolute.parent_path();
    }
    return absolute;
}

} // namespace

Location::Location(const std::filesystem::path& path) : m_folder(storeFolder(path)) {}

std::filesystem::path Location::file(std::string_view relativePath) const
{
    return m_folder / std::filesystem::path(relativePath);
}

bool Location::exists() const
{
    std::error_code error;
    return std::filesystem::is_regular_file(m_folder, error) || std::filesystem::is_regular_file(file("metadata.json"), error)
        || std::filesystem::is_regular_file(file("ept.json"), error);
}

std::string Location::toString() const
{
    const auto text = m_folder.generic_u8string();
    return std::string(text.begin(), text.end());
}

} // namespace Octree
