// The loader threads a renderer's clouds share: however many read and decode nodes at once, the
// walk stays best first and the budget exact, so what is drawn is what one thread loads; and the
// renderer's own settings (threads, a budget that rises as well as falls) reach its clouds.
#include <lumaro/testsupport/render/FakeOctree.h>
#include <lumaro/testsupport/render/ViewedCloud.h>

#include <lumaro/render/pointcloud/LoadingSettings.h>
#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/PointCloudBuffers.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/core/TaskPool.h>
#include <lumaro/core/TripleBuffer.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Render::PointCloudBuffers;
using Render::PointCloudRenderable;
using RenderTest::ViewedCloud;

// What a cloud draws: its published node table, draw list and vertices.
PointCloudBuffers drawn(const ViewedCloud& viewed)
{
    Core::TripleBuffer<PointCloudBuffers> buffers;
    viewed.cloud->nodePrioritizer()->updateBuffers(viewed.cloud->id(), false, buffers);
    buffers.swapRead();
    return buffers.readSlot();
}

// One walk of a store with a fresh cloud (and so fresh caches: nothing else holds them) on a
// renderer of its own with `threads` loader threads.
PointCloudBuffers loadWith(const std::shared_ptr<Octree::Octree>& octree, std::size_t budget, std::size_t threads)
{
    const std::size_t renderer = RenderTest::freshRendererId();
    Render::setLoaderThreadCount(renderer, threads);
    ViewedCloud viewed(PointCloudRenderable::create(octree, "cloud", budget), renderer);
    viewed.cloud->reloadPoints(nullptr, 21);
    PointCloudBuffers buffers = drawn(viewed);
    Render::forgetLoadingSettings(renderer);
    return buffers;
}

void expectSameDrawing(const PointCloudBuffers& expected, const PointCloudBuffers& actual, const std::string& what)
{
    ASSERT_EQ(actual.nodeCount(), expected.nodeCount()) << what;
    ASSERT_EQ(actual.pointCount(), expected.pointCount()) << what;
    EXPECT_EQ(actual.nodeTexels, expected.nodeTexels) << what;
    EXPECT_EQ(actual.levelCount, expected.levelCount) << what;
    for (std::size_t i = 0; i < expected.nodeCount(); ++i) {
        EXPECT_EQ(actual.nodes[i].cube.min(), expected.nodes[i].cube.min()) << what << ", node " << i;
        EXPECT_EQ(actual.nodes[i].level, expected.nodes[i].level) << what << ", node " << i;
        EXPECT_EQ(actual.nodes[i].pointCount, expected.nodes[i].pointCount) << what << ", node " << i;
    }
    if (!expected.vertices.empty())
        EXPECT_EQ(std::memcmp(actual.vertices.data(), expected.vertices.data(),
                              expected.vertices.size() * sizeof(PointCloudBuffers::Vertex)),
                  0)
            << what << ": the vertices differ";
}

// Stores of every compression, each whole and at a budget that takes a part of it (so that nodes
// compete and are evicted): one thread and several draw the same nodes and points.
TEST(PointCloudLoaderThreads, SeveralThreadsDrawWhatOneThreadDraws)
{
    struct Case {
        std::string store;
        std::size_t partBudget; // between the root and the whole store
    };
    const Case cases[] = {{"ept/lion_takanawa-laszip", 100000},
                          {"potree2/autzen_trim-brotli", 30000},
                          {"copc/1.2-with-color.copc.laz", 500},
                          {"ept/lion_takanawa-zstandard", 150000}};
    for (const Case& test : cases) {
        const auto octree = Octree::Octree::open(RenderTest::locationOf(TestSupport::testStore(test.store)));
        for (const std::size_t budget : {std::size_t(10000000), test.partBudget}) {
            const PointCloudBuffers one = loadWith(octree, budget, 1);
            EXPECT_GT(one.pointCount(), 0u) << test.store;
            EXPECT_LE(one.pointCount(), budget) << test.store;
            if (budget < octree->pointCount())
                EXPECT_LT(one.pointCount(), octree->pointCount()) << test.store << ": the budget took all";
            else
                EXPECT_EQ(one.pointCount(), octree->pointCount()) << test.store;
            for (const std::size_t threads : {2, 8})
                expectSameDrawing(one, loadWith(octree, budget, threads),
                                  test.store + " at " + std::to_string(budget) + " points with "
                                      + std::to_string(threads) + " threads");
        }
    }
}

