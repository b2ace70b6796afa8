// Loading of streamed point clouds without a device: which nodes a walk makes resident, how it
// reports damaged stores, and what the settings do to it.
#include <lumaro/testsupport/render/ViewedCloud.h>
#include <lumaro/testsupport/render/FakeOctree.h>

#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::NodePriority;
using Render::PointCloudRenderable;
using RenderTest::FakeOctree;
using RenderTest::ViewedCloud;
using TestSupport::StoreNode;
using TestSupport::StorePoint;

std::shared_ptr<PointCloudRenderable> open(const std::filesystem::path& folder, std::size_t budget = 10000000)
{
    return PointCloudRenderable::create(RenderTest::locationOf(folder), "cloud", budget, 1.0);
}

// The whole message of an error with its nested causes.
std::string explain(const std::exception& error)
{
    std::string text = error.what();
    try {
        std::rethrow_if_nested(error);
    } catch (const std::exception& cause) {
        text += ": " + explain(cause);
    }
    return text;
}

template <typename Call>
std::string failureOf(Call&& call)
{
    try {
        call();
    } catch (const std::exception& error) {
        return explain(error);
    }
    return "no failure";
}

// Every kind of store loads whole through the one octree interface, empty inner nodes included
// (their children hold points), and reports the tight bounds of its points, not its root cube.
struct WholeStore {
    std::string store;
    bool ept;
};

class WholeStoreTest : public ::testing::TestWithParam<WholeStore> {};

TEST_P(WholeStoreTest, LoadsEveryPointAndReportsTheTightBounds)
{
    std::optional<TestSupport::RestoredEptBinaryStore> restored;
    std::filesystem::path folder = TestSupport::testStore(GetParam().store);
    if (GetParam().store == "ept/ellipsoid-binary")
        folder = restored.emplace().path();
    const nlohmann::json facts = TestSupport::storeFacts(folder);
    const ViewedCloud viewed(open(folder));
    viewed.cloud->reloadPoints(nullptr, 21);

    std::size_t nodesWithPoints = 0;
    std::array<double, 3> low{};
    std::array<double, 3> high{};
    std::array<double, 3> cubeMin{};
    if (GetParam().ept) {
        for (const auto& node : facts["node_list"])
            nodesWithPoints += node["points"].get<std::size_t>() > 0 ? 1 : 0;
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = facts["boundsConforming"][axis];
            high[axis] = facts["boundsConforming"][axis + 3];
            cubeMin[axis] = facts["bounds"][axis];
        }
    } else {
        nodesWithPoints = facts["nodes_with_points"];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = facts["tight_bounds"]["min"][axis];
            high[axis] = facts["tight_bounds"]["max"][axis];
            cubeMin[axis] = facts["cube"]["min"][axis];
        }
    }
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), facts["points_decoded"].get<std::size_t>());
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), nodesWithPoints);

    const Math::NBoundingBox<float, 3> box = viewed.cloud->boundingBox();
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(viewed.cloud->referencePosition()[axis], cubeMin[axis]);
        // Relative to the reference position: small numbers, precise in floats.
        const double tolerance = 1e-6 * std::max(1.0, high[axis] - low[axis]);
        EXPECT_NEAR(box.min()[axis], low[axis] - cubeMin[axis], tolerance) << axis;
        EXPECT_NEAR(box.max()[axis], high[axis] - cubeMin[axis], tolerance) << axis;
    }
}

INSTANTIATE_TEST_SUITE_P(
    RealStores, WholeStoreTest,
    ::testing::Values(WholeStore{"potree2/1.2-with-color-brotli", false},
                      WholeStore{"potree2/1.2-with-color-default", false}, WholeStore{"potree2/test1_4-brotli", false},
                      WholeStore{"potree2/warsaw_small-default", false},
                      WholeStore{"potree2/autzen_trim-brotli", false}, WholeStore{"ept/ellipsoid-binary", true},
                      WholeStore{"ept/ellipsoid-zstandard", true}, WholeStore{"ept/lion_takanawa-laszip", true}));

