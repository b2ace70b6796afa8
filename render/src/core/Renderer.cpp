#include <lumaro/render/core/Renderer.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <lumaro/math/TriangleMesh.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

namespace Render {

namespace {

// Frames are drawn at the viewport's size before the camera has one set by the host.
constexpr unsigned initialWidth = 640;
constexpr unsigned initialHeight = 480;
constexpr unsigned allSamples = 0xffffffff;
constexpr unsigned stencilReference = 1;

// The descriptions start from Direct3D's documented defaults (the CD3D11_* helpers of d3d11.h).
D3D11_BLEND_DESC alphaBlendDesc()
{
    CD3D11_BLEND_DESC desc(CD3D11_DEFAULT{});
    desc.IndependentBlendEnable = TRUE;
    // Only the colour target blends; world positions are overwritten by whatever is drawn last.
    D3D11_RENDER_TARGET_BLEND_DESC& color = desc.RenderTarget[0];
    color.BlendEnable = TRUE;
    color.SrcBlend = D3D11_BLEND_SRC_ALPHA;
    color.DestBlend = D3D11_BLEND_INV_SRC_ALPHA;
    return desc;
}

D3D11_BLEND_DESC opaqueBlendDesc()
{
    return CD3D11_BLEND_DESC(CD3D11_DEFAULT{});
}

// Weighted splats add up: colour times weight, and the weight in alpha.
D3D11_BLEND_DESC additiveBlendDesc()
{
    CD3D11_BLEND_DESC desc(CD3D11_DEFAULT{});
    D3D11_RENDER_TARGET_BLEND_DESC& sums = desc.RenderTarget[0];
    sums.BlendEnable = TRUE;
    sums.SrcBlend = D3D11_BLEND_ONE;
    sums.DestBlend = D3D11_BLEND_ONE;
    sums.SrcBlendAlpha = D3D11_BLEND_ONE;
    sums.DestBlendAlpha = D3D11_BLEND_ONE;
    return desc;
}

// Writes no colour target: drawing with it fills the depth buffer alone.
D3D11_BLEND_DESC depthOnlyBlendDesc()
{
    CD3D11_BLEND_DESC desc(CD3D11_DEFAULT{});
    desc.RenderTarget[0].RenderTargetWriteMask = 0;
    return desc;
}

D3D11_RASTERIZER_DESC rasterizerDesc()
{
    CD3D11_RASTERIZER_DESC desc(CD3D11_DEFAULT{});
    desc.CullMode = D3D11_CULL_NONE;
    return desc;
}

// Width and height come with each texture; one mip level, one slice, CPU-readable.
D3D11_TEXTURE2D_DESC stagingDesc(DXGI_FORMAT format)
{
    return CD3D11_TEXTURE2D_DESC(format, 0, 0, 1, 1, 0, D3D11_USAGE_STAGING, D3D11_CPU_ACCESS_READ);
}

} // namespace

Renderer::Renderer(bool isZBufferReversed)
    : camera_(std::make_shared<Camera>(isZBufferReversed)),
      scenePass_(nullptr, initialWidth, initialHeight),
      outputPass_(nullptr, initialWidth, initialHeight)
{
    // No feature-level list: the runtime tries its own default levels, and we check the result.
    throwIfFailed(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                                    &device_, nullptr, &deviceContext_));
    if (device_->GetFeatureLevel() < D3D_FEATURE_LEVEL_11_0)
        throw std::runtime_error("needs at least a DirectX 11.0 graphics card");

    setOrthographic(2.0f, 2.0f, -1.0f, 1.0f);
    setBackgroundColor(255, 255, 255, 255);

