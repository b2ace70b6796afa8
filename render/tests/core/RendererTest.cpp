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
using Render::RenderMode;
using Render::Renderer;
using testing::ElementsAre;
using testing::IsEmpty;

using Box = Math::NBoundingBox<float, 3>;
using Point = Math::Point<float, 3>;

// What the recording renderable saw of the pipeline while it was asked to draw.
struct PipelineSeen {
    unsigned renderTargets = 0;
    bool depthView = false;
    D3D11_BLEND_DESC blend{};
    bool blendStateSet = false;
    D3D11_DEPTH_STENCIL_DESC depth{};
    UINT stencilReference = 0;
    D3D11_RASTERIZER_DESC rasterizer{};
};

// Writes every call of the renderer into a shared log, with its arguments.
class RecordingRenderable : public Render::Renderable {
public:
    RecordingRenderable(std::string name, std::shared_ptr<std::vector<std::string>> log)
        : Renderable(std::move(name)), log_(std::move(log))
    {
    }

    void init(std::size_t rendererId, std::shared_ptr<Render::Camera> camera, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override
    {
        record("init", rendererId);
        initCamera = camera;
        initDevice = device;
        context_ = context;
    }
    void deinit() override { record("deinit"); }
    void onUpdateProjectionMatrix(const std::shared_ptr<Render::Camera>&) override { record("projection"); }
    void onUpdateViewMatrix(const std::shared_ptr<Render::Camera>&) override { record("view"); }
    void onUpdateZRange(const std::shared_ptr<Render::Camera>& camera) override
    {
        record("zRange", camera->zNear(), camera->zFar());
    }
    void onUpdateViewport(const std::shared_ptr<Render::Camera>& camera) override
    {
        record("viewport", camera->viewport().width(), camera->viewport().height());
    }
    void onUpdateRenderMode(RenderMode mode) override { record("renderMode", static_cast<int>(mode)); }
    void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh) override
    {
        record("mesh", mesh.get());
    }
    void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane) override
    {
        // + 0.0f prints a negative zero as 0.
        record("plane", plane.normal().x(), plane.normal().y(), plane.normal().z(), plane.offset() + 0.0f);
    }
    void onUpdateColorMap(ColorMap map) override { record("colorMap", static_cast<int>(map)); }
    void onUpdateUseSignedDistance(bool flag) override { record("signedDistance", flag); }
    void onUpdateColorMapRange(float low, float high) override { record("colorMapRange", low, high); }
    void onUpdatePassFailDistanceRange(float low, float high) override { record("passFail", low, high); }
    void onUpdateWarnDistanceRange(float low, float high) override { record("warn", low, high); }
    void onUpdateTomographicColor(const Math::Color& color) override
    {
        record("tomographicColor", int(color.r()), int(color.g()), int(color.b()), int(color.a()));
    }
    void onUpdateUseCloudColorsInTomographicRenderModes(bool flag) override { record("cloudColors", flag); }
    void setMatrix(const Eigen::Matrix4f& matrix) override
    {
        record("setMatrix", matrix(0, 3), matrix(1, 3), matrix(2, 3));
        Renderable::setMatrix(matrix);
    }

    void render() override
    {
        record("render");
        observePipeline();
        Renderable::render();
    }

    std::optional<Math::Color> backgroundColor() override { return background; }
    bool isTransparent() const override { return transparent; }
    void brightnessAndContrast(float low, float high, float& brightness, float& contrast) override
    {
        record("brightnessAndContrast", low, high, brightness, contrast);
        brightness = 0.25f;
        contrast = 1.5f;
    }
    Box boundingBox() override { return bounds; }

    std::optional<Math::Color> background;
    bool transparent = false;
    Box bounds{Point(-1, -1, -1), Point(1, 1, 1)};
    std::shared_ptr<Render::Camera> initCamera;
    ComPtr<ID3D11Device> initDevice;
    PipelineSeen seen;

