#pragma once

#include <lumaro/octree/entwine/Key.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Copc {

// One 32-byte entry of a COPC hierarchy page. With a positive point count, `offset` and
// `byteSize` locate the node's LAZ chunk; with the count -1 they locate the page that describes
// the key's subtree; with the count 0 the node has no points (its children may have some).
struct HierarchyEntry {
    static constexpr std::size_t SIZE = 32;

    std::uint64_t offset = 0;
    std::int32_t byteSize = 0;
    std::int32_t pointCount = 0;

    bool describedElsewhere() const { return pointCount == -1; }
};

// What an entry may point at in its file.
struct HierarchyLimits {
    std::uint64_t fileSize = 0;
    // Where the first chunk may start (8 bytes after the point data offset).
    std::uint64_t chunksStart = 0;
    // No node holds more points than the file.
    std::uint64_t pointCount = 0;
};

// Parses one hierarchy page: `page.size() / 32` entries. Throws std::runtime_error led by
// `pageName` when the size is not a whole number of entries, a key is not a cell of its level or
// lies deeper than node ids reach, a key appears twice, a count is below -1 or above the file's
// point count, or a chunk or child page lies outside the file.
std::vector<std::pair<Entwine::Key, HierarchyEntry>>
parseHierarchyPage(std::string_view page, const HierarchyLimits& limits, const std::string& pageName);

} // namespace Copc
