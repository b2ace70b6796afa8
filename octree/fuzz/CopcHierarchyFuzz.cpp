// COPC hierarchy pages: the input is one byte, the number of entries of the root page, and a
// file that starts with the root page and whose entries may point at further pages anywhere in it. Walking the
// tree must either succeed or throw std::runtime_error, and must end: every page read resolves
// one key for good, so a page pointing at itself is refused instead of read again.
#include <lumaro/octree/copc/HierarchyPage.h>
#include <lumaro/octree/entwine/SubtreeIndex.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::size_t rootEntries = data[0];
    const std::string_view file(reinterpret_cast<const char*>(data) + 1, size - 1);
    size = file.size();
    const Copc::HierarchyLimits limits{size, 0, 1u << 20};
    auto read = [&](std::uint64_t offset, std::uint64_t bytes) {
        return Copc::parseHierarchyPage(file.substr(offset, bytes), limits, "page");
    };
    try {
        using Index = Entwine::SubtreeIndex<Copc::HierarchyEntry>;
        const Index index(
            read(0, std::min(rootEntries * Copc::HierarchyEntry::SIZE, size - size % Copc::HierarchyEntry::SIZE)),
            "root page",
            [&](const Entwine::Key&, const Copc::HierarchyEntry& page) {
                return read(page.offset, static_cast<std::uint64_t>(page.byteSize));
            },
            [](const Entwine::Key&, const Copc::HierarchyEntry&) { return std::string("page"); });
        std::deque<Entwine::Key> pending{Entwine::Key{}};
        std::size_t visited = 0;
        while (!pending.empty()) {
            const Entwine::Key key = pending.front();
            pending.pop_front();
            const auto entry = index.find(key);
            // A node reached from its parent exists and has its own record.
            if (!entry || entry->describedElsewhere() || ++visited > (size / Copc::HierarchyEntry::SIZE) * 2 + 1) {
                __builtin_trap();
            }
            for (const Entwine::Key& child : index.children(key)) {
                pending.push_back(child);
            }
        }
    } catch (const std::runtime_error&) {
    }
    return 0;
}
