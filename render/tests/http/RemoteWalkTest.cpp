// A walk over a store on a web server that answers every request 100 ms late: the walk keeps
// several node requests in flight, so that their latencies overlap, and loads what a walk of the
// same store on disk loads.
#include <lumaro/testsupport/render/ViewedCloud.h>

#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

std::size_t walkedPoints(const Octree::Location& location)
{
    RenderTest::ViewedCloud viewed(Render::PointCloudRenderable::create(location, "autzen", 10000000, 1.0));
    viewed.cloud->reloadPoints(nullptr, 21);
    return viewed.cloud->numVisiblePoints();
}

TEST(RemoteWalk, KeepsSeveralNodeRequestsInFlightAndLoadsWhatADiskWalkLoads)
{
    const auto servers = TestSupport::webServers();
    ASSERT_TRUE(servers) << "run through ctest";
    const std::string faults = servers->faults;
    const auto statistics = Octree::StoreReader::open(Octree::WebLocation(faults));
    statistics->read("stats/reset");

    const std::size_t remote = walkedPoints(Octree::WebLocation(faults + "/delay/100/potree2/autzen_trim-brotli"));
    const std::size_t local = walkedPoints(PoTree::FileSystemLocation(TestSupport::testStore("potree2/autzen_trim-brotli")));
    EXPECT_EQ(remote, local);
    EXPECT_GT(local, 0u);
    const int mostAtOnce = nlohmann::json::parse(statistics->read("stats"))["most_delayed_at_once"];
    EXPECT_GE(mostAtOnce, 4) << "node requests went one after the other";
}

} // namespace