private:
    template <class... Values>
    void record(const std::string& call, const Values&... values)
    {
        std::ostringstream text;
        text << name() << "." << call;
        [[maybe_unused]] const char* separator = "(";
        ((text << separator << values, separator = ", "), ...);
        if constexpr (sizeof...(Values) > 0)
            text << ")";
        log_->push_back(text.str());
    }

    void observePipeline()
    {
        ID3D11DeviceContext* context = context_.Get();
        ID3D11RenderTargetView* views[D3D11_SIMULTANEOUS_RENDER_TARGET_COUNT] = {};
        ID3D11DepthStencilView* depthView = nullptr;
        context->OMGetRenderTargets(D3D11_SIMULTANEOUS_RENDER_TARGET_COUNT, views, &depthView);
        seen = {};
        for (ID3D11RenderTargetView* view : views) {
            if (view) {
                ++seen.renderTargets;
                view->Release();
            }
        }
        seen.depthView = depthView != nullptr;
        if (depthView)
            depthView->Release();

        ComPtr<ID3D11BlendState> blend;
        float factor[4];
        UINT mask = 0;
        context->OMGetBlendState(&blend, factor, &mask);
        seen.blendStateSet = blend != nullptr;
        if (blend)
            blend->GetDesc(&seen.blend);
        ComPtr<ID3D11DepthStencilState> depth;
        context->OMGetDepthStencilState(&depth, &seen.stencilReference);
        if (depth)
            depth->GetDesc(&seen.depth);
        ComPtr<ID3D11RasterizerState> rasterizer;
        context->RSGetState(&rasterizer);
        if (rasterizer)
            rasterizer->GetDesc(&seen.rasterizer);
    }

    std::shared_ptr<std::vector<std::string>> log_;
    ComPtr<ID3D11DeviceContext> context_;
};

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

TEST_F(RendererTest, StartsWithTheDocumentedSettings)
{
    EXPECT_EQ(renderer.renderMode(), RenderMode::Default);
    EXPECT_EQ(renderer.colorMap(), ColorMap::Turbo);
    EXPECT_EQ(renderer.minDistance(), 0.0f);
    EXPECT_EQ(renderer.maxDistance(), 1.0f);
    EXPECT_EQ(renderer.minDistancePassFail(), -0.5f);
    EXPECT_EQ(renderer.maxDistancePassFail(), 0.5f);
    EXPECT_EQ(renderer.minDistanceWarn(), -0.25f);
    EXPECT_EQ(renderer.maxDistanceWarn(), 0.25f);
    EXPECT_TRUE(renderer.useSignedDistance());
    EXPECT_EQ(renderer.tomographicColor(), Math::Color(0, 0, 0, 255));
    EXPECT_FALSE(renderer.useCloudColorsInTomographicRenderModes());
    EXPECT_FALSE(renderer.hasMeshForDistanceColorization());
    EXPECT_EQ(renderer.brightness(), 0.0f);
    EXPECT_EQ(renderer.contrast(), 1.0f);
    EXPECT_EQ(renderer.opacity(), 1.0f);
    EXPECT_EQ(renderer.backgroundColor(), Math::Color(255, 255, 255, 255));
    EXPECT_FALSE(renderer.autoAdjustZRangeEnabled());
    EXPECT_EQ(renderer.scene(), nullptr);
    EXPECT_EQ(renderer.viewport().width(), 640u);
    EXPECT_EQ(renderer.viewport().height(), 480u);
    EXPECT_NE(renderer.device(), nullptr);
    EXPECT_GE(renderer.device()->GetFeatureLevel(), D3D_FEATURE_LEVEL_11_0);

    // The orthographic projection of extent 2 × 2 from −1 to 1: z maps by 1/(n − f) = −0.5 and
    // n/(n − f) = 0.5.
    EXPECT_TRUE(renderer.isOrthographic());
    EXPECT_FALSE(renderer.isPerspective());
    const Eigen::Matrix4f& projection = renderer.projectionMatrix();
    EXPECT_FLOAT_EQ(projection(0, 0), 1.0f);
    EXPECT_FLOAT_EQ(projection(1, 1), 1.0f);
    EXPECT_FLOAT_EQ(projection(2, 2), -0.5f);
    EXPECT_FLOAT_EQ(projection(2, 3), 0.5f);
    float zNear = 0;
    float zFar = 0;
    renderer.getZRange(zNear, zFar);
    EXPECT_EQ(zNear, -1.0f);
    EXPECT_EQ(zFar, 1.0f);
    EXPECT_TRUE(renderer.needsRedraw()) << "nothing has been drawn yet";

    Renderer second(true);
    EXPECT_EQ(second.id(), renderer.id() + 1);
}

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
    EXPECT_THAT(*log, ElementsAre(init, "first.renderMode(2)", "first.tomographicColor(1, 2, 3, 4)",
                                  "first.colorMap(3)", "first.signedDistance(0)", "first.colorMapRange(-2, 8)"));
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