TEST(PointCloudWalk, MaxLevelBoundsTheDepthAndHiddenNodesAreNeverOffered)
{
    const TestSupport::TemporaryFolder folder;
    const StorePoint low{1.0, 1.0, 1.0};
    const StorePoint high{15.0, 15.0, 15.0};
    TestSupport::writePotreeStore(
        folder.path(), {{"r", {low, high}}, {"r0", {low, low, low}, true}, {"r7", {high, high}}, {"r77", {high}}});
    const ViewedCloud viewed(open(folder.path()));
    viewed.cloud->reloadPoints(nullptr, 0);
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 1u);
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), 2u);
    viewed.cloud->reloadPoints(nullptr, 1);
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), 4u); // r and r7, not the hidden r0
    viewed.cloud->reloadPoints(nullptr, 21);
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 3u);
}

// A node that the clip volumes cut away whole is not loaded; one they cut only partly is.
TEST(PointCloudWalk, NodesThatClipVolumesCutAwayWholeAreNotLoaded)
{
    const TestSupport::TemporaryFolder folder;
    const StorePoint low{1.0, 1.0, 1.0};
    const StorePoint high{15.0, 15.0, 15.0};
    TestSupport::writePotreeStore(folder.path(),
                                  {{"r", {low, high}}, {"r0", {low, low, low}}, {"r7", {high, high}}, {"r77", {high}}});
    const ViewedCloud viewed(open(folder.path()));
    Render::ClipVolumes corner;
    // Around the high points: r, r7 ([8, 16]^3) and r77 ([12, 16]^3) reach into it, r0 does not.
    corner.add(Math::OrientedBox(Math::Point<double, 3>(14, 14, 14), Eigen::Vector3d(1.5, 1.5, 1.5)),
               Render::ClipEffect::ShowInside);
    viewed.cloud->setClipVolumes(corner);
    viewed.cloud->reloadPoints(nullptr, 21);
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 3u);
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), 5u);
    // Hiding a box that holds r77 whole: r77 goes, the rest come.
    Render::ClipVolumes hole;
    hole.add(Math::OrientedBox(Math::Point<double, 3>(14, 14, 14), Eigen::Vector3d(2.5, 2.5, 2.5)),
             Render::ClipEffect::ShowOutside);
    viewed.cloud->setClipVolumes(hole);
    viewed.cloud->reloadPoints(nullptr, 21);
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 3u);
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), 7u);
}

// A cloud's first nodes are drawn as soon as they are read (the first picture of a store on a
// slow server waits for no update interval); after that a walk publishes at the interval and at
// its end. An interval of an hour leaves only those two moments.
TEST(PointCloudWalk, PublishesItsFirstNodeAtOnceAndTheRestAtTheEnd)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/first-picture", 2); // 1 + 8 + 64 nodes
    const ViewedCloud viewed(PointCloudRenderable::create(octree, "first picture", 10000000));
    viewed.cloud->setUpdateInterval(std::chrono::hours(1));
    // The first walk stops at level 1 (1 + 8 nodes), the second goes on to level 2.
    for (const auto& [maxLevel, published] : {std::pair{std::size_t{1}, std::vector<std::size_t>{1, 9}},
                                              std::pair{std::size_t{21}, std::vector<std::size_t>{73}}}) {
        std::vector<std::size_t> seen;
        viewed.cloud->reloadPoints([&] { seen.push_back(viewed.cloud->numVisibleOctreeNodes()); }, maxLevel);
        EXPECT_EQ(seen, published) << "walk to level " << maxLevel;
    }
}

