#include <lumaro/octree/Location.h>
#include <lumaro/octree/Redaction.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
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

std::string lowerCase(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// Two URLs of one store must compare equal: the scheme and host are case-blind, a default port
// is no port, and a metadata file or trailing slash names the folder. User information and a
// query (a pre-signed URL's signature) are kept: requests need them.
std::string normalisedUrl(std::string_view url)
{
    const std::size_t schemeEnd = url.find("://");
    const std::string scheme = lowerCase(url.substr(0, schemeEnd == std::string_view::npos ? 0 : schemeEnd));
    if (scheme != "http" && scheme != "https" && scheme != "s3") {
        throw std::invalid_argument("not an http://, https:// or s3:// URL: " + redactedUrl(url));
    }
    std::string_view rest = url.substr(schemeEnd + 3);
    const std::size_t authorityEnd = std::min(rest.find_first_of("/?#"), rest.size());
    std::string_view authority = rest.substr(0, authorityEnd);
    const std::size_t at = authority.rfind('@');
    const std::string userInformation(at == std::string_view::npos ? std::string_view() : authority.substr(0, at + 1));
    std::string host = lowerCase(at == std::string_view::npos ? authority : authority.substr(at + 1));
    if (host.empty()) {
        throw std::invalid_argument(scheme == "s3" ? "the URL names no bucket: " + redactedUrl(url)
                                                   : "the URL names no host: " + redactedUrl(url));
    }
    const std::string defaultPort = scheme == "http" ? ":80" : ":443";
    if (scheme != "s3" && host.size() > defaultPort.size() && host.ends_with(defaultPort)) {
        host.resize(host.size() - defaultPort.size());
    }
    std::string_view pathAndQuery = rest.substr(authorityEnd);
    pathAndQuery = pathAndQuery.substr(0, std::min(pathAndQuery.find('#'), pathAndQuery.size()));
    const std::size_t question = std::min(pathAndQuery.find('?'), pathAndQuery.size());
    std::string path(pathAndQuery.substr(0, question));
    const std::string query(pathAndQuery.substr(question));
    for (const char* metadata : {"/metadata.json", "/ept.json"}) {
        if (path.ends_with(metadata)) {
            path.resize(path.size() - std::string_view(metadata).size());
        }
    }
    while (!path.empty() && path.back() == '/') {
        path.pop_back();
    }
    return scheme + "://" + userInformation + host + path + query;
}

} // namespace

Location::Location(const std::filesystem::path& path) : mFolder(storeFolder(path)) {}

Location::Location(FromUrl, std::string_view url) : mUrl(normalisedUrl(url)) {}

bool isUrl(std::string_view text)
{
    const std::string start = lowerCase(text.substr(0, 8));
    return start.starts_with("http://") || start.starts_with("https://") || start.starts_with("s3://");
}

Location locationOf(std::string_view text)
{
    if (isUrl(text)) {
        return WebLocation(text);
    }
    return PoTree::FileSystemLocation(std::filesystem::path(text));
}

std::filesystem::path Location::file(std::string_view relativePath) const
{
    return mFolder / std::filesystem::path(relativePath);
}

bool Location::exists() const
{
    if (isUrl()) {
        return true; // known only by asking the server, which opening the store does
    }
    std::error_code error;
    return std::filesystem::is_regular_file(mFolder, error)
        || std::filesystem::is_regular_file(file("metadata.json"), error)
        || std::filesystem::is_regular_file(file("ept.json"), error);
}

std::string Location::toString() const
{
    if (isUrl()) {
        return redactedUrl(mUrl);
    }
    const auto text = mFolder.generic_u8string();
    return std::string(text.begin(), text.end());
}

} // namespace Octree
