#pragma once

#include <compare>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

/// Octree point-cloud stores (Potree 2.0, Entwine EPT, COPC) and where they live.
namespace Octree {

/// Where an octree store lives: the folder that holds its metadata file (metadata.json of a
/// Potree 2.0 store, ept.json of an Entwine store), or the file that is the whole store (a COPC
/// .copc.laz file), or the URL of either on a web server. Locations are values: they are copied,
/// compared and hashed, because caches and colour palettes are keyed by them. Only a concrete kind
/// of location (PoTree::FileSystemLocation, WebLocation) can create one; locationOf makes the
/// right kind from a user's text. Any thread may use them.
class Location {
public:
    /// Locations are values: copied and moved freely.
    ///@{
    Location(const Location&) = default;
    Location(Location&&) noexcept = default;
    Location& operator=(const Location&) = default;
    Location& operator=(Location&&) noexcept = default;
    ///@}
    ~Location() = default;

    /// The store's folder (or its one file), absolute and normalised; empty for a URL.
    const std::filesystem::path& path() const { return mFolder; }

    /// Whether the store is on a web server or in an S3 bucket (see url).
    bool isUrl() const { return !mUrl.empty(); }
    /// The store's URL (http://, https:// or s3://BUCKET/PATH), normalised: scheme and host in lower
    /// case, no default port, no metadata file name, no trailing slash; user information and a
    /// query (a pre-signed URL's signature) are kept, since requests need them. Empty for a local
    /// store. It may hold credentials: messages show toString() instead.
    const std::string& url() const { return mUrl; }

    /// The path of a file in the store's folder, for example file("hierarchy.bin").
    std::filesystem::path file(std::string_view relativePath) const;

    /// True when the folder holds the metadata of a store of a known kind, or the path is a file.
    /// Always true for a URL: only opening the store asks the server.
    bool exists() const;

    /// The path as UTF-8 text, or the URL without its credentials (see redactedUrl), for messages.
    std::string toString() const;

    /// Two locations are equal when they name the same folder, file or URL.
    friend bool operator==(const Location& a, const Location& b) { return a.mUrl == b.mUrl && a.mFolder == b.mFolder; }
    /// An order for sorted containers: by URL, then by path.
    friend std::strong_ordering operator<=>(const Location& a, const Location& b)
    {
        if (const auto byUrl = a.mUrl <=> b.mUrl; byUrl != 0) {
            return byUrl;
        }
        return a.mFolder.compare(b.mFolder) <=> 0;
    }

protected:
    /// `path` is the store's folder, its metadata file (metadata.json or ept.json) or its one file.
    explicit Location(const std::filesystem::path& path);
    /// Selects the constructor from a URL.
    struct FromUrl {};
    /// `url` is an http://, https:// or s3:// URL of the same; throws std::invalid_argument otherwise.
    Location(FromUrl, std::string_view url);

private:
    std::filesystem::path mFolder;
    std::string mUrl;
};

/// A store on a web server or in an S3 bucket (s3://BUCKET/PATH), by the URL of its folder,
/// metadata file or COPC file.
class WebLocation : public Location {
public:
    /// Throws std::invalid_argument for a URL that is not http://, https:// or s3://, or names no
    /// host or bucket.
    explicit WebLocation(std::string_view url) : Location(FromUrl{}, url) {}
};

/// True for text that starts with http://, https:// or s3:// (in any case).
bool isUrl(std::string_view text);

/// The location that a user's text names: a URL, or a path on disk. Throws std::invalid_argument
/// for a URL without a host.
Location locationOf(std::string_view text);

} // namespace Octree

template <>
struct std::hash<Octree::Location> {
    std::size_t operator()(const Octree::Location& location) const noexcept
    {
        return std::filesystem::hash_value(location.path()) ^ (std::hash<std::string>()(location.url()) << 1);
    }
};
