#include <lumaro/octree/potree/HierarchyChunk.h>

#include <cstring>

namespace PoTree {

namespace {

template <typename T>
T readLittleEndian(const unsigned char* bytes)
{
    T value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) {
        value = static_cast<T>(value << 8 | bytes[i]);
    }
    return value;
}

// Only 1 and 2 speak for the whole node; every other value leaves it to the points.
Octree::NodeVisibility visibilityOf(unsigned nibble)
{
    switch (nibble) {
    case 1: return Octree::NodeVisibility::AllVisible;
    case 2: return Octree::NodeVisibility::AllHidden;
    default: return Octree::NodeVisibility::PerPoint;
    }
}

void applyRecord(Node& node, const unsigned char* record)
{
    node.type = static_cast<NodeType>(record[0] & 0x0Fu);
    node.visibility = visibilityOf(record[0] >> 4u);
    node.childMask = record[1];
    node.pointCount = readLittleEndian<std::uint32_t>(record + 2);
    node.byteOffset = readLittleEndian<std::uint64_t>(record + 6);
    node.byteSize = readLittleEndian<std::uint64_t>(record + 14);
    node.described = true;
}

} // namespace

HierarchyChunk parseHierarchyChunk(std::string_view bytes, const std::shared_ptr<Node>& root)
{
    const std::size_t recordCount = bytes.size() / HIERARCHY_RECORD_SIZE;
    const auto* records = reinterpret_cast<const unsigned char*>(bytes.data());

    HierarchyChunk chunk;
    if (recordCount == 0) {
        return chunk;
    }
    chunk.nodes.reserve(recordCount);
    chunk.nodes.push_back(root);
    for (std::size_t k = 0; k < recordCount && k < chunk.nodes.size(); ++k) {
        // A copy: appending children below may reallocate the list.
        const std::shared_ptr<Node> node = chunk.nodes[k];
        applyRecord(*node, records + k * HIERARCHY_RECORD_SIZE);
        chunk.describedCount = k + 1;
        // A proxy's children arrive with its own chunk; the deepest representable level has none.
        if (node->isProxy() || node->id.level() >= Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL) {
            continue;
        }
        for (std::size_t i = 0; i < 8; ++i) {
            if (node->hasChild(i)) {
                auto child = std::make_shared<Node>(node->id.child(i), childBox(node->box, i));
                node->children[i] = child;
                chunk.nodes.push_back(std::move(child));
            }
        }
    }
    return chunk;
}

bool loadHierarchyChunk(const FileLoader& loader, const std::shared_ptr<Node>& root, std::uint64_t byteOffset,
                        std::uint64_t byteSize, std::stop_token stop, HierarchyChunk* chunk)
{
    const std::uint64_t wholeRecords = byteSize / HIERARCHY_RECORD_SIZE * HIERARCHY_RECORD_SIZE;
    if (wholeRecords == 0) {
        if (chunk != nullptr) {
            *chunk = HierarchyChunk();
        }
        return true;
    }
    std::string bytes;
    if (!loader.fetchHierarchyChunk(byteOffset, wholeRecords, bytes, stop)) {
        return false;
    }
    HierarchyChunk parsed = parseHierarchyChunk(bytes, root);
    if (chunk != nullptr) {
        *chunk = std::move(parsed);
    }
    return true;
}

} // namespace PoTree
