#include <lumaro/octree/potree/PotreeTree.h>

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/potree/HierarchyChunk.h>

#include "AttributeLayout.h"
#include "BoxOf.h"
#include "ModelPointDecoder.h"
#include "RawPointDecoder.h"

#include <algorithm>
#include <stdexcept>

namespace PoTree {

namespace {

using ::Octree::boxOf;
using ::Octree::OctreeNodeId;

// Reads one hierarchy chunk for `node` and checks that it describes every node it announces.
// Returns a copy of the node with the chunk applied and its children linked; the node itself is
// left alone, so a bad chunk keeps it a proxy and every later visit fails the same way instead of
// finding the never-described children of the first attempt.
std::shared_ptr<Node> readChunkChecked(const FileLoader& loader, const Node& node, std::uint64_t offset,
                                       std::uint64_t size, std::stop_token stop)
{
    const auto candidate = std::make_shared<Node>(node);
    HierarchyChunk chunk;
    if (!loadHierarchyChunk(loader, candidate, offset, size, stop, &chunk)) {
        throw ::Octree::OperationCancelled();
    }
    const std::string where = loader.hierarchyPath().string() + ": hierarchy chunk of " + std::to_string(size)
        + " bytes at offset " + std::to_string(offset);
    if (chunk.describedCount == 0) {
        throw std::runtime_error(where + " holds no whole record (records are 22 bytes)");
    }
    if (chunk.describedCount < chunk.nodes.size()) {
        throw std::runtime_error(where + " describes " + std::to_string(chunk.describedCount)
                                 + " nodes, but its child masks announce " + std::to_string(chunk.nodes.size()));
    }
    if (candidate->isProxy()) {
        throw std::runtime_error(where + " begins with a proxy record for node " + node.id.name()
                                 + " instead of the node itself");
    }
    return candidate;
}

} // namespace

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale)
    : PotreeTree(location, unitScale, FileLoader(location))
{}

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale,
                       std::shared_ptr<::Octree::StoreReader> reader)
    : PotreeTree(location, unitScale, FileLoader(std::move(reader)))
{}

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale, FileLoader loader)
    : PotreeTree(location, unitScale, loader, loader.loadMetadata())
{}

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale, FileLoader loader, Metadata metadata)
    : ::Octree::Octree(location, unitScale, boxOf(metadata.cubeMin, metadata.cubeMax),
                       boxOf(metadata.tightMin(), metadata.tightMax()), metadata.spacing),
      mMetadata(std::move(metadata)),
      mLoader(std::move(loader)),
      mAvailable(AttributeLayout::of(mMetadata).available()),
      mRoot(std::make_shared<Node>(OctreeNodeId::root(), boxOf(mMetadata.cubeMin, mMetadata.cubeMax)))
{
    *mRoot = std::move(*readChunkChecked(mLoader, *mRoot, 0, mMetadata.firstChunkSize, {}));
    if (const std::optional<bool> declared = mMetadata.colorsAre16Bit()) {
        declareColorsAre16Bit(*declared);
    }
}

std::shared_ptr<Node> PotreeTree::findNode(OctreeNodeId id, std::stop_token stop) const
{
    const std::size_t depth = id.level();
    while (true) {
        std::shared_ptr<Node> proxy;
        Node unexpanded(id, {});
        {
            const std::lock_guard lock(mHierarchyMutex);
            std::shared_ptr<Node> node = mRoot;
            for (std::size_t step = 1; step <= depth; ++step) {
                const std::size_t index = static_cast<std::size_t>(id.value() >> (3 * (depth - step)) & 7u);
                node = node->children[index];
                if (!node || node->isProxy()) {
                    break;
                }
            }
            if (!node || !node->isProxy()) {
                return node;
            }
            proxy = node;
            unexpanded = *node;
        }
        // The chunk is read without the lock; another thread may expand the same proxy meanwhile,
        // and the first to finish wins.
        const std::shared_ptr<Node> expanded =
            readChunkChecked(mLoader, unexpanded, unexpanded.byteOffset, unexpanded.byteSize, stop);
        const std::lock_guard lock(mHierarchyMutex);
        if (proxy->isProxy()) {
            *proxy = std::move(*expanded);
        }
    }
}

