#include <lumaro/octree/copc/HierarchyPage.h>

#include <lumaro/octree/OctreeNodeId.h>

#include "LoadUnaligned.h"

#include <stdexcept>
#include <unordered_set>

namespace Copc {

namespace {

using Octree::loadUnaligned;

std::string keyText(std::int32_t depth, std::int32_t x, std::int32_t y, std::int32_t z)
{
    return std::to_string(depth) + "-" + std::to_string(x) + "-" + std::to_string(y) + "-" + std::to_string(z);
}

bool liesInside(std::uint64_t offset, std::int64_t size, std::uint64_t begin, std::uint64_t end)
{
    return size > 0 && offset >= begin && offset <= end && static_cast<std::uint64_t>(size) <= end - offset;
}

} // namespace

std::vector<std::pair<Entwine::Key, HierarchyEntry>>
parseHierarchyPage(std::string_view page, const HierarchyLimits& limits, const std::string& pageName)
{
    auto fail = [&pageName](const std::string& problem) { throw std::runtime_error(pageName + ": " + problem); };
    if (page.size() % HierarchyEntry::SIZE != 0) {
        fail("is " + std::to_string(page.size()) + " bytes long, not a whole number of 32-byte entries");
    }
    std::vector<std::pair<Entwine::Key, HierarchyEntry>> entries;
    entries.reserve(page.size() / HierarchyEntry::SIZE);
    std::unordered_set<Octree::OctreeNodeId> seen;
    for (std::size_t at = 0; at < page.size(); at += HierarchyEntry::SIZE) {
        const char* bytes = page.data() + at;
        const auto depth = loadUnaligned<std::int32_t>(bytes);
        const auto x = loadUnaligned<std::int32_t>(bytes + 4);
        const auto y = loadUnaligned<std::int32_t>(bytes + 8);
        const auto z = loadUnaligned<std::int32_t>(bytes + 12);
        const std::string name = keyText(depth, x, y, z);
        if (depth < 0 || static_cast<std::size_t>(depth) > Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL) {
            fail("entry " + name + " has a level outside 0 to "
                 + std::to_string(Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL));
        }
        const std::int64_t cells = std::int64_t{1} << depth;
        if (x < 0 || y < 0 || z < 0 || x >= cells || y >= cells || z >= cells) {
            fail("entry " + name + " is not a cell of level " + std::to_string(depth));
        }
        const Entwine::Key key{static_cast<std::uint32_t>(depth), static_cast<std::uint32_t>(x),
                               static_cast<std::uint32_t>(y), static_cast<std::uint32_t>(z)};
        if (!seen.insert(key.nodeId()).second) {
            fail("lists " + name + " twice");
        }
        HierarchyEntry entry;
        entry.offset = loadUnaligned<std::uint64_t>(bytes + 16);
        entry.byteSize = loadUnaligned<std::int32_t>(bytes + 24);
        entry.pointCount = loadUnaligned<std::int32_t>(bytes + 28);
        const std::string where = std::to_string(entry.byteSize) + " bytes at byte " + std::to_string(entry.offset);
        if (entry.pointCount < -1 || static_cast<std::uint64_t>(std::max(entry.pointCount, 0)) > limits.pointCount) {
            fail("entry " + name + " counts " + std::to_string(entry.pointCount)
                 + " points; counts run from -1 to the file's " + std::to_string(limits.pointCount));
        }
        if (entry.pointCount > 0 && !liesInside(entry.offset, entry.byteSize, limits.chunksStart, limits.fileSize)) {
            fail("the chunk of " + name + " (" + where + ") lies outside the point data of a file of "
                 + std::to_string(limits.fileSize) + " bytes");
        }
        if (entry.describedElsewhere()
            && (!liesInside(entry.offset, entry.byteSize, 0, limits.fileSize)
                || entry.byteSize % static_cast<std::int32_t>(HierarchyEntry::SIZE) != 0)) {
            fail("the page of " + name + " (" + where + ") lies outside a file of " + std::to_string(limits.fileSize)
                 + " bytes or is not a whole number of entries");
        }
        entries.emplace_back(key, entry);
    }
    return entries;
}

} // namespace Copc
