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

// Reads one hierarchy chunk into `root` and checks that it describes every node it announces.
// The chunk is read into a copy and `root` changes only once every check passed: a bad chunk
// leaves the node a proxy, so every later visit fails the same way instead of finding the
// never-described children of the first attempt.
void loadChunkChecked(const FileLoader& loader, const std::shared_ptr<Node>& root, std::uint64_t offset,
                      std::uint64_t size)
{
    const auto candidate = std::make_shared<Node>(*root);
    HierarchyChunk chunk;
    loadHierarchyChunk(loader, candidate, offset, size, std::stop_token(), &chunk);
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
        throw std::runtime_error(where + " begins with a proxy record for node " + root->id.name()
                                 + " instead of the node itself");
    }
    *root = std::move(*candidate);
}

} // namespace

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale)
    : PotreeTree(location, unitScale, Metadata::load(location.file("metadata.json")))
{
}

PotreeTree::PotreeTree(const ::Octree::Location& location, double unitScale, Metadata metadata)
    : ::Octree::Octree(location, unitScale, boxOf(metadata.cubeMin, metadata.cubeMax),
                       boxOf(metadata.tightMin(), metadata.tightMax()), metadata.spacing),
      m_metadata(std::move(metadata)),
      m_loader(location),
      m_available(AttributeLayout::of(m_metadata).available()),
      m_root(std::make_shared<Node>(OctreeNodeId::root(), boxOf(m_metadata.cubeMin, m_metadata.cubeMax)))
{
    loadChunkChecked(m_loader, m_root, 0, m_metadata.firstChunkSize);
}

void PotreeTree::expandProxy(const std::shared_ptr<Node>& node) const
{
    if (node->isProxy()) {
        loadChunkChecked(m_loader, node, node->byteOffset, node->byteSize);
    }
}

std::shared_ptr<Node> PotreeTree::findNode(OctreeNodeId id) const
{
    std::shared_ptr<Node> node = m_root;
    const std::size_t depth = id.level();
    for (std::size_t step = 1; step <= depth && node; ++step) {
        const std::size_t index = static_cast<std::size_t>(id.value() >> (3 * (depth - step)) & 7u);
        node = node->children[index];
        if (node) {
            expandProxy(node);
        }
    }
    return node;
}

std::shared_ptr<const Node> PotreeTree::node(OctreeNodeId id) const
{
    const std::lock_guard lock(m_hierarchyMutex);
    return findNode(id);
}

std::shared_ptr<const Node> PotreeTree::requireNode(OctreeNodeId id) const
{
    auto found = node(id);
    if (!found) {
        throw std::invalid_argument(m_loader.hierarchyPath().string() + ": the store has no node " + id.name());
    }
    return found;
}

std::vector<std::shared_ptr<const Node>> PotreeTree::allNodes() const
{
    std::vector<std::shared_ptr<const Node>> nodes;
    visitBreadthFirst([&](OctreeNodeId id) { nodes.push_back(requireNode(id)); });
    return nodes;
}

std::vector<OctreeNodeId> PotreeTree::children(OctreeNodeId id) const
{
    const std::lock_guard lock(m_hierarchyMutex);
    const std::shared_ptr<Node> parent = findNode(id);
    std::vector<OctreeNodeId> result;
    if (!parent) {
        return result;
    }
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
    if (!m_metadata.hasNodeVisibility) {
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

std::optional<bool> PotreeTree::colorsAre16Bit(std::stop_token stop) const
{
    const std::lock_guard lock(m_colorRangeMutex);
    if (!m_colorsAre16Bit) {
        if (const auto declared = m_metadata.colorsAre16Bit()) {
            m_colorsAre16Bit = *declared;
        } else {
            const auto root = rawPoints(OctreeNodeId::root(), stop, ::Octree::PointAttribute::Color);
            if (!root) {
                return std::nullopt;
            }
            m_colorsAre16Bit = std::any_of(root->colors.begin(), root->colors.end(), [](const auto& color) {
                return color[0] > 255 || color[1] > 255 || color[2] > 255;
            });
        }
    }
    return m_colorsAre16Bit;
}

std::optional<::Octree::RawPoints> PotreeTree::rawPoints(OctreeNodeId id, std::stop_token stop,
                                                         ::Octree::PointAttributes wanted) const
{
    const auto found = requireNode(id);
    try {
        return decodeRawPoints(m_loader, m_metadata, *found, stop, wanted);
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
    if (wanted.contains(::Octree::PointAttribute::Color) && m_available.contains(::Octree::PointAttribute::Color)) {
        const auto decided = colorsAre16Bit(stop);
        if (!decided) {
            return std::nullopt;
        }
        wideColors = *decided;
    }
    try {
        return decodeModelPoints(m_loader, m_metadata, *found, stop, wanted,
                                 modelTransform(m_metadata.scale, m_metadata.offset), wideColors);
    } catch (const ::Octree::OperationCancelled&) {
        return std::nullopt;
    }
}

} // namespace PoTree
