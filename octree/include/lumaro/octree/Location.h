#pragma once

#include <compare>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace Octree {

// Where an octree store lives: the folder that holds its metadata file (metadata.json of a
// Potree 2.0 store, ept.json of an Entwine store). Locations are values: they are copied,
// compared and hashed, because caches and colour palettes are keyed by them. Only a concrete kind
// of location (PoTree::FileSystemLocation) can create one.
class Location {
public:
    Location(const Location&) = default;
    Location(Location&&) noexcept = default;
    Location& operator=(const Location&) = default;
    Location& operator=(Location&&) noexcept = default;
    ~Location() = default;

    // The store's folder, absolute and normalised.
    const std::filesystem::path& path() const { return m_folder; }

    // The path of a file of the store, e.g. file("hierarchy.bin").
    std::filesystem::path file(std::string_view relativePath) const;

    // True when the folder holds the metadata of a store of a known kind.
    bool exists() const;

    // The folder as UTF-8 text, for messages.
    std::string toString() const;

    friend bool operator==(const Location& a, const Location& b) { return a.m_folder == b.m_folder; }
    friend std::strong_ordering operator<=>(const Location& a, const Location& b)
    {
        return a.m_folder.compare(b.m_folder) <=> 0;
    }

protected:
    // `path` is the store's folder or its metadata file (metadata.json or ept.json).
    explicit Location(const std::filesystem::path& path);

private:
    std::filesystem::path m_folder;
};

} // namespace Octree

template <>
struct std::hash<Octree::Location> {
    std::size_t operator()(const Octree::Location& location) const noexcept
    {
        return std::filesystem::hash_value(location.path());
    }
};
