#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Render {

namespace {

// Heap order with the least important node at the front.
bool moreImportant(const PrioritizedNode& a, const PrioritizedNode& b)
{
    return b.priority < a.priority;
}

std::optional<VertexContainer> fetch(NodeVertexSource& source, Octree::OctreeNodeId node, std::stop_token stop)
{
    try {
        return source.fetchNodeVertices(node, stop);
    } catch (...) {
        if (stop.stop_requested())
            return std::nullopt;
        std::throw_with_nested(std::runtime_error("Error loading point data"));
    }
}

} // namespace

NodePrioritizer::NodePrioritizer(std::size_t totalMaxPointCount) : mResident(8), mTotalMaxPointCount(totalMaxPointCount)
{}

NodePrioritizer::~NodePrioritizer() = default;

std::size_t NodePrioritizer::totalMaxPointCount() const
{
    std::lock_guard lock(mMutex);
    return mTotalMaxPointCount;
}

std::size_t NodePrioritizer::totalUsedPointCount() const
{
    std::lock_guard lock(mMutex);
    return mTotalUsedPointCount;
}

void NodePrioritizer::setTotalMaxPointCount(std::size_t totalMaxPointCount)
{
    std::lock_guard lock(mMutex);
    mTotalMaxPointCount = totalMaxPointCount;
    evictUntilWithinBudget();
}

void NodePrioritizer::clear()
{
    std::lock_guard lock(mMutex);
    mDepartures += mEntries.size();
    mEntries.clear();
    mResident.clear();
    mTotalUsedPointCount = 0;
    mEntriesFormHeap = false;
}

void NodePrioritizer::clear(std::size_t instanceId)
{
    std::lock_guard lock(mMutex);
    std::erase_if(mEntries, [&](const PrioritizedNode& entry) {
        if (entry.id.instanceId != instanceId)
            return false;
        mTotalUsedPointCount -= entry.vertices.size();
        mResident.erase(entry.id);
        ++mDepartures;
        return true;
    });
    mEntriesFormHeap = false;
}

NodePrioritizer::OfferResult NodePrioritizer::offer(const NodeId& id, const Math::NBoundingBox<float, 3>& boundingCube,
                                                    const NodePriority& priority, NodeVertexSource& source,
                                                    std::stop_token stop)
{
    {
        std::lock_guard lock(mMutex);
        if (mResident.contains(id))
            return {true, false};
        if (mTotalUsedPointCount >= mTotalMaxPointCount && leastImportantOutranks(priority))
            return {false, false};
    }

    std::optional<VertexContainer> vertices = fetch(source, id.nodeId, stop);
    if (!vertices) {
        if (stop.stop_requested())
            return {false, false};
        throw std::runtime_error("Error loading point data");
    }
    const std::size_t count = vertices->size();
    if (count == 0)
        return {false, false, true};

    std::lock_guard lock(mMutex);
    // Another loader may have admitted the node, or filled the budget, while we were reading.
    if (mResident.contains(id))
        return {true, false};
    if (mTotalUsedPointCount >= mTotalMaxPointCount && leastImportantOutranks(priority))
        return {false, false};

    mEntries.push_back(PrioritizedNode{boundingCube, id, priority, std::move(*vertices)});
    mResident.insert(id);
    mTotalUsedPointCount += count;
    // Admitted without eviction only while strictly below the budget; eviction below stops as
    // soon as the used count is at or below it.
    if (mTotalUsedPointCount < mTotalMaxPointCount) {
        mEntriesFormHeap = false;
        return {true, true};
    }
    if (mEntriesFormHeap)
        std::push_heap(mEntries.begin(), mEntries.end(), moreImportant);
    else
        makeHeap();
    evictUntilWithinBudget();
    return {mResident.contains(id), true};
}