TEST_F(RendererTest, TheColorizationMeshIsComparedByIdentityNotByContent)
{
    attachScene();
    const std::vector<Point> vertices{Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0)};
    const std::vector<Math::TriangleMesh<float>::Triangle> triangles{{0, 1, 2}};
    auto mesh = std::make_shared<Math::TriangleMesh<float>>(vertices, triangles);
    auto twin = std::make_shared<Math::TriangleMesh<float>>(vertices, triangles);
    std::ostringstream meshName;
    meshName << "scene.mesh(" << mesh.get() << ")";
    std::ostringstream twinName;
    twinName << "scene.mesh(" << twin.get() << ")";

    renderer.setMeshForDistanceColorization(mesh);
    EXPECT_TRUE(renderer.hasMeshForDistanceColorization());
    renderer.setMeshForDistanceColorization(mesh);
    renderer.setMeshForDistanceColorization(twin);
    EXPECT_THAT(*log, ElementsAre(meshName.str(), twinName.str()));
    settle();
    renderer.setMeshForDistanceColorization(twin);
    EXPECT_FALSE(redrawRequested());
    renderer.setMeshForDistanceColorization(nullptr);
    EXPECT_FALSE(renderer.hasMeshForDistanceColorization());
    EXPECT_TRUE(redrawRequested());
}

TEST_F(RendererTest, RangesCountAsChangedWhenEitherEndChanges)
{
    attachScene();
    // Starting from (0, 1), (-0.5, 0.5) and (-0.25, 0.25): the upper end alone, then the lower end alone.
    renderer.setColorMapRange(0.0f, 2.0f);
    renderer.setPassFailDistanceRange(-0.5f, 0.75f);
    renderer.setWarnDistanceRange(-0.25f, 0.5f);
    renderer.setColorMapRange(1.0f, 2.0f);
    renderer.setPassFailDistanceRange(-1.0f, 0.75f);
    renderer.setWarnDistanceRange(-0.5f, 0.5f);
    EXPECT_THAT(*log, ElementsAre("scene.colorMapRange(0, 2)", "scene.passFail(-0.5, 0.75)", "scene.warn(-0.25, 0.5)",
                                  "scene.colorMapRange(1, 2)", "scene.passFail(-1, 0.75)", "scene.warn(-0.5, 0.5)"));
}

TEST_F(RendererTest, PostProcessSettingsAskForARedrawWithoutNotifyingTheScene)
{
    attachScene();
    renderer.setBrightness(0.25f);
    EXPECT_TRUE(redrawRequested());
    settle();
    renderer.setBrightness(0.25f);
    EXPECT_FALSE(redrawRequested());
    renderer.setContrast(3.0f);
    EXPECT_TRUE(redrawRequested());
    settle();
    renderer.setContrast(3.0f);
    EXPECT_FALSE(redrawRequested());
    renderer.setOpacity(0.5f);
    EXPECT_TRUE(redrawRequested());
    settle();
    renderer.setOpacity(0.5f);
    renderer.setBackgroundColor(255, 255, 255, 255);
    EXPECT_FALSE(redrawRequested());
    renderer.setBackgroundColor(Math::Color(0, 0, 0, 255));
    EXPECT_TRUE(redrawRequested());
    EXPECT_THAT(*log, IsEmpty());
    EXPECT_EQ(renderer.brightness(), 0.25f);
    EXPECT_EQ(renderer.contrast(), 3.0f);
    EXPECT_EQ(renderer.opacity(), 0.5f);
    EXPECT_EQ(renderer.backgroundColor(), Math::Color(0, 0, 0, 255));
}

TEST_F(RendererTest, ColorizationRangeSetsThePlaneThroughFromAndTheLengthAsRange)
{
    attachScene();
    renderer.setColorizationRange(Point(1, 2, 3), Point(1, 2, 7), ColorMap::Gray);
    // Normal (0, 0, 1), offset −(n · from) = −3; the distance from `from` to `to` is 4.
    EXPECT_THAT(*log, ElementsAre("scene.plane(0, 0, 1, -3)", "scene.colorMapRange(0, 4)"));
    EXPECT_EQ(renderer.colorMap(), ColorMap::Turbo) << "the map argument is not used";
    EXPECT_TRUE(redrawRequested());

    settle();
    renderer.setColorizationRange(Point(5, 5, 5), Point(5, 5, 5), ColorMap::Bone);
    EXPECT_THAT(*log, ElementsAre("scene.plane(0, 0, 0, 0)", "scene.colorMapRange(0, 0)"));
    EXPECT_EQ(renderer.minDistance(), 0.0f);
    EXPECT_EQ(renderer.maxDistance(), 0.0f);

    settle();
    renderer.setColorizationRange(Point(5, 5, 5), Point(5, 5, 5), ColorMap::Bone);
    EXPECT_THAT(*log, IsEmpty());
    EXPECT_TRUE(redrawRequested()) << "the ramp itself always asks for a redraw";
}

