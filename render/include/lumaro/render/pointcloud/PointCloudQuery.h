#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexRecords.h>
#include <lumaro/render/pointcloud/NodeCaches.h>
#include <lumaro/render/pointcloud/PointCloudFilter.h>

#include <lumaro/octree/BoxTestResult.h>
#include <lumaro/octree/Location.h>
#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <Eigen/Core>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>

namespace Render {

// The points of a point cloud inside a region, down to a chosen detail, handed out in chunks of
// the caller's size: the octree is walked breadth-first, nodes outside the filter's region, deeper
// than its level or finer than its spacing are skipped with their subtrees, and the points of the
// remaining nodes that the filter keeps are written in world coordinates (the world matrix
// applied) with their colours.
//
// Node data come through the shared query cache of the store when there is one, so repeated
// queries of one region read the store once.
class LUMARO_RENDER_API PointCloudQuery {
public:
    // `cache` may be null (nodes are then read straight from the octree). `filter` is the host's
    // and must outlive the query. `fetchTimeLimit` bounds the time the query spends reading node
    // data, over all its calls together: once it is used up, no further node is read and the
    // query ends (getNextPointChunk returns 0, isComplete() is false). A limit of zero or less
    // means no limit. Throws std::invalid_argument without an octree or a filter.
    PointCloudQuery(std::shared_ptr<Octree::Octree> octree, std::shared_ptr<NodePointDataCache> cache,
                    const Eigen::Matrix4f& world, IFilter* filter, std::size_t maxLevel, float minSpacing,
                    std::chrono::nanoseconds fetchTimeLimit);
    PointCloudQuery(PointCloudQuery&&) noexcept;
    PointCloudQuery& operator=(PointCloudQuery&&) noexcept;
    PointCloudQuery(const PointCloudQuery&) = delete;
    PointCloudQuery& operator=(const PointCloudQuery&) = delete;
    ~PointCloudQuery();

    // The shared query cache of a store at a unit scale, created with the given sizes (points,
    // expected nodes) by the first caller; later sizes are ignored.
    static std::shared_ptr<NodePointDataCache> createOrGetSharedCache(const Octree::Location& location,
                                                                      double unitScale, std::size_t capacity,
                                                                      std::size_t expectedEntries);

    // Writes up to maxCount accepted points to `out` and returns how many; 0 means the query is
    // done. A chunk may end in the middle of a node: the next call goes on from there. Throws
    // std::runtime_error "Querying node data failed" (the cause nested) when a node cannot be
    // read.
    std::size_t getNextPointChunk(VertexPosColor* out, std::size_t maxCount);

    // Applies to the nodes and points not yet handed out.
    void setWorldMatrix(const Eigen::Matrix4f& world);

    // False while points may follow, and after the fetch time limit cut the query short.
    bool isComplete() const;

private:
    struct PendingNode {
        Octree::OctreeNodeId id;
        std::size_t level = 0;
        float spacing = 0.0f; // world units
        Octree::BoxTestResult boxResult = Octree::BoxTestResult::Intersecting;
    };

    // Queues the node if it passes the level, spacing and box tests; `parentResult` Inside spares
    // the box test.
    void consider(Octree::OctreeNodeId node, Octree::BoxTestResult parentResult);
    // Takes the next node from the queue, queues its children and fetches its points; false
    // when the queue is empty or the time limit is used up.
    bool loadNextNode();

    std::shared_ptr<Octree::Octree> mOctree;
    std::shared_ptr<NodePointDataCache> mCache;
    std::deque<PendingNode> mPending;
    Octree::OctreeNodeId mCurrentId;
    Octree::BoxTestResult mCurrentBoxResult = Octree::BoxTestResult::Intersecting;
    Octree::NodePointData mCurrentPoints;
    bool mNodeLoaded = false;
    std::size_t mCursor = 0;
    PointCloudFilter mFilter;
    Eigen::Matrix4f mWorld = Eigen::Matrix4f::Identity();
    float mWorldScale = 1.0f;
    std::chrono::nanoseconds mFetchTimeLimit;
    std::chrono::nanoseconds mFetchTime{0};
    bool mTimedOut = false;
};

} // namespace Render