bool NodePrioritizer::reprioritize(std::size_t instanceId, const RateNode& rate, std::stop_token stop)
{
    std::lock_guard lock(mMutex);
    mEntriesFormHeap = false;
    bool drawnChanged = false;
    for (PrioritizedNode& entry : mEntries) {
        if (stop.stop_requested())
            return drawnChanged;
        if (entry.id.instanceId != instanceId)
            continue;
        const bool wasDiscarded = entry.priority.isDiscarded();
        entry.priority = rate(entry.id.nodeId, entry.boundingCube);
        drawnChanged = drawnChanged || wasDiscarded != entry.priority.isDiscarded();
    }
    return drawnChanged;
}

bool NodePrioritizer::couldAdmit(const NodePriority& priority, std::size_t points) const
{
    std::lock_guard lock(mMutex);
    if (mTotalUsedPointCount + points <= mTotalMaxPointCount)
        return true;
    std::size_t displaceable = 0;
    for (const PrioritizedNode& entry : mEntries)
        if (entry.priority < priority)
            displaceable += entry.vertices.size();
    return mTotalUsedPointCount - displaceable + points <= mTotalMaxPointCount;
}

std::uint64_t NodePrioritizer::departures() const
{
    std::lock_guard lock(mMutex);
    return mDepartures;
}

bool NodePrioritizer::isResident(const NodeId& id) const
{
    std::lock_guard lock(mMutex);
    return mResident.contains(id);
}

std::size_t NodePrioritizer::residentNodeCount() const
{
    std::lock_guard lock(mMutex);
    return mEntries.size();
}

bool NodePrioritizer::leastImportantOutranks(const NodePriority& priority)
{
    if (mEntries.empty())
        return false;
    if (!mEntriesFormHeap)
        makeHeap();
    return !(mEntries.front().priority < priority);
}

void NodePrioritizer::makeHeap()
{
    std::make_heap(mEntries.begin(), mEntries.end(), moreImportant);
    mEntriesFormHeap = true;
}

void NodePrioritizer::evictUntilWithinBudget()
{
    if (mTotalUsedPointCount <= mTotalMaxPointCount)
        return;
    if (!mEntriesFormHeap)
        makeHeap();
    auto heapEnd = mEntries.end();
    while (mTotalUsedPointCount > mTotalMaxPointCount && heapEnd != mEntries.begin()) {
        std::pop_heap(mEntries.begin(), heapEnd, moreImportant);
        --heapEnd;
        mTotalUsedPointCount -= heapEnd->vertices.size();
        mResident.erase(heapEnd->id);
        ++mDepartures;
    }
    // The evicted nodes sit behind the heap, which stays a heap.
    mEntries.erase(heapEnd, mEntries.end());
}

std::size_t NodePrioritizer::LevelCounts::contiguousLevels() const
{
    std::size_t levels = 0;
    while (levels < levelLimit && nodes[levels] > 0)
        ++levels;
    return levels;
}

std::vector<const PrioritizedNode*> NodePrioritizer::nodesToDraw(std::size_t instanceId, bool dropDeepestLevel,
                                                                 std::size_t& levelCount) const
{
    std::vector<const PrioritizedNode*> nodes;
    LevelCounts counts;
    for (const PrioritizedNode& entry : mEntries) {
        if (nodes.size() == maxNodesPerUpdate)
            break;
        if (entry.id.instanceId != instanceId || entry.priority.isDiscarded())
            continue;
        const std::size_t level = entry.id.nodeId.level();
        ++counts.nodes[level];
        nodes.push_back(&entry);
    }
    levelCount = counts.contiguousLevels();
    if (dropDeepestLevel) {
        levelCount = levelCount > 0 ? levelCount - 1 : 0;
        std::erase_if(nodes, [&](const PrioritizedNode* node) { return node->id.nodeId.level() >= levelCount; });
    }
    // Ascending ids are level order with siblings side by side in child-index order: an id is its
    // parent's id followed by three bits of child index, behind a leading bit that marks the level.
    std::sort(nodes.begin(), nodes.end(), [](const PrioritizedNode* a, const PrioritizedNode* b) {
        return a->id.nodeId.value() < b->id.nodeId.value();
    });
    return nodes;
}