    const auto width = static_cast<unsigned>(viewport().width());
    const auto height = static_cast<unsigned>(viewport().height());
    scenePass_ = RenderPass(device_, width, height);
    scenePass_.addDepthBuffer(D3D11_CLEAR_DEPTH, camera_->clearDepthValue(), 0);
    scenePass_.addRenderTarget("color", DXGI_FORMAT_B8G8R8A8_UNORM);
    scenePass_.addRenderTarget("worldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    scenePass_.addRenderTarget("exactWorldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    scenePass_.setClearValue("worldPosition", 0.0f, 0.0f, 0.0f, 0.0f);
    scenePass_.setClearValue("exactWorldPosition", 0.0f, 0.0f, 0.0f, 0.0f);
    outputPass_ = RenderPass(device_, width, height);
    outputPass_.addRenderTarget("color", DXGI_FORMAT_B8G8R8A8_UNORM);
    outputPass_.addRenderTarget("worldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    outputPass_.setClearValue("worldPosition", 0.0f, 0.0f, 0.0f, 0.0f);

    const bool reversed = camera_->isZBufferReversed();
    depthWriteState_ = DepthStencilState(device_.Get(), reversed, true, true);
    depthReadOnlyState_ = DepthStencilState(device_.Get(), reversed, true, false);
    alphaBlendState_ = BlendState(device_.Get(), alphaBlendDesc());
    opaqueBlendState_ = BlendState(device_.Get(), opaqueBlendDesc());
    additiveBlendState_ = BlendState(device_.Get(), additiveBlendDesc());
    depthOnlyBlendState_ = BlendState(device_.Get(), depthOnlyBlendDesc());
    rasterizerState_ = RasterizerState(device_.Get(), rasterizerDesc());

    createStagingTextures(viewport().width(), viewport().height());
    postProcess_ = PostProcess(device_);
}

Renderer::~Renderer()
{
    if (scene_)
        scene_->deinit();
    forgetLoadingSettings(id());
}

void Renderer::createStagingTextures(std::size_t width, std::size_t height)
{
    // A texture of zero width or height stays empty instead of failing.
    const auto w = static_cast<unsigned>(width);
    const auto h = static_cast<unsigned>(height);
    colorStaging_ = Texture2d(device_.Get(), stagingDesc(DXGI_FORMAT_B8G8R8A8_UNORM), w, h, 1);
    depthStaging_ = Texture2d(device_.Get(), stagingDesc(DXGI_FORMAT_D32_FLOAT), w, h, 1);
    worldPositionStaging_ = Texture2d(device_.Get(), stagingDesc(DXGI_FORMAT_R32G32B32A32_FLOAT), w, h, 1);
    exactWorldPositionStaging_ = Texture2d(device_.Get(), stagingDesc(DXGI_FORMAT_R32G32B32A32_FLOAT), w, h, 1);
}

void Renderer::setScene(std::shared_ptr<Renderable> scene)
{
    if (!scene)
        throw std::invalid_argument("Renderer::setScene: the scene must not be empty");
    if (scene_)
        scene_->deinit();
    scene_ = std::move(scene);
    scene_->init(id(), camera_, device_, deviceContext_);
    scene_->onUpdateRenderMode(renderMode_);
    scene_->onUpdateTomographicColor(tomographicColor_);
    scene_->onUpdateColorMap(colorMap_);
    scene_->onUpdateUseSignedDistance(useSignedDistance_);
    scene_->onUpdateColorMapRange(minDistance_, maxDistance_);
    scene_->onUpdatePointClasses(pointClasses_);
}

void Renderer::setViewport(std::size_t width, std::size_t height)
{
    if (width == viewport().width() && height == viewport().height())
        return;
    // Checked before anything changes, so that a refused size leaves the renderer as it was.
    if (width > D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION || height > D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION)
        throw std::invalid_argument("Renderer::setViewport: " + std::to_string(width) + " x " +
                                    std::to_string(height) + " exceeds the largest texture size of " +
                                    std::to_string(D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION));
    camera_->setViewport(width, height);
    scenePass_.setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    outputPass_.setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    if (splatPass_)
        splatPass_->setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    createStagingTextures(width, height);
    if (scene_) {
        scene_->onUpdateViewport(camera_);
        scene_->onUpdateProjectionMatrix(camera_);
    }
    postProcess_.setViewport(viewport());
    postProcess_.markDirty();
    requestRedraw();
}

const Viewport& Renderer::viewport() const
{
    return std::as_const(*camera_).viewport();
}

double Renderer::aspectRatio() const
{
    return static_cast<double>(static_cast<float>(viewport().width()) / static_cast<float>(viewport().height()));
}

template <class Stored, class Value, class NotifyScene>
bool Renderer::changeSetting(Stored&& stored, const Value& value, NotifyScene&& notifyScene)
{
    if (stored == value)
        return false;
    stored = value;
    if (scene_)
        notifyScene(*scene_);
    requestRedraw();
    return true;
}

void Renderer::changePostProcessSetting(float (PostProcess::*get)() const, void (PostProcess::*set)(float),
                                        float value)
{
    if (value == (postProcess_.*get)())
        return;
    (postProcess_.*set)(value);
    requestRedraw();
}

void Renderer::setBackgroundColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
{
    setBackgroundColor(Math::Color(r, g, b, a));
}

void Renderer::setBackgroundColor(const Math::Color& color)
{
    // The scene is not told: the background reaches the frame through post-processing only.
    if (changeSetting(backgroundColor_, color, [](Renderable&) {}))
        postProcess_.setBackgroundColor(color);
}

template <class Change>
void Renderer::changeView(Change&& change)
{
    const Eigen::Matrix4f before = camera_->viewMatrix();
    change();
    if (camera_->viewMatrix() == before)
        return;
    updateZRangeIfNeeded();
    if (scene_)
        scene_->onUpdateViewMatrix(camera_);
    requestRedraw();
}

template <class Change>
void Renderer::changeProjection(Change&& change, bool adjustZRange)
{
    const Eigen::Matrix4f before = camera_->projectionMatrix();
    change();
    if (camera_->projectionMatrix() == before)
        return;
    if (adjustZRange)
        updateZRangeIfNeeded();
    if (scene_)
        scene_->onUpdateProjectionMatrix(camera_);
    requestRedraw();
}

void Renderer::setCameraPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection,
                             const Eigen::Vector3f& up)
{
    changeView([&] { camera_->setPose(eye, viewDirection, up); });
}

void Renderer::setCameraPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target,
                             const Eigen::Vector3f& up)
{
    changeView([&] { camera_->setPose(eye, target, up); });
}

