// The renderer as its scene sees it: which calls a recording scene gets for each setting and camera
// change, when a redraw is asked for, and what a frame does with the scene's background and bounds.
#include <lumaro/testsupport/render/RecordingRenderable.h>

#include <lumaro/render/core/Renderer.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/math/TriangleMesh.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Render::ColorMap;
using Render::ComPtr;
using Render::Renderer;
using Render::RenderMode;
using RenderTest::RecordingRenderable;
using testing::ElementsAre;
using testing::IsEmpty;

using Box = Math::NBoundingBox<float, 3>;
using Point = Math::Point<float, 3>;

class RendererTest : public ::testing::Test {
protected:
    std::shared_ptr<RecordingRenderable> makeScene(const std::string& name)
    {
        return std::make_shared<RecordingRenderable>(name, log);
    }

    // A scene that has received its hand-over, with log and redraw flag cleared.
    std::shared_ptr<RecordingRenderable> attachScene()
    {
        auto scene = makeScene("scene");
        renderer.setScene(scene);
        settle();
        return scene;
    }

    void settle()
    {
        renderer.camera()->setNeedsRedraw(false);
        log->clear();
    }

    bool redrawRequested() const { return renderer.camera()->needsRedraw(); }

    Math::Color emptyPixel()
    {
        Graphics::ColorImage image;
        renderer.getColorImage(image);
        return image.at(0, 0);
    }

    std::shared_ptr<std::vector<std::string>> log = std::make_shared<std::vector<std::string>>();
    Renderer renderer{false};
};

TEST_F(RendererTest, SetSceneReplaysFiveSettingsAfterInitialisingAndDeinitialisesTheOldScene)
{
    renderer.setRenderMode(RenderMode::TomographicBright);
    renderer.setTomographicColor(Math::Color(1, 2, 3, 4));
    renderer.setColorMap(ColorMap::Viridis);
    renderer.setUseSignedDistance(false);
    renderer.setColorMapRange(-2.0f, 8.0f);
    // Not handed over to a new scene:
    renderer.setPassFailDistanceRange(-1.0f, 1.0f);
    renderer.setWarnDistanceRange(-0.125f, 0.125f);
    renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(1, 0, 0, 5));
    renderer.setUseCloudColorsInTomographicRenderModes(true);
    renderer.camera()->setNeedsRedraw(false);

    auto first = makeScene("first");
    renderer.setScene(first);
    const std::string init = "first.init(" + std::to_string(renderer.id()) + ")";
    EXPECT_THAT(*log,
                ElementsAre(init, "first.renderMode(2)", "first.tomographicColor(1, 2, 3, 4)", "first.colorMap(3)",
                            "first.signedDistance(0)", "first.colorMapRange(-2, 8)"));
    EXPECT_EQ(first->initCamera, renderer.camera());
    EXPECT_EQ(first->initDevice.Get(), renderer.device().Get());
    EXPECT_EQ(renderer.scene(), first);
    EXPECT_FALSE(redrawRequested()) << "setScene does not ask for a redraw";
    EXPECT_EQ(renderer.minDistancePassFail(), -1.0f);

    log->clear();
    renderer.setScene(makeScene("second"));
    ASSERT_EQ(log->size(), 7u);
    EXPECT_EQ((*log)[0], "first.deinit");
    EXPECT_EQ((*log)[1].rfind("second.init(", 0), 0u);

    EXPECT_THROW(renderer.setScene(nullptr), std::invalid_argument);
}

TEST_F(RendererTest, EachSettingNotifiesTheSceneAndAsksForARedrawOnlyWhenItChanges)
{
    auto scene = attachScene();
    struct Case {
        std::function<void()> change;
        std::string notification;
    };
    const std::vector<Case> cases{
        {[&] { renderer.setRenderMode(RenderMode::Normal); }, "scene.renderMode(3)"},
        {[&] { renderer.setColorMap(ColorMap::CoolWarm); }, "scene.colorMap(11)"},
        {[&] { renderer.setColorMapRange(0.5f, 2.5f); }, "scene.colorMapRange(0.5, 2.5)"},
        {[&] { renderer.setPassFailDistanceRange(-3.0f, 4.0f); }, "scene.passFail(-3, 4)"},
        {[&] { renderer.setWarnDistanceRange(-1.5f, 1.25f); }, "scene.warn(-1.5, 1.25)"},
        {[&] { renderer.setUseSignedDistance(false); }, "scene.signedDistance(0)"},
        {[&] { renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0, 0, 1, -2)); },
         "scene.plane(0, 0, 1, -2)"},
        {[&] { renderer.setTomographicColor(Math::Color(9, 8, 7, 6)); }, "scene.tomographicColor(9, 8, 7, 6)"},
        {[&] { renderer.setUseCloudColorsInTomographicRenderModes(true); }, "scene.cloudColors(1)"},
        {[&] { renderer.setModelMatrix(Eigen::Affine3f(Eigen::Translation3f(4, 5, 6)).matrix()); },
         "scene.setMatrix(4, 5, 6)"},
        {[&] { renderer.setAutoAdjustZRange(true); }, "scene.projection"},
    };
    for (const Case& c : cases) {
        settle();
        c.change();
        EXPECT_THAT(*log, ElementsAre(c.notification));
        EXPECT_TRUE(redrawRequested()) << c.notification;
        settle();
        c.change();
        EXPECT_THAT(*log, IsEmpty()) << "repeated " << c.notification;
        EXPECT_FALSE(redrawRequested()) << "repeated " << c.notification;
    }
    EXPECT_EQ(renderer.renderMode(), RenderMode::Normal);
    EXPECT_EQ(renderer.colorMap(), ColorMap::CoolWarm);
    EXPECT_EQ(renderer.minDistanceWarn(), -1.5f);
    EXPECT_EQ(renderer.maxDistanceWarn(), 1.25f);
    EXPECT_EQ(renderer.tomographicColor(), Math::Color(9, 8, 7, 6));
    EXPECT_TRUE(renderer.autoAdjustZRangeEnabled());
}