// Reads that take a while overlap: as many at once as there are threads, never more; one thread
// reads one node after the other.
TEST(PointCloudLoaderThreads, ReadSeveralNodesAtOnce)
{
    for (const std::size_t threads : {1, 4}) {
        const auto octree = std::make_shared<RenderTest::FakeOctree>("/fake/threads-" + std::to_string(threads), 2);
        octree->setReadDelay(std::chrono::milliseconds(5));
        const PointCloudBuffers buffers = loadWith(octree, 10000000, threads);
        EXPECT_EQ(buffers.nodeCount(), 73u); // every node of two full levels below the root
        // The walk's own thread may read the node it offers next besides the pool's.
        EXPECT_LE(octree->mostReadsAtOnce(), threads + 1) << threads << " threads";
        if (threads == 1)
            EXPECT_EQ(octree->mostReadsAtOnce(), 1u);
        else
            EXPECT_GE(octree->mostReadsAtOnce(), 3u) << "reads went one after the other";
    }
}

TEST(PointCloudLoaderThreads, TheRendererSetsItsThreadsAndRaisesOrLowersTheSharedBudget)
{
    const std::size_t renderer = RenderTest::freshRendererId();
    EXPECT_EQ(Render::loaderThreadCount(renderer), Core::TaskPool::hardwareThreads());
    Render::setLoaderThreadCount(renderer, 3);
    EXPECT_EQ(Render::loaderThreadCount(renderer), 3u);
    Render::setLoaderThreadCount(renderer, 0);
    EXPECT_EQ(Render::loaderThreadCount(renderer), Core::TaskPool::hardwareThreads());
    EXPECT_EQ(Render::pointBudget(renderer), 0u);

    const auto store = RenderTest::locationOf(TestSupport::testStore("potree2/autzen_trim-brotli")); // 110,000 points
    const ViewedCloud a(PointCloudRenderable::create(store, "a", 30000, 1.0), renderer);
    const ViewedCloud b(PointCloudRenderable::create(store, "b", 20000, 1.0), renderer);
    EXPECT_EQ(Render::pointBudget(renderer), 20000u); // the smallest of the clouds'
    a.cloud->reloadPoints(nullptr, 21);
    const std::size_t within = a.cloud->nodePrioritizer()->totalUsedPointCount();
    EXPECT_LE(within, 20000u);

    // Raised: the next walk fills the room; a cloud that joins later does not lower it.
    Render::setPointBudget(renderer, 80000);
    EXPECT_EQ(a.cloud->nodePrioritizer()->totalMaxPointCount(), 80000u);
    a.cloud->reloadPoints(nullptr, 21);
    const std::size_t raised = a.cloud->nodePrioritizer()->totalUsedPointCount();
    EXPECT_GT(raised, 20000u);
    EXPECT_LE(raised, 80000u);
    {
        const ViewedCloud late(PointCloudRenderable::create(store, "late", 1000, 1.0), renderer);
        EXPECT_EQ(late.cloud->nodePrioritizer()->totalMaxPointCount(), 80000u);
        EXPECT_EQ(Render::pointBudget(renderer), 80000u);
    }

    // Lowered: evicted at once, and the next walk publishes what is left though it admits nothing.
    EXPECT_GT(a.cloud->numVisiblePoints(), 20000u);
    Render::setPointBudget(renderer, 5000);
    EXPECT_LE(a.cloud->nodePrioritizer()->totalUsedPointCount(), 5000u);
    EXPECT_EQ(Render::pointBudget(renderer), 5000u);
    a.cloud->reloadPoints(nullptr, 21);
    EXPECT_GT(a.cloud->numVisiblePoints(), 0u);
    EXPECT_LE(a.cloud->numVisiblePoints(), 5000u);

    // Forgotten (the renderer went): clouds decide again, the smallest budget of theirs.
    Render::forgetLoadingSettings(renderer);
    const ViewedCloud c(PointCloudRenderable::create(store, "c", 3000, 1.0), renderer);
    EXPECT_EQ(Render::pointBudget(renderer), 3000u);
}

} // namespace