TEST_F(RendererTest, BrightnessAndContrastComeFromTheScene)
{
    // Without a scene the current values stay, whatever they are.
    renderer.setBrightness(0.3f);
    renderer.setContrast(2.0f);
    renderer.autoAdjustBrightnessAndContrast(0.0f, 1.0f);
    EXPECT_EQ(renderer.brightness(), 0.3f);
    EXPECT_EQ(renderer.contrast(), 2.0f);

    attachScene();
    renderer.setBrightness(0.75f);
    settle();
    renderer.autoAdjustBrightnessAndContrast(2.0f, 3.0f);
    // The scene is asked with the preset values 0 and 1, not the current ones.
    EXPECT_THAT(*log, ElementsAre("scene.brightnessAndContrast(2, 3, 0, 1)"));
    EXPECT_EQ(renderer.brightness(), 0.25f);
    EXPECT_EQ(renderer.contrast(), 1.5f);
    EXPECT_TRUE(redrawRequested());
}

TEST_F(RendererTest, CameraChangesNotifyOnlyWhenTheMatrixChanges)
{
    attachScene();
    const Eigen::Matrix4f view = Eigen::Affine3f(Eigen::Translation3f(0, 0, -5)).matrix();
    renderer.setViewMatrix(view);
    EXPECT_THAT(*log, ElementsAre("scene.view"));
    EXPECT_TRUE(redrawRequested());
    settle();
    renderer.setViewMatrix(view);
    renderer.setCameraPose(Point(0, 0, 5), Eigen::Vector3f(0, 0, -1), Eigen::Vector3f(0, 1, 0));
    EXPECT_THAT(*log, IsEmpty()) << "the same pose as the view matrix";
    EXPECT_FALSE(redrawRequested());

    renderer.setPerspective(45.0f, 0.1f, 100.0f, 0.0f, 0.0f);
    EXPECT_THAT(*log, ElementsAre("scene.projection"));
    EXPECT_TRUE(renderer.isPerspective());
    settle();
    renderer.setPerspective(45.0f, 0.1f, 100.0f, 0.0f, 0.0f);
    EXPECT_THAT(*log, IsEmpty());
    EXPECT_FALSE(redrawRequested());

    // Near and far from the box: looking down −z from z = 5 at a box from −1 to 1 gives 4 and 6.
    renderer.setZNearAndFarViaBoundingBox(Box(Point(-1, -1, -1), Point(1, 1, 1)));
    EXPECT_THAT(*log, ElementsAre("scene.projection"));
    float zNear = 0;
    float zFar = 0;
    renderer.getZRange(zNear, zFar);
    EXPECT_FLOAT_EQ(zNear, 4.0f);
    EXPECT_FLOAT_EQ(zFar, 6.0f);
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

TEST_F(RendererTest, ViewportChangesRecreateTheTargetsOnlyForANewSize)
{
    attachScene();
    renderer.setViewport(640, 480);
    EXPECT_THAT(*log, IsEmpty());
    EXPECT_FALSE(redrawRequested());

    renderer.setViewport(32, 16);
    EXPECT_THAT(*log, ElementsAre("scene.viewport(32, 16)", "scene.projection"));
    EXPECT_TRUE(redrawRequested());
    EXPECT_DOUBLE_EQ(renderer.aspectRatio(), 2.0);
    renderer.render();
    Graphics::ColorImage image;
    renderer.getColorImage(image);
    EXPECT_EQ(image.width(), 32u);
    EXPECT_EQ(image.height(), 16u);

    // setOrthographic with a vertical extent takes the horizontal one from the aspect ratio.
    renderer.setOrthographic(3.0f, -1.0f, 1.0f);
    EXPECT_FLOAT_EQ(renderer.projectionMatrix()(0, 0), 2.0f / 6.0f);
    EXPECT_FLOAT_EQ(renderer.projectionMatrix()(1, 1), 2.0f / 3.0f);
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

TEST_F(RendererTest, AnOpaqueSceneIsDrawnIntoThreeTargetsWithDepthWrites)
{
    auto scene = attachScene();
    renderer.setViewport(4, 4);
    renderer.render();
    const PipelineSeen& seen = scene->seen;
    EXPECT_EQ(seen.renderTargets, 3u);
    EXPECT_TRUE(seen.depthView);
    EXPECT_TRUE(seen.depth.DepthEnable);
    EXPECT_EQ(seen.depth.DepthWriteMask, D3D11_DEPTH_WRITE_MASK_ALL);
    EXPECT_EQ(seen.depth.DepthFunc, D3D11_COMPARISON_LESS);
    EXPECT_EQ(seen.stencilReference, 1u);
    EXPECT_EQ(seen.rasterizer.FillMode, D3D11_FILL_SOLID);
    EXPECT_EQ(seen.rasterizer.CullMode, D3D11_CULL_NONE);
    EXPECT_TRUE(seen.rasterizer.DepthClipEnable);
}

TEST_F(RendererTest, ATransparentSceneBlendsColourBySourceAlphaAndLeavesDepthUnwritten)
{
    auto scene = attachScene();
    scene->transparent = true;
    renderer.setViewport(4, 4);
    renderer.render();
    const PipelineSeen& seen = scene->seen;
    ASSERT_TRUE(seen.blendStateSet);
    const D3D11_RENDER_TARGET_BLEND_DESC& color = seen.blend.RenderTarget[0];
    EXPECT_TRUE(color.BlendEnable);
    EXPECT_EQ(color.SrcBlend, D3D11_BLEND_SRC_ALPHA);
    EXPECT_EQ(color.DestBlend, D3D11_BLEND_INV_SRC_ALPHA);
    EXPECT_EQ(color.BlendOp, D3D11_BLEND_OP_ADD);
    EXPECT_EQ(color.SrcBlendAlpha, D3D11_BLEND_ONE);
    EXPECT_EQ(color.DestBlendAlpha, D3D11_BLEND_ZERO);
    EXPECT_EQ(color.RenderTargetWriteMask, D3D11_COLOR_WRITE_ENABLE_ALL);
    EXPECT_TRUE(seen.blend.IndependentBlendEnable);
    EXPECT_FALSE(seen.blend.AlphaToCoverageEnable);
    for (int target = 1; target < 3; ++target) {
        EXPECT_FALSE(seen.blend.RenderTarget[target].BlendEnable) << "world positions are overwritten";
        EXPECT_EQ(seen.blend.RenderTarget[target].RenderTargetWriteMask, D3D11_COLOR_WRITE_ENABLE_ALL);
    }
    EXPECT_TRUE(seen.depth.DepthEnable);
    EXPECT_EQ(seen.depth.DepthWriteMask, D3D11_DEPTH_WRITE_MASK_ZERO);

    // The post-process pass after it writes without blending, whatever the scene used.
    Render::ComPtr<ID3D11BlendState> afterFrame;
    float factor[4] = {};
    UINT sampleMask = 0;
    renderer.deviceContext()->OMGetBlendState(&afterFrame, factor, &sampleMask);
    ASSERT_TRUE(afterFrame);
    D3D11_BLEND_DESC output{};
    afterFrame->GetDesc(&output);
    EXPECT_FALSE(output.RenderTarget[0].BlendEnable);
    EXPECT_EQ(sampleMask, 0xffffffffu);
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

TEST(RendererReversedDepth, OpaqueScenesKeepTheGreaterDepth)
{
    auto log = std::make_shared<std::vector<std::string>>();
    Renderer renderer(true);
    auto scene = std::make_shared<RecordingRenderable>("scene", log);
    renderer.setScene(scene);
    renderer.setViewport(4, 4);
    renderer.render();
    EXPECT_EQ(scene->seen.depth.DepthFunc, D3D11_COMPARISON_GREATER_EQUAL);
    EXPECT_EQ(scene->seen.depth.DepthWriteMask, D3D11_DEPTH_WRITE_MASK_ALL);
}

TEST_F(RendererTest, DestructionDeinitialisesTheScene)
{
    auto scene = makeScene("kept");
    {
        Renderer local(false);
        local.setScene(scene);
        log->clear();
    }
    EXPECT_THAT(*log, ElementsAre("kept.deinit"));
    EXPECT_EQ(scene.use_count(), 1);
}

} // namespace