TEST_F(RendererTest, AutomaticNearAndFarFollowTheSceneOnCameraChangesAndEveryFrame)
{
    auto scene = attachScene();
    renderer.setCameraPose(Point(0, 0, 10), Eigen::Vector3f(0, 0, -1), Eigen::Vector3f(0, 1, 0));
    renderer.setPerspective(60.0f, 0.5f, 50.0f, 0.0f, 0.0f);
    settle();
    renderer.render();
    EXPECT_THAT(*log, ElementsAre("scene.render")) << "off: near and far stay as set";
    float zNear = 0;
    float zFar = 0;
    renderer.getZRange(zNear, zFar);
    EXPECT_EQ(zNear, 0.5f);
    EXPECT_EQ(zFar, 50.0f);

    renderer.setAutoAdjustZRange(true);
    settle();
    // The box from −1 to 1 seen from z = 10 along −z: near 9, far 11.
    renderer.render();
    EXPECT_THAT(*log, ElementsAre("scene.zRange(9, 11)", "scene.render"));
    settle();
    scene->bounds = Box(Point(-2, -2, -3), Point(2, 2, 3));
    renderer.render();
    EXPECT_THAT(*log, ElementsAre("scene.zRange(7, 13)", "scene.render")) << "recomputed without camera change";

    settle();
    renderer.setCameraPose(Point(0, 0, 20), Eigen::Vector3f(0, 0, -1), Eigen::Vector3f(0, 1, 0));
    EXPECT_THAT(*log, ElementsAre("scene.zRange(17, 23)", "scene.view"));
    settle();
    renderer.setPerspective(30.0f, 0.5f, 50.0f, 0.0f, 0.0f);
    EXPECT_THAT(*log, ElementsAre("scene.zRange(17, 23)", "scene.projection"));
}

TEST_F(RendererTest, ViewportSizesWithoutPixelsOrBeyondTheTextureLimit)
{
    attachScene();
    renderer.setViewport(16, 8);
    settle();
    try {
        renderer.setViewport(16385, 8);
        ADD_FAILURE() << "no exception for a width of 16385";
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find("16385 x 8"), std::string::npos) << error.what();
    }
    EXPECT_EQ(renderer.viewport(), Render::Viewport(16, 8)) << "a refused size changes nothing";
    EXPECT_THAT(*log, IsEmpty());

    // A minimised window: zero width, nothing to read back, and no failure.
    renderer.setViewport(0, 8);
    renderer.render();
    Graphics::ColorImage image;
    renderer.getColorImage(image);
    EXPECT_EQ(image.width(), 0u);
    EXPECT_EQ(image.height(), 8u);
    EXPECT_EQ(image.sizeInBytes(), 0u);
    renderer.setViewport(16, 8);
    renderer.render();
    renderer.getColorImage(image);
    EXPECT_EQ(image.width(), 16u);
    EXPECT_TRUE(renderer.camera()->projectionMatrix().allFinite());
}

TEST_F(RendererTest, RenderDrawsTheVisibleSceneAndClearsTheRedrawFlag)
{
    auto scene = attachScene();
    renderer.setViewport(4, 4);
    renderer.render();
    EXPECT_FALSE(renderer.needsRedraw());
    scene->setNeedsRedraw(true);
    EXPECT_TRUE(renderer.needsRedraw()) << "the scene's own need counts";

    settle();
    scene->setVisible(false);
    renderer.render();
    EXPECT_THAT(*log, IsEmpty()) << "an invisible scene is not drawn";
}

TEST_F(RendererTest, TheScenePassIsClearedWithTheScenesBackgroundIfItHasOne)
{
    auto scene = attachScene();
    renderer.setViewport(4, 4);
    renderer.setBackgroundColor(10, 20, 30, 255);
    renderer.render();
    EXPECT_EQ(emptyPixel(), Math::Color(10, 20, 30, 255));

    scene->background = Math::Color(200, 100, 50, 255);
    renderer.render();
    EXPECT_EQ(emptyPixel(), Math::Color(200, 100, 50, 255));
    EXPECT_EQ(renderer.backgroundColor(), Math::Color(10, 20, 30, 255));
}

} // namespace
