// The panorama's loading thread without a device: which tile it loads next, its states, stops
// and restarts, with a loader that records what it was asked for.
#include <lumaro/render/renderables/PanoRenderable.h>

#include <lumaro/render/core/Camera.h>

#include <lumaro/graphics/GeneratedPanoramaLoader.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <d3d11.h> // the null device pointers handed to init are COM pointers there
#endif

namespace {

using Graphics::PanoramaLoader;
using Render::PanoRenderable;
using State = Core::JobState;

// One row of two tiles: tile 0 lies towards +y, tile 1 towards -y; two colour and two depth levels.
class RecordingLoader : public Graphics::GeneratedPanoramaLoader {
public:
    explicit RecordingLoader(std::size_t failAt = 0)
        : GeneratedPanoramaLoader(
              {Graphics::ProjectionKind::Equirectangular, 1, 2, {{4, 4}, {8, 8}}, 2, 2},
              [](TileId) { return Math::Color::white(); }, [](TileId) { return 1.0f; }),
          mFailAt(failAt)
    {}

    Graphics::ColorImage loadColorTile(TileId tile) override
    {
        record("C", tile);
        return GeneratedPanoramaLoader::loadColorTile(tile);
    }
    Graphics::DepthImage loadDepthTile(TileId tile) override
    {
        record("D", tile);
        return GeneratedPanoramaLoader::loadDepthTile(tile);
    }

    std::vector<std::string> calls() const
    {
        const std::lock_guard lock(mMutex);
        return mCalls;
    }

private:
    void record(const char* kind, TileId tile)
    {
        const std::lock_guard lock(mMutex);
        mCalls.push_back(kind + std::to_string(level(tile)) + "." + std::to_string(tileIndexWithinLevel(tile)));
        if (mCalls.size() == mFailAt)
            throw std::runtime_error("cannot read tile");
    }

    std::size_t mFailAt;
    mutable std::mutex mMutex;
    std::vector<std::string> mCalls;
};

std::shared_ptr<Render::Camera> lookingAlong(const Eigen::Vector3f& direction)
{
    auto camera = std::make_shared<Render::Camera>(false);
    camera->setPose(Math::Point<float, 3>(0, 0, 0), direction, Eigen::Vector3f::UnitZ());
    return camera;
}

TEST(PanoLoading, CoarseLevelsFirstThenTheTilesFacingTheViewColourBeforeDepth)
{
    struct Case {
        Eigen::Vector3f view;
        std::vector<std::string> order;
    };
    // Looking along -y faces tile 1; along +x both tiles are equally far off: the list order holds,
    // colour first.
    for (const Case& c :
         {Case{-Eigen::Vector3f::UnitY(), {"C0.1", "D0.1", "C0.0", "D0.0", "C1.1", "D1.1", "C1.0", "D1.0"}},
          Case{Eigen::Vector3f::UnitY(), {"C0.0", "D0.0", "C0.1", "D0.1", "C1.0", "D1.0", "C1.1", "D1.1"}},
          Case{Eigen::Vector3f::UnitX(), {"C0.0", "C0.1", "D0.0", "D0.1", "C1.0", "C1.1", "D1.0", "D1.1"}}}) {
        const auto loader = std::make_shared<RecordingLoader>();
        const auto pano = PanoRenderable::create(loader, "pano");
        pano->init(0, lookingAlong(c.view), nullptr, nullptr);
        EXPECT_EQ(pano->loadPanoramaTiles(), State::Finished);
        EXPECT_TRUE(pano->isLoadingComplete());
        EXPECT_EQ(loader->calls(), c.order) << c.view.transpose();
    }

    // Turned by its world matrix a quarter turn about z, the panorama's tile 1 (-y) lies along +x.
    const auto loader = std::make_shared<RecordingLoader>();
    const auto pano = PanoRenderable::create(loader, "pano");
    Eigen::Matrix4f turned = Eigen::Matrix4f::Identity();
    turned.topLeftCorner<2, 2>() << 0, -1, 1, 0;
    pano->setMatrix(turned);
    pano->init(0, lookingAlong(Eigen::Vector3f::UnitX()), nullptr, nullptr);
    pano->loadPanoramaTiles();
    EXPECT_EQ(loader->calls().front(), "C0.1");
}

TEST(PanoLoading, StatesOfMissingFailingStoppedAndRestartedLoaders)
{
    const auto none = PanoRenderable::create(nullptr, "none");
    EXPECT_EQ(none->loadingState(), State::NotStarted);
    EXPECT_EQ(none->loadPanoramaTiles(), State::Failed);
    none->render(); // nothing to draw, no error

    // A failure keeps what arrived before it.
    const auto failing = std::make_shared<RecordingLoader>(3);
    const auto broken = PanoRenderable::create(failing, "broken");
    broken->init(0, lookingAlong(Eigen::Vector3f::UnitX()), nullptr, nullptr);
    EXPECT_EQ(broken->loadPanoramaTiles(), State::Failed);
    EXPECT_EQ(failing->calls().size(), 3u);
    // Waiting for a load that fails ends with it.
    const auto failingLater = PanoRenderable::create(std::make_shared<RecordingLoader>(2), "failing later");
    failingLater->init(0, lookingAlong(Eigen::Vector3f::UnitX()), nullptr, nullptr);
    failingLater->startAsyncPanoramaTilesLoading(nullptr);
    failingLater->waitForLoadingComplete();
    EXPECT_EQ(failingLater->loadingState(), State::Failed);

    // A slow asynchronous load, stopped after its first tile; stopping again does nothing.
    const auto loader = std::make_shared<RecordingLoader>();
    const auto pano = PanoRenderable::create(loader, "pano");
    pano->init(0, lookingAlong(Eigen::Vector3f::UnitX()), nullptr, nullptr);
    pano->stopAsyncPanoramaTilesLoading();
    std::atomic<int> tiles{0};
    pano->startAsyncPanoramaTilesLoading([&] {
        ++tiles;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    });
    while (tiles == 0)
        std::this_thread::yield();
    pano->stopAsyncPanoramaTilesLoading();
    EXPECT_EQ(pano->loadingState(), State::Stopped);
    EXPECT_FALSE(pano->isLoadingComplete());
    EXPECT_LT(loader->calls().size(), 8u);
    pano->stopAsyncPanoramaTilesLoading();

    // A second start replaces the first; the last one loads every tile again.
    pano->startAsyncPanoramaTilesLoading(nullptr);
    pano->startAsyncPanoramaTilesLoading(nullptr);
    pano->waitForLoadingComplete();
    EXPECT_EQ(pano->loadingState(), State::Finished);
    EXPECT_GE(loader->calls().size(), 8u + tiles.load());
}

} // namespace