void Renderer::setViewMatrix(const Eigen::Matrix4f& viewMatrix)
{
    changeView([&] { camera_->setViewMatrix(viewMatrix); });
}

void Renderer::setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY)
{
    changeProjection([&] { camera_->setPerspective(fovYDeg, zNear, zFar, offCenterX, offCenterY); }, true);
}

void Renderer::setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar,
                                       bool flag)
{
    changeProjection([&] { camera_->setPerspectiveOffCenter(left, right, bottom, top, zNear, zFar, flag); }, true);
}

void Renderer::setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar)
{
    changeProjection([&] { camera_->setOrthographic(horizontalExtent, verticalExtent, zNear, zFar); }, true);
}

void Renderer::setOrthographic(float verticalExtent, float zNear, float zFar)
{
    const float width = static_cast<float>(viewport().width());
    const float height = static_cast<float>(viewport().height());
    setOrthographic(verticalExtent * width / height, verticalExtent, zNear, zFar);
}

void Renderer::setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool flag)
{
    changeProjection([&] { camera_->setProjection(projection, zNear, zFar, flag); }, true);
}

void Renderer::setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box)
{
    changeProjection([&] { camera_->setZNearAndFarViaBoundingBox(box); }, false);
}

Math::Point<float, 3> Renderer::eye()
{
    return camera_->eye();
}

Eigen::Vector3f Renderer::rightDirection()
{
    return camera_->rightDirection();
}

Eigen::Vector3f Renderer::upDirection()
{
    return camera_->upDirection();
}

Eigen::Vector3f Renderer::viewDirection()
{
    return camera_->viewDirection();
}

const Eigen::Matrix4f& Renderer::viewMatrix() const
{
    return camera_->viewMatrix();
}

const Eigen::Matrix4f& Renderer::projectionMatrix() const
{
    return camera_->projectionMatrix();
}

Eigen::Matrix4f Renderer::modelViewProjectionMatrix()
{
    return camera_->viewProjectionMatrix() * modelMatrix_;
}

bool Renderer::isOrthographic() const
{
    return camera_->projectionMatrix()(3, 3) != 0.0f;
}

bool Renderer::isPerspective() const
{
    return !isOrthographic();
}

void Renderer::getZRange(float& zNear, float& zFar) const
{
    zNear = camera_->zNear();
    zFar = camera_->zFar();
}

void Renderer::setModelMatrix(const Eigen::Matrix4f& matrix)
{
    changeSetting(modelMatrix_, matrix, [&](Renderable& scene) { scene.setMatrix(modelMatrix_); });
}

void Renderer::setAutoAdjustZRange(bool enabled)
{
    changeSetting(autoAdjustZRange_, enabled, [&](Renderable& scene) { scene.onUpdateProjectionMatrix(camera_); });
}

void Renderer::updateZRangeIfNeeded()
{
    if (!autoAdjustZRange_)
        return;
    camera_->setZNearAndFarViaBoundingBox(boundingBox());
    if (scene_)
        scene_->onUpdateZRange(camera_);
}