std::shared_ptr<const Node> PotreeTree::node(OctreeNodeId id) const
{
    return findNode(id, {});
}

std::shared_ptr<const Node> PotreeTree::requireNode(OctreeNodeId id) const
{
    auto found = node(id);
    if (!found) {
        throw std::invalid_argument(mLoader.hierarchyPath().string() + ": the store has no node " + id.name());
    }
    return found;
}

std::vector<std::shared_ptr<const Node>> PotreeTree::allNodes() const
{
    std::vector<std::shared_ptr<const Node>> nodes;
    visitBreadthFirst([&](OctreeNodeId id) { nodes.push_back(requireNode(id)); });
    return nodes;
}

std::vector<OctreeNodeId> PotreeTree::children(OctreeNodeId id, std::stop_token stop) const
{
    const std::shared_ptr<Node> parent = findNode(id, stop);
    std::vector<OctreeNodeId> result;
    if (!parent) {
        return result;
    }
    const std::lock_guard lock(mHierarchyMutex);
    for (const auto& child : parent->children) {
        if (child) {
            result.push_back(child->id);
        }
    }
    return result;
}

bool PotreeTree::contains(OctreeNodeId id) const
{
    return node(id) != nullptr;
}

::Octree::NodeVisibility PotreeTree::nodeVisibility(OctreeNodeId id) const
{
    if (!mMetadata.hasNodeVisibility) {
        return ::Octree::NodeVisibility::PerPoint;
    }
    return requireNode(id)->visibility;
}

std::uint64_t PotreeTree::pointCount(OctreeNodeId id) const
{
    const auto found = requireNode(id);
    // A record without bytes has no points to load, whatever its count says.
    return found->byteSize == 0 ? 0 : found->pointCount;
}

ChunkSource PotreeTree::chunks() const
{
    return {mLoader.octreePath(), [this](const Node& node, std::stop_token stop) {
                return nodeBytes(node.id, [&] { return mLoader.readNodeChunk(node, stop); });
            }};
}

std::optional<bool> PotreeTree::colorsAre16Bit(std::stop_token stop) const
{
    return decideColorsAre16Bit(
        [&](OctreeNodeId id) {
            const auto sampled = rawPoints(id, stop, ::Octree::PointAttribute::Color);
            if (!sampled) {
                throw ::Octree::OperationCancelled();
            }
            return sampled->colors;
        },
        stop);
}

std::optional<::Octree::RawPoints> PotreeTree::rawPoints(OctreeNodeId id, std::stop_token stop,
                                                         ::Octree::PointAttributes wanted) const
{
    const auto found = requireNode(id);
    try {
        return decodeRawPoints(chunks(), mMetadata, *found, stop, wanted);
    } catch (const ::Octree::OperationCancelled&) {
        return std::nullopt;
    }
}

std::optional<::Octree::NodePointData> PotreeTree::nodePointData(OctreeNodeId id, std::stop_token stop,
                                                                 ::Octree::PointAttributes wanted) const
{
    const auto found = requireNode(id);
    // Decided before decoding, and only when colours will be decoded: an undeclared colour range
    // is found by reading the root, which costs a whole node.
    bool wideColors = false;
    if (wanted.contains(::Octree::PointAttribute::Color) && mAvailable.contains(::Octree::PointAttribute::Color)) {
        const auto decided = colorsAre16Bit(stop);
        if (!decided) {
            return std::nullopt;
        }
        wideColors = *decided;
    }
    try {
        return decodeModelPoints(chunks(), mMetadata, *found, stop, wanted,
                                 modelTransform(mMetadata.scale, mMetadata.offset), wideColors);
    } catch (const ::Octree::OperationCancelled&) {
        return std::nullopt;
    }
}

} // namespace PoTree