void NodePrioritizer::updateBuffers(std::size_t instanceId, bool dropDeepestLevel,
                                    Core::TripleBuffer<PointCloudBuffers>& buffers)
{
    std::lock_guard lock(mMutex);
    std::size_t levelCount = 0;
    const std::vector<const PrioritizedNode*> nodes = nodesToDraw(instanceId, dropDeepestLevel, levelCount);
    buffers.write([&](PointCloudBuffers& buffer) {
        updateOctreeTextureData(nodes, levelCount, buffer);
        updateVertexBuffer(nodes, buffer);
    });
}

void NodePrioritizer::updateOctreeTextureData(const std::vector<const PrioritizedNode*>& nodes, std::size_t levelCount,
                                              PointCloudBuffers& buffer)
{
    constexpr std::size_t texelSize = PointCloudBuffers::bytesPerTexel;
    buffer.levelCount = levelCount;
    buffer.nodeTexels.assign(nodes.size() * texelSize, 0);
    const auto texelOf = [&](Octree::OctreeNodeId node, std::size_t before) -> std::optional<std::size_t> {
        const auto end = nodes.begin() + static_cast<std::ptrdiff_t>(before);
        const auto found =
            std::lower_bound(nodes.begin(), end, node.value(), [](const PrioritizedNode* entry, std::uint64_t value) {
                return entry->id.nodeId.value() < value;
            });
        if (found == end || (*found)->id.nodeId != node)
            return std::nullopt;
        return static_cast<std::size_t>(found - nodes.begin());
    };
    for (std::size_t texel = 0; texel < nodes.size(); ++texel) {
        const Octree::OctreeNodeId node = nodes[texel]->id.nodeId;
        if (node.isRoot())
            continue;
        // A node whose parent is not drawn is reached only from its own draw, never from above.
        const std::optional<std::size_t> parentTexel = texelOf(node.parent(), texel);
        if (!parentTexel)
            continue;
        std::uint8_t* parent = &buffer.nodeTexels[*parentTexel * texelSize];
        // Texels ascend, so the first child met is the nearest one.
        if (parent[PointCloudBuffers::childMaskByte] == 0) {
            const std::size_t offset = texel - *parentTexel;
            parent[PointCloudBuffers::childOffsetHighByte] = static_cast<std::uint8_t>(offset >> 8);
            parent[PointCloudBuffers::childOffsetLowByte] = static_cast<std::uint8_t>(offset & 0xFF);
        }
        parent[PointCloudBuffers::childMaskByte] |= static_cast<std::uint8_t>(1u << node.childIndex());
    }
}

void NodePrioritizer::updateVertexBuffer(const std::vector<const PrioritizedNode*>& nodes, PointCloudBuffers& buffer)
{
    std::size_t pointCount = 0;
    for (const PrioritizedNode* node : nodes)
        pointCount += node->vertices.size();
    buffer.vertices.clear();
    buffer.vertices.reserve(pointCount);
    buffer.nodes.clear();
    buffer.nodes.reserve(nodes.size());
    for (std::size_t texel = 0; texel < nodes.size(); ++texel) {
        const PrioritizedNode& node = *nodes[texel];
        buffer.nodes.push_back(PointCloudBuffers::DrawNode{
            node.boundingCube, static_cast<std::uint32_t>(texel), static_cast<std::uint32_t>(node.id.nodeId.level()),
            static_cast<std::uint32_t>(buffer.vertices.size()), static_cast<std::uint32_t>(node.vertices.size())});
        buffer.vertices.insert(buffer.vertices.end(), node.vertices.data(),
                               node.vertices.data() + node.vertices.size());
    }
}

} // namespace Render