Math::NBoundingBox<float, 3> Renderer::boundingBox()
{
    return scene_ ? scene_->boundingBoxWorld() : Math::NBoundingBox<float, 3>();
}

void Renderer::requestRedraw()
{
    camera_->setNeedsRedraw(true);
}

const Texture2d& Renderer::outputColorTexture() const
{
    return outputPass_.texture("color");
}

bool Renderer::needsRedraw() const
{
    if (camera_->needsRedraw())
        return true;
    return scene_ && scene_->needsRedraw();
}

void Renderer::render()
{
    ID3D11DeviceContext* context = deviceContext_.Get();
    viewport().set(context);
    // Near and far follow the scene even without camera movement: streamed data changes its bounds.
    updateZRangeIfNeeded();

    scenePass_.begin(context);
    Math::Color frameBackground = backgroundColor_;
    if (scene_) {
        if (const std::optional<Math::Color> sceneBackground = scene_->backgroundColor())
            frameBackground = *sceneBackground;
    }
    const std::array<float, 4> clear = frameBackground.toFloats();
    scenePass_.setClearValue("color", clear[0], clear[1], clear[2], clear[3]);
    const bool transparent = scene_ && scene_->isTransparent();
    if (transparent) {
        alphaBlendState_.set(context, nullptr, allSamples);
        depthReadOnlyState_.set(context, stencilReference);
    } else {
        depthWriteState_.set(context, stencilReference);
    }
    rasterizerState_.set(context);
    scenePass_.clearAllRenderTargets(context, true);
    const bool drawScene = scene_ && scene_->visible();
    if (drawScene)
        scene_->render();
    if (drawScene && transparent && eyeDomeLighting_.enabled) {
        // Blended points write no depth, and eye-dome lighting sees nothing else.
        depthOnlyBlendState_.set(context, nullptr, allSamples);
        depthWriteState_.set(context, stencilReference);
        scene_->render();
    }
    scenePass_.end(context);
    // Blended modes mix every point already.
    const bool splats = drawScene && !transparent && splatQuality_ == SplatQuality::High;
    if (splats)
        drawSplats(context);

    outputPass_.begin(context);
    opaqueBlendState_.set(context, nullptr, allSamples);
    depthReadOnlyState_.set(context, stencilReference);
    outputPass_.setClearValue("color", backgroundColor_);
    outputPass_.clearAllRenderTargets(context, true);
    scenePass_.bindTexture(context, "color", ShaderConfiguration::Pixel, 0);
    scenePass_.bindTexture(context, "worldPosition", ShaderConfiguration::Pixel, 1);
    scenePass_.bindTexture(context, "exactWorldPosition", ShaderConfiguration::Pixel, 2);
    scenePass_.bindDepthTexture(context, ShaderConfiguration::Pixel, 3);
    if (splats)
        splatPass_->bindTexture(context, "splats", ShaderConfiguration::Pixel, 4);
    postProcess_.setProjection(camera_->projectionMatrix());
    postProcess_.setNormalizeSplats(splats);
    postProcess_.draw(context);
    scenePass_.unbindTexture(context, "color");
    scenePass_.unbindTexture(context, "worldPosition");
    scenePass_.unbindTexture(context, "exactWorldPosition");
    scenePass_.unbindDepthTexture(context);
    if (splats)
        splatPass_->unbindTexture(context, "splats");
    outputPass_.end(context);

    camera_->setNeedsRedraw(false);
    pointChunkColumn_ = 0;
    pointChunkRow_ = 0;
}

void Renderer::drawSplats(ID3D11DeviceContext* context)
{
    if (!splatPass_) {
        splatPass_.emplace(device_, scenePass_.width(), scenePass_.height());
        // Half floats keep sums of many weights to three digits, at half the memory of floats.
        splatPass_->addRenderTarget("splats", DXGI_FORMAT_R16G16B16A16_FLOAT);
        splatPass_->setClearValue("splats", 0.0f, 0.0f, 0.0f, 0.0f);
    }
    splatPass_->beginWithDepthOf(context, scenePass_);
    splatPass_->clearAllRenderTargets(context, false);
    additiveBlendState_.set(context, nullptr, allSamples);
    depthReadOnlyState_.set(context, stencilReference);
    scene_->renderSplats();
    splatPass_->end(context);
}

void Renderer::setRenderMode(RenderMode mode)
{
    if (changeSetting(renderMode_, mode, [&](Renderable& scene) { scene.onUpdateRenderMode(mode); }))
        postProcess_.setRenderMode(mode);
}

