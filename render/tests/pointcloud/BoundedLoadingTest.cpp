// Loading costs what the budget says: a walk over a store of 10^10 points touches no more nodes
// than one over a small store with the same budget, and the node caches of all stores stay within
// their one limit in bytes, evicting the least recently used nodes of any store and releasing a
// store's caches with its last cloud.
#include <lumaro/testsupport/render/FakeOctree.h>
#include <lumaro/testsupport/render/ViewedCloud.h>

#include <lumaro/render/pointcloud/LoadingSettings.h>
#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/testsupport/SparseOctree.h>

#include "pointcloud/SharedCacheRegistry.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Render::PointCloudRenderable;
using RenderTest::ViewedCloud;
using TestSupport::SparseOctree;

// Stores of 10^6 to 10^10 points (85 to 1.4 million nodes), each walked with budgets of a few
// nodes to a few dozen: the nodes read stay within the budget (the prefetching threads may read
// a node ahead that the walk then does not take, hence the slack of the threads' count), and the
// node ids the walk learns of are at most four per node it went below. Neither depends on the
// store's size.
TEST(GiantStores, AWalkTouchesNodesBoundedByTheBudgetNotByTheStore)
{
    struct Store {
        std::size_t depth;
        std::uint64_t points;
    };
    const Store stores[] = {{3, 1000000}, {7, 100000000}, {10, 10000000000}};
    for (const Store& store : stores) {
        for (const std::size_t budget : {std::size_t(30000), std::size_t(200000)}) {
            const std::string name = "giant-" + std::to_string(store.points) + "-" + std::to_string(budget);
            const auto octree = std::make_shared<SparseOctree>(name, store.depth, store.points);
            ASSERT_EQ(octree->pointCount(), store.points);
            const std::size_t renderer = RenderTest::freshRendererId();
            Render::setLoaderThreadCount(renderer, 2);
            const ViewedCloud viewed(PointCloudRenderable::create(octree, name, budget), renderer);
            viewed.cloud->reloadPoints(nullptr, 21);

            const std::uint64_t fitting = budget / octree->pointsPerNode(); // nodes the budget holds at most
            const std::size_t loaded = viewed.cloud->nodePrioritizer()->totalUsedPointCount();
            EXPECT_LE(loaded, budget) << name;
            EXPECT_GT(loaded, std::min<std::uint64_t>(store.points, budget) / 2) << name << ": the budget was not used";
            // The walk reads each node it offers once; ahead of it, two threads read up to four more;
            // the root is read once more to decide the intensity stretch.
            EXPECT_LE(octree->nodesRead(), std::min<std::uint64_t>(octree->nodeCount(), fitting + 4) + 1) << name;
            // Ids come from the children of resident nodes, four each, asked for twice: to read them
            // ahead and to walk on.
            EXPECT_LE(octree->nodesNamed(), 2 * 4 * (fitting + 1)) << name;
            Render::forgetLoadingSettings(renderer);
        }
    }
}

// Restores the library-wide cache limit when a test ends.
class CacheLimit {
public:
    explicit CacheLimit(std::uint64_t bytes) : mBefore(Render::nodeCacheLimit()) { Render::setNodeCacheLimit(bytes); }
    ~CacheLimit() { Render::setNodeCacheLimit(mBefore); }
    CacheLimit(const CacheLimit&) = delete;
    CacheLimit& operator=(const CacheLimit&) = delete;

private:
    std::uint64_t mBefore;
};

// A fake store's cache bytes when whole: every node's visible points (every fifth is hidden) as
// vertices of 24 bytes.
std::uint64_t wholeStoreBytes(std::size_t depth)
{
    std::uint64_t bytes = 0;
    RenderTest::FakeOctree octree("/fake/count", depth);
    for (std::vector<Octree::OctreeNodeId> level{Octree::OctreeNodeId::root()}; !level.empty();) {
        std::vector<Octree::OctreeNodeId> next;
        for (const auto node : level) {
            const std::size_t points = RenderTest::FakeOctree::storedPointCount(node);
            bytes += (points - points / 5) * sizeof(Render::VertexContainer::Vertex);
            for (const auto child : octree.children(node))
                next.push_back(child);
        }
        level = std::move(next);
    }
    return bytes;
}

TEST(NodeCacheLimit, ManyStoresWalkedAtOnceNeverExceedTheLimitAndTheOldestNodesGoFirst)
{
    // Small stores: the prioritizer's look-up of resident nodes takes time linear in their number,
    // and eight stores share it.
    constexpr std::size_t depth = 2;
    constexpr std::size_t storeNodes = 1 + 8 + 64;
    const std::uint64_t storeBytes = wholeStoreBytes(depth);
    EXPECT_EQ(sizeof(Render::VertexContainer::Vertex), 24u);
    // Room for a store and a half: walking eight of them must evict all the time.
    const std::uint64_t limit = storeBytes * 3 / 2;
    const CacheLimit cacheLimit(limit);
    const auto memory = Render::nodeCacheMemory();
    memory->resetPeak();
    EXPECT_EQ(Render::nodeCacheBytes(), 0u);

    const std::size_t renderer = RenderTest::freshRendererId();
    std::vector<std::shared_ptr<RenderTest::FakeOctree>> stores;
    std::vector<std::unique_ptr<ViewedCloud>> clouds;
    for (int i = 0; i < 8; ++i) {
        stores.push_back(std::make_shared<RenderTest::FakeOctree>("/fake/limit-" + std::to_string(i), depth));
        clouds.push_back(
            std::make_unique<ViewedCloud>(PointCloudRenderable::create(stores.back(), "cloud", 10000000), renderer));
    }
    // All at once, on their own loading threads and the renderer's loader threads.
    for (const auto& viewed : clouds)
        viewed->cloud->startAsyncReload(nullptr, 21);
    for (const auto& viewed : clouds)
        ASSERT_TRUE(RenderTest::eventually([&] { return viewed->cloud->numVisibleOctreeNodes() == storeNodes; }));
    for (const auto& viewed : clouds)
        viewed->cloud->stopAsyncReload();
    EXPECT_LE(memory->peakBytes(), limit);
    EXPECT_GT(memory->peakBytes(), limit - 22 * sizeof(Render::VertexContainer::Vertex)); // up to a node of the limit
    EXPECT_LE(Render::nodeCacheBytes(), limit);

    // One after the other: what stays cached is the end of store 6 and all of store 7. Walked
    // again, store 7 reads nothing, store 0 (the least recently used) reads everything.
    const auto walkAgain = [&](std::size_t store) {
        const std::size_t readsBefore = stores[store]->reads();
        clouds[store]->cloud->clearVisibleOctreeNodes();
        clouds[store]->cloud->reloadPoints(nullptr, 21);
        EXPECT_EQ(clouds[store]->cloud->numVisibleOctreeNodes(), storeNodes);
        return stores[store]->reads() - readsBefore;
    };
    for (std::size_t store = 0; store < 8; ++store)
        walkAgain(store);
    EXPECT_EQ(walkAgain(7), 0u) << "the most recent store's nodes were evicted";
    EXPECT_EQ(walkAgain(0), storeNodes) << "the oldest store's nodes were kept";
    EXPECT_LE(memory->peakBytes(), limit);

    // A store's caches go with its last cloud: the registry keeps none, and their bytes come back.
    clouds.clear();
    EXPECT_EQ(Render::nodeCacheBytes(), 0u);
}

} // namespace
