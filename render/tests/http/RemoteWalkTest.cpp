// Walks over stores on the tests' web servers: against a server that answers every request 100 ms
// late, the walk keeps several node requests in flight, so that their latencies overlap, and loads
// what a walk of the same store on disk loads; with a budget that takes a part of a store, it
// fetches no byte twice and only what the budget can take, and the library counts what it fetched.
#include <lumaro/testsupport/render/ViewedCloud.h>

#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <set>
#include <string>
#include <utility>

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
    const std::size_t local =
        walkedPoints(PoTree::FileSystemLocation(TestSupport::testStore("potree2/autzen_trim-brotli")));
    EXPECT_EQ(remote, local);
    EXPECT_GT(local, 0u);
    const int mostAtOnce = nlohmann::json::parse(statistics->read("stats"))["most_delayed_at_once"];
    EXPECT_GE(mostAtOnce, 4) << "node requests went one after the other";
}

// The sizes of a store's files on disk together (a COPC store is one file).
std::uintmax_t storeBytes(const std::filesystem::path& store)
{
    if (std::filesystem::is_regular_file(store))
        return std::filesystem::file_size(store);
    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(store))
        if (entry.is_regular_file())
            bytes += entry.file_size();
    return bytes;
}

TEST(RemoteWalk, FetchesEachByteOnceAndOnlyTheNodesTheBudgetCanTake)
{
    const auto servers = TestSupport::webServers();
    ASSERT_TRUE(servers) << "run through ctest";
    const auto statistics = Octree::StoreReader::open(Octree::WebLocation(servers->faults));
    // Budgets that take the root and a few of its children (lion: a root of 35,091 points and
    // children of 444 to 42,454; autzen: 4,661 and about 5,000; the COPC file: 24 and 12 to 21).
    const std::pair<std::string, std::size_t> walks[] = {{"ept/lion_takanawa-laszip", 100000},
                                                         {"potree2/autzen_trim-brotli", 12000},
                                                         {"copc/1.2-with-color.copc.laz", 60}};
    for (const auto& [store, budget] : walks) {
        const std::string tag = "budget-" + std::to_string(budget);
        const Octree::ReadStatistics before = Render::storeReadStatistics();
        RenderTest::ViewedCloud viewed(Render::PointCloudRenderable::create(
            Octree::WebLocation(servers->faults + "/count/" + tag + "/" + store), "remote", budget, 1.0));
        viewed.cloud->reloadPoints(nullptr, 21);
        const Octree::ReadStatistics after = Render::storeReadStatistics();
        EXPECT_GT(viewed.cloud->numVisiblePoints(), 0u) << store;
        EXPECT_LE(viewed.cloud->numVisiblePoints(), budget) << store;

        std::set<std::pair<std::string, std::string>> fetched;
        std::uintmax_t bytes = 0;
        const nlohmann::json requests = nlohmann::json::parse(statistics->read("stats/requests/" + tag));
        for (const auto& request : requests) {
            bytes += request["bytes"].get<std::uintmax_t>();
            if (request["method"] == "GET")
                EXPECT_TRUE(fetched.emplace(request["path"], request["range"]).second)
                    << store << ": " << request["path"] << " " << request["range"] << " fetched again";
        }
        EXPECT_LT(bytes, storeBytes(TestSupport::testStore(store)) / 2) << store;
        // What the library counts for --stats is what the server sent (it records no request it
        // answered with 404, such as a probe for a file the store does not have).
        EXPECT_EQ(after.bytes - before.bytes, bytes) << store;
        EXPECT_GE(after.requests - before.requests, requests.size()) << store;
    }
}

} // namespace