TEST(PointCloudWalk, ADamagedNodeCostsOnlyItselfAndIsReportedAfterTheWalk)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/damaged", 2);
    octree->failReadsOf(OctreeNodeId::fromName("r3"));
    const ViewedCloud viewed(PointCloudRenderable::create(octree, "damaged", 10000000));
    int publications = 0;
    const std::string message = failureOf([&] { viewed.cloud->reloadPoints([&] { ++publications; }, 21); });
    EXPECT_EQ(message.rfind("Error loading point data: cannot read node r3", 0), 0u) << message;
    EXPECT_GE(publications, 2); // the root at once, and what could be read before the error
    // All 1 + 8 + 64 nodes but r3; its children are read.
    EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 72u);
}

TEST(PointCloudWalk, ADamagedHierarchyChunkCostsOnlyItsSubtree)
{
    const TestSupport::TemporaryFolder folder;
    const std::filesystem::path source = TestSupport::testStore("potree2/test1_4-brotli");
    for (const char* file : {"metadata.json", "octree.bin"})
        std::filesystem::copy_file(source / file, folder.path() / file);
    // The first proxy record of the first chunk names another chunk; its root record now claims
    // eight children, more than that chunk describes.
    std::string hierarchy = Core::readLocalFile(source / "hierarchy.bin");
    const nlohmann::json metadata = nlohmann::json::parse(Core::readLocalFile(source / "metadata.json"));
    const std::size_t firstChunk = metadata["hierarchy"]["firstChunkSize"];
    std::optional<std::uint64_t> proxied;
    for (std::size_t record = 0; record + 22 <= firstChunk && !proxied; record += 22) {
        if ((hierarchy[record] & 0x0F) == 2) {
            proxied.emplace();
            std::memcpy(&*proxied, hierarchy.data() + record + 6, 8);
        }
    }
    ASSERT_TRUE(proxied);
    hierarchy[*proxied + 1] = static_cast<char>(0xFF);
    folder.write("hierarchy.bin", hierarchy);

    const ViewedCloud viewed(open(folder.path()));
    const std::string message = failureOf([&] { viewed.cloud->reloadPoints(nullptr, 21); });
    EXPECT_NE(message.find("hierarchy.bin"), std::string::npos) << message;
    EXPECT_GT(viewed.cloud->numVisiblePoints(), 0u);
    EXPECT_LT(viewed.cloud->numVisiblePoints(), 1000u);
}

TEST(PointCloudWalk, AStoreThatVanishesKeepsWhatIsDrawnAndTheLoaderNamesTheFile)
{
    const TestSupport::TemporaryFolder folder;
    std::filesystem::copy(TestSupport::testStore("potree2/autzen_trim-brotli"), folder.path());
    const ViewedCloud viewed(open(folder.path()));
    viewed.cloud->reloadPoints(nullptr, 0); // the root only
    const std::size_t drawn = viewed.cloud->numVisiblePoints();
    ASSERT_GT(drawn, 0u);

    std::filesystem::remove(folder.path() / "octree.bin");
    viewed.cloud->startAsyncReload(nullptr, 21);
    EXPECT_TRUE(RenderTest::eventually([&] { return !viewed.cloud->isAsyncReloadHealthy(false); }));
    const std::string message = failureOf([&] { viewed.cloud->isAsyncReloadHealthy(true); });
    EXPECT_NE(message.find("octree.bin"), std::string::npos) << message;
    EXPECT_EQ(viewed.cloud->numVisiblePoints(), drawn);
    viewed.cloud->stopAsyncReload();
    EXPECT_TRUE(viewed.cloud->isAsyncReloadHealthy(true));
}

// A camera change restarts the background walk unless that is switched off: the camera first
// looks away from the cloud, so nothing loads until a walk runs for the view that sees it.
class CameraRestartTest : public ::testing::TestWithParam<bool> {};

