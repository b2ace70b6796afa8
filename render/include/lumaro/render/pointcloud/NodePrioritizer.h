#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/pointcloud/NodeId.h>
#include <lumaro/render/pointcloud/NodePriority.h>
#include <lumaro/render/pointcloud/PointCloudBuffers.h>
#include <lumaro/render/pointcloud/PrioritizedNode.h>

#include <lumaro/core/TripleBuffer.h>
#include <lumaro/math/NBoundingBox.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <unordered_set>
#include <vector>

namespace Render {

class NodeVertexSource;

// A renderable's visibleNodes texture and draw list cover at most this many nodes. (Not a static
// member: a host could not take its address through the DLL's import table.)
inline constexpr std::size_t maxNodesPerUpdate = 4096;

// The set of octree nodes resident for drawing, shared by all point clouds of a renderer and
// bounded by a budget counted in points. Loader threads offer nodes best-first; when the budget
// is reached, a more important node displaces the least important ones.
//
// One mutex guards everything. Node data are fetched outside it, so a slow disk read of one
// loader never blocks the others or the render thread's buffer updates.
class LUMARO_RENDER_API NodePrioritizer {
public:
    struct OfferResult {
        bool resident = false; // the node is resident after the offer
        bool changed = false; // the resident set changed
        bool empty = false; // the node has no points to draw (none stored, or all hidden)
    };

    // Levels 0 to 21, the depths that an Octree::OctreeNodeId can express.
    static constexpr std::size_t levelLimit = Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL + 1;

    explicit NodePrioritizer(std::size_t totalMaxPointCount);
    NodePrioritizer(const NodePrioritizer&) = delete;
    NodePrioritizer& operator=(const NodePrioritizer&) = delete;
    ~NodePrioritizer();

    std::size_t totalMaxPointCount() const;
    std::size_t totalUsedPointCount() const;
    // A lower budget evicts least important nodes at once until the used count fits.
    void setTotalMaxPointCount(std::size_t totalMaxPointCount);

    void clear();
    // Drops the nodes of one point cloud.
    void clear(std::size_t instanceId);

    // Offers a node with its bounding cube (model coordinates) and priority. On admission its
    // vertices come from `source`, fetched without the lock; a node offered again while resident
    // is not fetched again. A fetch that fails while `stop` is signalled ends the offer quietly;
    // any other failure throws std::runtime_error "Error loading point data" (with the cause
    // nested, when there is one).
    OfferResult offer(const NodeId& id, const Math::NBoundingBox<float, 3>& boundingCube, const NodePriority& priority,
                      NodeVertexSource& source, std::stop_token stop);

    // Gives every resident node of one point cloud a fresh priority from rate(node, its cube), for
    // a new view; stops early when `stop` is signalled. rate runs under the prioritizer's lock.
    // True when a node became discarded or stopped being so: what is drawn has changed then.
    using RateNode = std::function<NodePriority(Octree::OctreeNodeId, const Math::NBoundingBox<float, 3>&)>;
    bool reprioritize(std::size_t instanceId, const RateNode& rate, std::stop_token stop = {});

    // Whether a node of `priority` holding `points` points would stay resident if it were offered
    // now: it fits into what is left of the budget together with the points of the resident nodes
    // that matter less than it, which its admission would displace. Walks ask before they read a
    // node, so that nodes the budget cannot take are never fetched.
    bool couldAdmit(const NodePriority& priority, std::size_t points) const;

    // How many nodes have left the resident set so far, by eviction or clear: a walk whose cloud
    // published before the last of them publishes again even when it admits nothing new.
    std::uint64_t departures() const;

    bool isResident(const NodeId& id) const;
    std::size_t residentNodeCount() const;

    // Writes the resident nodes of one point cloud (at most maxNodesPerUpdate, discarded ones left
    // out) into the write slot of `buffers` and publishes it. With dropDeepestLevel, the deepest
    // level of the contiguous levels from the root is left out as well.
    void updateBuffers(std::size_t instanceId, bool dropDeepestLevel, Core::TripleBuffer<PointCloudBuffers>& buffers);

private:
    // Nodes per level of the nodes chosen for one update.
    struct LevelCounts {
        std::array<std::size_t, levelLimit> nodes{};
        // The number of levels from level 0 on that each hold a node.
        std::size_t contiguousLevels() const;
    };

    // All of these need the lock.
    bool leastImportantOutranks(const NodePriority& priority);
    void makeHeap();
    void evictUntilWithinBudget();
    std::vector<const PrioritizedNode*> nodesToDraw(std::size_t instanceId, bool dropDeepestLevel,
                                                    std::size_t& levelCount) const;
    static void updateOctreeTextureData(const std::vector<const PrioritizedNode*>& nodes, std::size_t levelCount,
                                        PointCloudBuffers& buffer);
    static void updateVertexBuffer(const std::vector<const PrioritizedNode*>& nodes, PointCloudBuffers& buffer);

    mutable std::mutex mMutex;
    std::vector<PrioritizedNode> mEntries;
    // Set when mEntries is a heap with the least important node at the front; any append clears it.
    bool mEntriesFormHeap = false;
    std::unordered_set<NodeId> mResident;
    std::size_t mTotalUsedPointCount = 0;
    std::size_t mTotalMaxPointCount;
    std::uint64_t mDepartures = 0;
};

} // namespace Render