void Renderer::setColorMap(ColorMap map)
{
    changeSetting(colorMap_, map, [&](Renderable& scene) { scene.onUpdateColorMap(map); });
}

void Renderer::setColorMapRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(minDistance_, maxDistance_), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdateColorMapRange(minDistance, maxDistance); });
}

void Renderer::setPassFailDistanceRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(minDistancePassFail_, maxDistancePassFail_), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdatePassFailDistanceRange(minDistance, maxDistance); });
}

void Renderer::setWarnDistanceRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(minDistanceWarn_, maxDistanceWarn_), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdateWarnDistanceRange(minDistance, maxDistance); });
}

void Renderer::setUseSignedDistance(bool useSignedDistance)
{
    changeSetting(useSignedDistance_, useSignedDistance,
                  [&](Renderable& scene) { scene.onUpdateUseSignedDistance(useSignedDistance); });
}

void Renderer::setPlaneForDistanceColorization(const Math::NPlane<float, 3>& plane)
{
    changeSetting(planeForDistanceColorization_, plane,
                  [&](Renderable& scene) { scene.onUpdatePlaneForDistanceColorization(plane); });
}

void Renderer::setMeshForDistanceColorization(std::shared_ptr<Math::TriangleMesh<float>> mesh)
{
    changeSetting(meshForDistanceColorization_, mesh, [&](Renderable& scene) {
        scene.onUpdateMeshForDistanceColorization(meshForDistanceColorization_);
    });
}

void Renderer::setTomographicColor(Math::Color color)
{
    changeSetting(tomographicColor_, color, [&](Renderable& scene) { scene.onUpdateTomographicColor(color); });
}

void Renderer::setUseCloudColorsInTomographicRenderModes(bool useCloudColors)
{
    changeSetting(useCloudColorsInTomographicRenderModes_, useCloudColors,
                  [&](Renderable& scene) { scene.onUpdateUseCloudColorsInTomographicRenderModes(useCloudColors); });
}

void Renderer::setBrightness(float brightness)
{
    changePostProcessSetting(&PostProcess::brightness, &PostProcess::setBrightness, brightness);
}

void Renderer::setContrast(float contrast)
{
    changePostProcessSetting(&PostProcess::contrast, &PostProcess::setContrast, contrast);
}

void Renderer::setOpacity(float opacity)
{
    changePostProcessSetting(&PostProcess::opacity, &PostProcess::setOpacity, opacity);
}

void Renderer::setEyeDomeLighting(const EyeDomeLighting& lighting)
{
    checkEyeDomeLighting(lighting);
    if (lighting == eyeDomeLighting_)
        return;
    eyeDomeLighting_ = lighting;
    postProcess_.setEyeDomeLighting(lighting);
    requestRedraw();
}

void Renderer::setSplatQuality(SplatQuality quality)
{
    changeSetting(splatQuality_, quality, [](Renderable&) {});
}

void Renderer::setPointClasses(const PointClasses& classes)
{
    changeSetting(pointClasses_, classes, [&](Renderable& scene) { scene.onUpdatePointClasses(classes); });
}

void Renderer::setClassColor(std::uint8_t classIndex, const Math::Color& color)
{
    PointClasses classes = pointClasses_;
    classes.setColor(classIndex, color);
    setPointClasses(classes);
}

void Renderer::setClassVisible(std::uint8_t classIndex, bool visible)
{
    PointClasses classes = pointClasses_;
    classes.setShown(classIndex, visible);
    setPointClasses(classes);
}

void Renderer::setColorizationRange(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to, ColorMap)
{
    const Eigen::Vector3f direction = to - from;
    const float length = direction.norm();
    const Eigen::Vector3f normal = length != 0.0f ? Eigen::Vector3f(direction / length) : Eigen::Vector3f::Zero();
    setPlaneForDistanceColorization(Math::NPlane<float, 3>(normal, -normal.dot(from)));
    setColorMapRange(0.0f, length);
    requestRedraw();
}

void Renderer::autoAdjustBrightnessAndContrast(float lowerBound, float upperBound)
{
    if (!scene_)
        return;
    float brightness = 0.0f;
    float contrast = 1.0f;
    scene_->brightnessAndContrast(lowerBound, upperBound, brightness, contrast);
    postProcess_.setBrightness(brightness);
    postProcess_.setContrast(contrast);
    postProcess_.markDirty();
    requestRedraw();
}

} // namespace Render