TEST_P(CameraRestartTest, AViewChangeRestartsTheWalkOnlyWhenAsked)
{
    const bool restart = GetParam();
    ViewedCloud viewed(
        PointCloudRenderable::create(std::make_shared<FakeOctree>("/fake/restart", 2), "cloud", 10000000));
    const auto box = viewed.cloud->boundingBox();
    const Math::Point<float, 3> away = box.max() + Eigen::Vector3f(100.0f, 100.0f, 100.0f);
    viewed.camera->setPose(away, Eigen::Vector3f(1.0f, 0.0f, 0.0f), Eigen::Vector3f::UnitZ());
    viewed.cloud->onUpdateViewMatrix(viewed.camera);
    viewed.cloud->setRestartLoadingAfterCameraChange(restart);
    // The root is always loaded; nothing else is in view.
    viewed.cloud->startAsyncReload(nullptr, 21);
    ASSERT_TRUE(RenderTest::eventually([&] { return viewed.cloud->numVisibleOctreeNodes() == 1; }));

    RenderTest::lookDownAt(*viewed.camera, box);
    viewed.cloud->onUpdateViewMatrix(viewed.camera);
    if (restart) {
        EXPECT_TRUE(RenderTest::eventually([&] { return viewed.cloud->numVisibleOctreeNodes() == 73; }));
    } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(viewed.cloud->numVisibleOctreeNodes(), 1u);
    }
    viewed.cloud->stopAsyncReload();
}

INSTANTIATE_TEST_SUITE_P(RestartOrNot, CameraRestartTest, ::testing::Bool());

TEST(PointCloudSharing, CloudsOfOneStoreShareCachesColourAndBudget)
{
    const auto a = open(TestSupport::testStore("potree2/autzen_trim-brotli"), 30000);
    const auto b = open(TestSupport::testStore("potree2/autzen_trim-brotli"), 20000);
    const auto other = open(TestSupport::testStore("potree2/test1_4-brotli"), 20000);
    EXPECT_EQ(a->uniformColor(), b->uniformColor());
    EXPECT_NE(a->uniformColor(), other->uniformColor());
    const auto cache = PointCloudRenderable::createOrGetSharedVertexContainerCache(a->octree()->location(), 1.0, 1, 1);
    EXPECT_EQ(PointCloudRenderable::createOrGetSharedVertexContainerCache(b->octree()->location(), 1.0, 1, 1), cache);

    // One renderer: one budget for all, the smallest of theirs.
    const std::size_t renderer = RenderTest::freshRendererId();
    const ViewedCloud viewedA(a, renderer);
    const ViewedCloud viewedB(b, renderer);
    viewedA.cloud->reloadPoints(nullptr, 21);
    viewedB.cloud->reloadPoints(nullptr, 21);
    viewedA.cloud->reloadPoints(nullptr, 21);
    // Alone, a would load 30000 of the store's 110000 points.
    EXPECT_GT(a->numVisiblePoints(), 0u);
    EXPECT_LE(a->numVisiblePoints(), 20000u);
    EXPECT_GT(b->numVisiblePoints(), 0u);
    EXPECT_GT(cache->usedSize(), 0u);

    // A new unit scale empties the caches of the old one for every user.
    b->setUnitScale(1.0);
    EXPECT_GT(cache->usedSize(), 0u);
    b->setUnitScale(0.5);
    EXPECT_EQ(cache->usedSize(), 0u);
    EXPECT_FLOAT_EQ(b->pointSize(), static_cast<float>(b->spacing(0)) * 5.1f);
    EXPECT_DOUBLE_EQ(b->spacing(0), a->spacing(0) / 2.0);
}

