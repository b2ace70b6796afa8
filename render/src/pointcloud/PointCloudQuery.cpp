#include <lumaro/render/pointcloud/PointCloudQuery.h>

#include <lumaro/render/pointcloud/NodeDataLoading.h>

#include "SharedCacheRegistry.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Render {

PointCloudQuery::PointCloudQuery(std::shared_ptr<Octree::Octree> octree, std::shared_ptr<NodePointDataCache> cache,
                                 const Eigen::Matrix4f& world, IFilter* filter, std::size_t maxLevel, float minSpacing,
                                 std::chrono::nanoseconds fetchTimeLimit)
    : mOctree(std::move(octree)),
      mCache(std::move(cache)),
      mFilter(maxLevel, minSpacing, filter),
      mFetchTimeLimit(fetchTimeLimit)
{
    if (!mOctree)
        throw std::invalid_argument("PointCloudQuery needs an octree");
    setWorldMatrix(world);
    consider(Octree::OctreeNodeId::root(), Octree::BoxTestResult::Intersecting);
}

PointCloudQuery::PointCloudQuery(PointCloudQuery&&) noexcept = default;
PointCloudQuery& PointCloudQuery::operator=(PointCloudQuery&&) noexcept = default;
PointCloudQuery::~PointCloudQuery() = default;

std::shared_ptr<NodePointDataCache> PointCloudQuery::createOrGetSharedCache(const Octree::Location& location,
                                                                            double unitScale, std::size_t capacity,
                                                                            std::size_t expectedEntries)
{
    return sharedCacheOf<NodePointDataCache>(location, unitScale, [&] {
        return std::make_shared<NodePointDataCache>(
            capacity, expectedEntries, nodeCacheMemory(),
            [](const Octree::NodePointData& points) { return bytesOf(points); });
    });
}

void PointCloudQuery::setWorldMatrix(const Eigen::Matrix4f& world)
{
    mWorld = world;
    mWorldScale = world.col(0).head<3>().norm();
}

bool PointCloudQuery::isComplete() const
{
    return !mTimedOut && !mNodeLoaded && mPending.empty();
}

void PointCloudQuery::consider(Octree::OctreeNodeId node, Octree::BoxTestResult parentResult)
{
    const std::size_t level = Octree::Octree::level(node);
    const float spacing = static_cast<float>(mOctree->spacing(level)) * mWorldScale;
    Octree::BoxTestResult result = Octree::BoxTestResult::Inside;
    if (parentResult != Octree::BoxTestResult::Inside) {
        result = mFilter.testBox(mOctree->boundingCube(node).transformed(mWorld));
        if (result == Octree::BoxTestResult::Outside)
            return;
    }
    if (mFilter.testSpacing(spacing) && mFilter.testLevel(level))
        mPending.push_back({node, level, spacing, result});
}

bool PointCloudQuery::loadNextNode()
{
    if (mPending.empty())
        return false;
    if (mFetchTimeLimit.count() > 0 && mFetchTime >= mFetchTimeLimit) {
        mTimedOut = true;
        return false;
    }
    const PendingNode next = mPending.front();
    mPending.pop_front();
    const auto started = std::chrono::steady_clock::now();
    std::optional<Octree::NodePointData> points;
    try {
        for (const Octree::OctreeNodeId child : mOctree->children(next.id))
            consider(child, next.boxResult);
        points = mCache ? loadNodePointData(*mCache, *mOctree, next.id, {})
                        : mOctree->nodePointData(next.id, {}, Octree::PointAttributes::all());
    } catch (...) {
        std::throw_with_nested(std::runtime_error("Querying node data failed"));
    }
    mFetchTime += std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - started);
    if (!points)
        throw std::runtime_error("Querying node data failed");
    mCurrentId = next.id;
    mCurrentBoxResult = next.boxResult;
    mCurrentPoints = std::move(*points);
    mCursor = 0;
    mNodeLoaded = true;
    return true;
}

std::size_t PointCloudQuery::getNextPointChunk(VertexPosColor* out, std::size_t maxCount)
{
    std::size_t count = 0;
    while (count < maxCount) {
        if (!mNodeLoaded && !loadNextNode())
            break;
        const Octree::NodePointData& points = mCurrentPoints;
        for (; mCursor < points.size() && count < maxCount; ++mCursor) {
            Math::Point<float, 3> position(0.0f, 0.0f, 0.0f);
            if (points.hasPositions())
                position = Math::Point<float, 3>((mWorld * points.position(mCursor).homogeneous()).hnormalized());
            if (mCurrentBoxResult == Octree::BoxTestResult::Intersecting && !mFilter.testPosition(position))
                continue;
            out[count++] = VertexPosColor(position, points.hasColors() ? points.color(mCursor) : Math::Color());
        }
        if (mCursor == points.size())
            mNodeLoaded = false;
    }
    return count;
}

} // namespace Render
