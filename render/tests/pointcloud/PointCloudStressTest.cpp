// Three point clouds load on their own threads, sharing one prioritizer, while the caller's thread
// moves their cameras, changes their settings, clears them and lowers the budget hundreds of times.
// Run under ThreadSanitizer too (./dev build tsan): the loading side must be free of data races.
#include <lumaro/testsupport/render/ViewedCloud.h>
#include <lumaro/testsupport/render/FakeOctree.h>

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

namespace {

using Clock = std::chrono::steady_clock;
using Octree::OctreeNodeId;
using Render::PointCloudRenderable;
using RenderTest::ViewedCloud;

// Looks at the box from a random direction above it, perspectively.
void orbit(Render::Camera& camera, const Math::NBoundingBox<float, 3>& box, std::mt19937& random)
{
    std::uniform_real_distribution<float> angle(0.0f, 6.2831853f);
    std::uniform_real_distribution<float> distance(0.2f, 2.0f);
    const float a = angle(random);
    const float radius = box.diagonal() * distance(random);
    const Math::Point<float, 3> eye = box.center() + Eigen::Vector3f(std::cos(a), std::sin(a), 0.5f) * radius;
    camera.setPose(eye, box.center(), Eigen::Vector3f::UnitZ());
    camera.setPerspective(45.0f, 0.01f, 10.0f * radius, 0.0f, 0.0f);
}

TEST(PointCloudStress, ThreeLoadersOneBudgetAndABusyCaller)
{
    const std::size_t renderer = RenderTest::freshRendererId();
    const auto autzen = RenderTest::locationOf(TestSupport::testStore("potree2/autzen_trim-brotli"));
    const auto damaged = std::make_shared<RenderTest::FakeOctree>("/fake/stress", 3);
    damaged->failReadsOf(OctreeNodeId::fromName("r5"));
    damaged->setReadDelay(std::chrono::microseconds(100));
    std::vector<ViewedCloud> clouds;
    clouds.emplace_back(PointCloudRenderable::create(autzen, "a", 80000, 1.0), renderer);
    clouds.emplace_back(PointCloudRenderable::create(autzen, "b", 90000, 1.0), renderer);
    clouds.emplace_back(PointCloudRenderable::create(damaged, "damaged", 70000), renderer);
    const auto prioritizer = clouds.front().cloud->nodePrioritizer();
    ASSERT_EQ(prioritizer, clouds.back().cloud->nodePrioritizer());
    EXPECT_EQ(prioritizer->totalMaxPointCount(), 70000u);
    for (ViewedCloud& viewed : clouds) {
        viewed.cloud->setUpdateInterval(std::chrono::milliseconds(1));
        viewed.cloud->startAsyncReload(nullptr, 21);
    }

    std::mt19937 random(7);
    Clock::duration slowestRestart{};
    const auto restarting = [&](auto&& change) {
        const auto started = Clock::now();
        change();
        slowestRestart = std::max(slowestRestart, Clock::now() - started);
    };
    std::size_t budget = 70000;
    for (int step = 0; step < 400; ++step) {
        ViewedCloud& viewed = clouds[random() % clouds.size()];
        PointCloudRenderable& cloud = *viewed.cloud;
        switch (random() % 8) {
        case 0:
        case 1:
        case 2:
            orbit(*viewed.camera, cloud.boundingBox(), random);
            restarting([&] { cloud.onUpdateViewMatrix(viewed.camera); });
            break;
        case 3: restarting([&] { cloud.onUpdateProjectionMatrix(viewed.camera); }); break;
        case 4: cloud.setOctreeNodePriorityThreshold(static_cast<float>(random() % 30)); break;
        case 5:
            if (random() % 4 == 0)
                cloud.clearVisibleOctreeNodes();
            else
                prioritizer->setTotalMaxPointCount(budget = std::max<std::size_t>(20000, budget - 300));
            break;
        case 6:
            restarting([&] { cloud.onUpdateRenderMode(static_cast<Render::RenderMode>(random() % 8)); });
            restarting([&] { cloud.onUpdateColorMapRange(0.0f, static_cast<float>(random() % 50)); });
            break;
        case 7: cloud.setVisible(!cloud.visible()); break;
        }
        // The render thread's side: take what was published.
        EXPECT_LE(cloud.numVisiblePoints(), 70000u);
        cloud.isAsyncReloadHealthy(false);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 1500));
    }
    // A stop is noticed between two nodes: well within a second, even under the sanitizers on a
    // machine busy with other work (a bound, not a measure of speed).
    EXPECT_LT(slowestRestart, std::chrono::seconds(1));

    // Settle on a view of everything: the damaged node is reported, the healthy clouds report
    // nothing, and the budget holds.
    prioritizer->setTotalMaxPointCount(70000);
    for (ViewedCloud& viewed : clouds) {
        viewed.cloud->setVisible(true);
        viewed.cloud->onUpdateRenderMode(Render::RenderMode::Default);
        RenderTest::lookDownAt(*viewed.camera, viewed.cloud->boundingBox());
        viewed.cloud->onUpdateProjectionMatrix(viewed.camera);
        viewed.cloud->setOctreeNodePriorityThreshold(0.0f);
    }
    EXPECT_TRUE(RenderTest::eventually([&] { return !clouds.back().cloud->isAsyncReloadHealthy(false); }));
    for (ViewedCloud& viewed : clouds) {
        const auto started = Clock::now();
        const bool healthy = viewed.cloud->isAsyncReloadHealthy(false);
        EXPECT_EQ(healthy, viewed.cloud->name() != "damaged") << viewed.cloud->name();
        viewed.cloud->stopAsyncReload();
        EXPECT_LT(Clock::now() - started, std::chrono::seconds(1)) << viewed.cloud->name();
    }
    EXPECT_LE(prioritizer->totalUsedPointCount(), prioritizer->totalMaxPointCount());
    EXPECT_GT(prioritizer->totalUsedPointCount(), 0u);
}

} // namespace