TEST(PointCloudSettings, PrioritiesFollowLevelsDistanceModesAndTheView)
{
    const ViewedCloud viewed(
        PointCloudRenderable::create(std::make_shared<FakeOctree>("/fake/rating", 3), "cloud", 1000));
    PointCloudRenderable& cloud = *viewed.cloud;
    const auto cube = cloud.boundingCube(OctreeNodeId::fromName("r3"));
    const NodePriority inView = cloud.boundingBoxPriority(1, cube);
    EXPECT_GT(inView.priority(), 0.1f);

    cloud.setMinLevelToKeep(2);
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), NodePriority::keep());
    cloud.setMaxLevelToKeep(0); // beyond the deepest level wins over keeping
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), NodePriority::discard());
    cloud.setMaxLevelToKeep(23);
    cloud.setMinLevelToKeep(0);

    // Distance to a plane: only boxes that can hold a point in the colour-map range count.
    cloud.onUpdatePlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, 0.0f));
    cloud.onUpdateColorMapRange(0.0f, 0.5f);
    cloud.onUpdateRenderMode(Render::RenderMode::PlaneDistance);
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), NodePriority::discard()); // r3 lies 8 to 16 above
    cloud.onUpdateColorMapRange(7.0f, 9.0f);
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), inView);
    cloud.onUpdateRenderMode(Render::RenderMode::Default);

    // Clipping half-spaces: a box wholly outside one is not loaded; a ninth is refused and the
    // eight before stay.
    std::vector<Math::HalfSpace<float, 3>> halfSpaces(8, Math::HalfSpace<float, 3>(Eigen::Vector3f::UnitX(), 0.0f));
    halfSpaces[3] = Math::HalfSpace<float, 3>(-Eigen::Vector3f::UnitZ(), 4.0f); // keeps z <= 4
    cloud.setClippingVolume(halfSpaces);
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), NodePriority::discard());
    halfSpaces.push_back(halfSpaces.front());
    EXPECT_EQ(failureOf([&] { cloud.setClippingVolume(halfSpaces); }),
              "Error: volume contains too many clipping planes, plane count = 9");
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), NodePriority::discard());
    cloud.setClippingVolume({});
    EXPECT_EQ(cloud.boundingBoxPriority(1, cube), inView);
}

} // namespace

namespace {

// The proposal stretches the grey levels between two fractions of the loaded points to black and
// white: adjustBrightnessContrast(g) = contrast (g + brightness - 0.5) + 0.5 maps them to 0 and 1.
TEST(PointCloudSettings, BrightnessAndContrastStretchTheLoadedGreyLevels)
{
    const TestSupport::TemporaryFolder folder;
    std::vector<StorePoint> greys;
    for (int grey = 50; grey <= 150; ++grey) {
        const auto level = static_cast<std::uint8_t>(grey);
        greys.push_back({0.1 * (grey - 49), 1.0, 1.0, level, level, level});
    }
    TestSupport::writePotreeStore(folder.path(), {{"r", greys}});
    const ViewedCloud viewed(open(folder.path()));
    float brightness = -1.0f;
    float contrast = -1.0f;
    viewed.cloud->brightnessAndContrast(0.0f, 1.0f, brightness, contrast);
    EXPECT_EQ(std::pair(brightness, contrast), std::pair(0.0f, 1.0f)) << "nothing loaded yet";

    viewed.cloud->reloadPoints(nullptr, 21);
    struct Case {
        float lower, upper;
        int darkest, brightest; // the grey levels at the two fractions
    };
    for (const Case& c : {Case{0.0f, 1.0f, 50, 150}, Case{0.1f, 0.9f, 60, 140}}) {
        viewed.cloud->brightnessAndContrast(c.lower, c.upper, brightness, contrast);
        const float dark = c.darkest / 255.0f;
        const float bright = c.brightest / 255.0f;
        EXPECT_NEAR(contrast * (dark + brightness - 0.5f) + 0.5f, 0.0f, 1e-5f) << c.lower;
        EXPECT_NEAR(contrast * (bright + brightness - 0.5f) + 0.5f, 1.0f, 1e-5f) << c.upper;
    }
    viewed.cloud->brightnessAndContrast(0.45f, 0.55f, brightness, contrast);
    EXPECT_EQ(contrast, 4.0f) << "a narrow band is not stretched beyond four times";
    viewed.cloud->brightnessAndContrast(0.6f, 0.4f, brightness, contrast);
    EXPECT_EQ(std::pair(brightness, contrast), std::pair(0.0f, 1.0f));
}

} // namespace
