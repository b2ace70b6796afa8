// A walk over a store on a web server that answers every request 100 ms late: the walk keeps
// several node requests in flight, so that their latencies overlap, and loads what a walk of the
// same store on disk loads.
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>

#ifdef _WIN32
#include <d3d11.h> // the null device pointers handed to init are COM pointers there
#endif

namespace {

std::size_t walkedPoints(const Octree::Location& location, std::size_t renderer)
{
    const auto camera = std::make_shared<Render::Camera>(false);
    const auto cloud = Render::PointCloudRenderable::create(location, "autzen", 10000000, 1.0);
    const auto box = cloud->boundingBox();
    camera->setViewport(640, 480);
    const Render::TopView top = Render::topView(box, 640, 480);
    camera->setPose(top.pose.eye, top.pose.target, top.pose.up);
    camera->setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
    camera->setZNearAndFarViaBoundingBox(box);
    cloud->init(renderer, camera, nullptr, nullptr);
    cloud->setOctreeNodePriorityThreshold(0.0f);
    cloud->reloadPoints(nullptr, 21);
    return cloud->numVisiblePoints();
}

TEST(RemoteWalk, KeepsSeveralNodeRequestsInFlightAndLoadsWhatADiskWalkLoads)
{
    const char* file = std::getenv("LUMARO_WEB_SERVER");
    ASSERT_NE(file, nullptr) << "run through ctest";
    const nlohmann::json server = nlohmann::json::parse(Core::readLocalFile(file));
    const std::string faults = server["faults"];
    const auto statistics = Octree::StoreReader::open(Octree::WebLocation(faults));
    statistics->read("stats/reset");

    const std::size_t remote = walkedPoints(Octree::WebLocation(faults + "/delay/100/potree2/autzen_trim-brotli"), 901);
    const std::size_t local = walkedPoints(PoTree::FileSystemLocation(TestSupport::testStore("potree2/autzen_trim-brotli")), 902);
    EXPECT_EQ(remote, local);
    EXPECT_GT(local, 0u);
    const int mostAtOnce = nlohmann::json::parse(statistics->read("stats"))["most_delayed_at_once"];
    EXPECT_GE(mostAtOnce, 4) << "node requests went one after the other";
}

} // namespace
