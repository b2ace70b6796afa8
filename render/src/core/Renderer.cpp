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
    : mCamera(std::make_shared<Camera>(isZBufferReversed)),
      mScenePass(nullptr, initialWidth, initialHeight),
      mOutputPass(nullptr, initialWidth, initialHeight)
{
    // No feature-level list: the runtime tries its own default levels, and we check the result.
    throwIfFailed(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                                    &mDevice, nullptr, &mDeviceContext));
    if (mDevice->GetFeatureLevel() < D3D_FEATURE_LEVEL_11_0)
        throw std::runtime_error("needs at least a DirectX 11.0 graphics card");

    setOrthographic(2.0f, 2.0f, -1.0f, 1.0f);
    setBackgroundColor(255, 255, 255, 255);

    const auto width = static_cast<unsigned>(viewport().width());
    const auto height = static_cast<unsigned>(viewport().height());
    mScenePass = RenderPass(mDevice, width, height);
    mScenePass.addDepthBuffer(D3D11_CLEAR_DEPTH, mCamera->clearDepthValue(), 0);
    mScenePass.addRenderTarget("color", DXGI_FORMAT_B8G8R8A8_UNORM);
    mScenePass.addRenderTarget("worldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    mScenePass.addRenderTarget("exactWorldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    mScenePass.setClearValue("worldPosition", 0.0f, 0.0f, 0.0f, 0.0f);
    mScenePass.setClearValue("exactWorldPosition", 0.0f, 0.0f, 0.0f, 0.0f);
    mOutputPass = RenderPass(mDevice, width, height);
    mOutputPass.addRenderTarget("color", DXGI_FORMAT_B8G8R8A8_UNORM);
    mOutputPass.addRenderTarget("worldPosition", DXGI_FORMAT_R32G32B32A32_FLOAT);
    mOutputPass.setClearValue("worldPosition", 0.0f, 0.0f, 0.0f, 0.0f);

    const bool reversed = mCamera->isZBufferReversed();
    mDepthWriteState = DepthStencilState(mDevice.Get(), reversed, true, true);
    mDepthReadOnlyState = DepthStencilState(mDevice.Get(), reversed, true, false);
    mAlphaBlendState = BlendState(mDevice.Get(), alphaBlendDesc());
    mOpaqueBlendState = BlendState(mDevice.Get(), opaqueBlendDesc());
    mAdditiveBlendState = BlendState(mDevice.Get(), additiveBlendDesc());
    mDepthOnlyBlendState = BlendState(mDevice.Get(), depthOnlyBlendDesc());
    mRasterizerState = RasterizerState(mDevice.Get(), rasterizerDesc());

    createStagingTextures(viewport().width(), viewport().height());
    mPostProcess = PostProcess(mDevice);
}

Renderer::~Renderer()
{
    if (mScene)
        mScene->deinit();
    forgetLoadingSettings(id());
}

void Renderer::createStagingTextures(std::size_t width, std::size_t height)
{
    // A texture of zero width or height stays empty instead of failing.
    const auto w = static_cast<unsigned>(width);
    const auto h = static_cast<unsigned>(height);
    mColorStaging = Texture2d(mDevice.Get(), stagingDesc(DXGI_FORMAT_B8G8R8A8_UNORM), w, h, 1);
    mDepthStaging = Texture2d(mDevice.Get(), stagingDesc(DXGI_FORMAT_D32_FLOAT), w, h, 1);
    mWorldPositionStaging = Texture2d(mDevice.Get(), stagingDesc(DXGI_FORMAT_R32G32B32A32_FLOAT), w, h, 1);
    mExactWorldPositionStaging = Texture2d(mDevice.Get(), stagingDesc(DXGI_FORMAT_R32G32B32A32_FLOAT), w, h, 1);
}

void Renderer::setScene(std::shared_ptr<Renderable> scene)
{
    if (!scene)
        throw std::invalid_argument("Renderer::setScene: the scene must not be empty");
    if (mScene)
        mScene->deinit();
    mScene = std::move(scene);
    mScene->init(id(), mCamera, mDevice, mDeviceContext);
    mScene->onUpdateRenderMode(mRenderMode);
    mScene->onUpdateTomographicColor(mTomographicColor);
    mScene->onUpdateColorMap(mColorMap);
    mScene->onUpdateUseSignedDistance(mUseSignedDistance);
    mScene->onUpdateColorMapRange(mMinDistance, mMaxDistance);
    mScene->onUpdatePointClasses(mPointClasses);
}

void Renderer::setViewport(std::size_t width, std::size_t height)
{
    if (width == viewport().width() && height == viewport().height())
        return;
    // Checked before anything changes, so that a refused size leaves the renderer as it was.
    if (width > D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION || height > D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION)
        throw std::invalid_argument("Renderer::setViewport: " + std::to_string(width) + " x " + std::to_string(height)
                                    + " exceeds the largest texture size of "
                                    + std::to_string(D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION));
    mCamera->setViewport(width, height);
    mScenePass.setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    mOutputPass.setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    if (mSplatPass)
        mSplatPass->setViewport(static_cast<unsigned>(width), static_cast<unsigned>(height));
    createStagingTextures(width, height);
    if (mScene) {
        mScene->onUpdateViewport(mCamera);
        mScene->onUpdateProjectionMatrix(mCamera);
    }
    mPostProcess.setViewport(viewport());
    mPostProcess.markDirty();
    requestRedraw();
}

const Viewport& Renderer::viewport() const
{
    return std::as_const(*mCamera).viewport();
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
    if (mScene)
        notifyScene(*mScene);
    requestRedraw();
    return true;
}

void Renderer::changePostProcessSetting(float (PostProcess::*get)() const, void (PostProcess::*set)(float), float value)
{
    if (value == (mPostProcess.*get)())
        return;
    (mPostProcess.*set)(value);
    requestRedraw();
}

void Renderer::setBackgroundColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
{
    setBackgroundColor(Math::Color(r, g, b, a));
}

void Renderer::setBackgroundColor(const Math::Color& color)
{
    // The scene is not told: the background reaches the frame through post-processing only.
    if (changeSetting(mBackgroundColor, color, [](Renderable&) {}))
        mPostProcess.setBackgroundColor(color);
}

template <class Change>
void Renderer::changeView(Change&& change)
{
    const Eigen::Matrix4f before = mCamera->viewMatrix();
    change();
    if (mCamera->viewMatrix() == before)
        return;
    updateZRangeIfNeeded();
    if (mScene)
        mScene->onUpdateViewMatrix(mCamera);
    requestRedraw();
}

template <class Change>
void Renderer::changeProjection(Change&& change, bool adjustZRange)
{
    const Eigen::Matrix4f before = mCamera->projectionMatrix();
    change();
    if (mCamera->projectionMatrix() == before)
        return;
    if (adjustZRange)
        updateZRangeIfNeeded();
    if (mScene)
        mScene->onUpdateProjectionMatrix(mCamera);
    requestRedraw();
}

void Renderer::setCameraPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection,
                             const Eigen::Vector3f& up)
{
    changeView([&] { mCamera->setPose(eye, viewDirection, up); });
}

void Renderer::setCameraPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target,
                             const Eigen::Vector3f& up)
{
    changeView([&] { mCamera->setPose(eye, target, up); });
}

void Renderer::setViewMatrix(const Eigen::Matrix4f& viewMatrix)
{
    changeView([&] { mCamera->setViewMatrix(viewMatrix); });
}

void Renderer::setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY)
{
    changeProjection([&] { mCamera->setPerspective(fovYDeg, zNear, zFar, offCenterX, offCenterY); }, true);
}

void Renderer::setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar,
                                       bool flag)
{
    changeProjection([&] { mCamera->setPerspectiveOffCenter(left, right, bottom, top, zNear, zFar, flag); }, true);
}

void Renderer::setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar)
{
    changeProjection([&] { mCamera->setOrthographic(horizontalExtent, verticalExtent, zNear, zFar); }, true);
}

void Renderer::setOrthographic(float verticalExtent, float zNear, float zFar)
{
    const float width = static_cast<float>(viewport().width());
    const float height = static_cast<float>(viewport().height());
    setOrthographic(verticalExtent * width / height, verticalExtent, zNear, zFar);
}

void Renderer::setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool flag)
{
    changeProjection([&] { mCamera->setProjection(projection, zNear, zFar, flag); }, true);
}

void Renderer::setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box)
{
    changeProjection([&] { mCamera->setZNearAndFarViaBoundingBox(box); }, false);
}

Math::Point<float, 3> Renderer::eye()
{
    return mCamera->eye();
}

Eigen::Vector3f Renderer::rightDirection()
{
    return mCamera->rightDirection();
}

Eigen::Vector3f Renderer::upDirection()
{
    return mCamera->upDirection();
}

Eigen::Vector3f Renderer::viewDirection()
{
    return mCamera->viewDirection();
}

const Eigen::Matrix4f& Renderer::viewMatrix() const
{
    return mCamera->viewMatrix();
}

const Eigen::Matrix4f& Renderer::projectionMatrix() const
{
    return mCamera->projectionMatrix();
}

Eigen::Matrix4f Renderer::modelViewProjectionMatrix()
{
    return mCamera->viewProjectionMatrix() * mModelMatrix;
}

bool Renderer::isOrthographic() const
{
    return mCamera->projectionMatrix()(3, 3) != 0.0f;
}

bool Renderer::isPerspective() const
{
    return !isOrthographic();
}

void Renderer::getZRange(float& zNear, float& zFar) const
{
    zNear = mCamera->zNear();
    zFar = mCamera->zFar();
}

void Renderer::setModelMatrix(const Eigen::Matrix4f& matrix)
{
    changeSetting(mModelMatrix, matrix, [&](Renderable& scene) { scene.setMatrix(mModelMatrix); });
}

void Renderer::setAutoAdjustZRange(bool enabled)
{
    changeSetting(mAutoAdjustZRange, enabled, [&](Renderable& scene) { scene.onUpdateProjectionMatrix(mCamera); });
}

void Renderer::updateZRangeIfNeeded()
{
    if (!mAutoAdjustZRange)
        return;
    mCamera->setZNearAndFarViaBoundingBox(boundingBox());
    if (mScene)
        mScene->onUpdateZRange(mCamera);
}

Math::NBoundingBox<float, 3> Renderer::boundingBox()
{
    return mScene ? mScene->boundingBoxWorld() : Math::NBoundingBox<float, 3>();
}

void Renderer::requestRedraw()
{
    mCamera->setNeedsRedraw(true);
}

const Texture2d& Renderer::outputColorTexture() const
{
    return mOutputPass.texture("color");
}

bool Renderer::needsRedraw() const
{
    if (mCamera->needsRedraw())
        return true;
    return mScene && mScene->needsRedraw();
}

void Renderer::render()
{
    ID3D11DeviceContext* context = mDeviceContext.Get();
    viewport().set(context);
    // Near and far follow the scene even without camera movement: streamed data changes its bounds.
    updateZRangeIfNeeded();

    mScenePass.begin(context);
    Math::Color frameBackground = mBackgroundColor;
    if (mScene) {
        if (const std::optional<Math::Color> sceneBackground = mScene->backgroundColor())
            frameBackground = *sceneBackground;
    }
    const std::array<float, 4> clear = frameBackground.toFloats();
    mScenePass.setClearValue("color", clear[0], clear[1], clear[2], clear[3]);
    const bool transparent = mScene && mScene->isTransparent();
    if (transparent) {
        mAlphaBlendState.set(context, nullptr, allSamples);
        mDepthReadOnlyState.set(context, stencilReference);
    } else {
        mDepthWriteState.set(context, stencilReference);
    }
    mRasterizerState.set(context);
    mScenePass.clearAllRenderTargets(context, true);
    const bool drawScene = mScene && mScene->visible();
    if (drawScene)
        mScene->render();
    if (drawScene && transparent && mEyeDomeLighting.enabled) {
        // Blended points write no depth, and eye-dome lighting sees nothing else.
        mDepthOnlyBlendState.set(context, nullptr, allSamples);
        mDepthWriteState.set(context, stencilReference);
        mScene->render();
    }
    mScenePass.end(context);
    // Blended modes mix every point already.
    const bool splats = drawScene && !transparent && mSplatQuality == SplatQuality::High;
    if (splats)
        drawSplats(context);

    mOutputPass.begin(context);
    mOpaqueBlendState.set(context, nullptr, allSamples);
    mDepthReadOnlyState.set(context, stencilReference);
    mOutputPass.setClearValue("color", mBackgroundColor);
    mOutputPass.clearAllRenderTargets(context, true);
    mScenePass.bindTexture(context, "color", ShaderConfiguration::Pixel, 0);
    mScenePass.bindTexture(context, "worldPosition", ShaderConfiguration::Pixel, 1);
    mScenePass.bindTexture(context, "exactWorldPosition", ShaderConfiguration::Pixel, 2);
    mScenePass.bindDepthTexture(context, ShaderConfiguration::Pixel, 3);
    if (splats)
        mSplatPass->bindTexture(context, "splats", ShaderConfiguration::Pixel, 4);
    mPostProcess.setProjection(mCamera->projectionMatrix());
    mPostProcess.setNormalizeSplats(splats);
    mPostProcess.draw(context);
    mScenePass.unbindTexture(context, "color");
    mScenePass.unbindTexture(context, "worldPosition");
    mScenePass.unbindTexture(context, "exactWorldPosition");
    mScenePass.unbindDepthTexture(context);
    if (splats)
        mSplatPass->unbindTexture(context, "splats");
    mOutputPass.end(context);

    mCamera->setNeedsRedraw(false);
    mPointChunkColumn = 0;
    mPointChunkRow = 0;
}

void Renderer::drawSplats(ID3D11DeviceContext* context)
{
    if (!mSplatPass) {
        mSplatPass.emplace(mDevice, mScenePass.width(), mScenePass.height());
        // Half floats keep sums of many weights to three digits, at half the memory of floats.
        mSplatPass->addRenderTarget("splats", DXGI_FORMAT_R16G16B16A16_FLOAT);
        mSplatPass->setClearValue("splats", 0.0f, 0.0f, 0.0f, 0.0f);
    }
    mSplatPass->beginWithDepthOf(context, mScenePass);
    mSplatPass->clearAllRenderTargets(context, false);
    mAdditiveBlendState.set(context, nullptr, allSamples);
    mDepthReadOnlyState.set(context, stencilReference);
    mScene->renderSplats();
    mSplatPass->end(context);
}

void Renderer::setRenderMode(RenderMode mode)
{
    if (changeSetting(mRenderMode, mode, [&](Renderable& scene) { scene.onUpdateRenderMode(mode); }))
        mPostProcess.setRenderMode(mode);
}

void Renderer::setColorMap(ColorMap map)
{
    changeSetting(mColorMap, map, [&](Renderable& scene) { scene.onUpdateColorMap(map); });
}

void Renderer::setColorMapRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(mMinDistance, mMaxDistance), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdateColorMapRange(minDistance, maxDistance); });
}

void Renderer::setPassFailDistanceRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(mMinDistancePassFail, mMaxDistancePassFail), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdatePassFailDistanceRange(minDistance, maxDistance); });
}

void Renderer::setWarnDistanceRange(float minDistance, float maxDistance)
{
    changeSetting(std::tie(mMinDistanceWarn, mMaxDistanceWarn), std::tuple(minDistance, maxDistance),
                  [&](Renderable& scene) { scene.onUpdateWarnDistanceRange(minDistance, maxDistance); });
}

void Renderer::setUseSignedDistance(bool useSignedDistance)
{
    changeSetting(mUseSignedDistance, useSignedDistance,
                  [&](Renderable& scene) { scene.onUpdateUseSignedDistance(useSignedDistance); });
}

void Renderer::setPlaneForDistanceColorization(const Math::NPlane<float, 3>& plane)
{
    changeSetting(mPlaneForDistanceColorization, plane,
                  [&](Renderable& scene) { scene.onUpdatePlaneForDistanceColorization(plane); });
}

void Renderer::setMeshForDistanceColorization(std::shared_ptr<Math::TriangleMesh<float>> mesh)
{
    changeSetting(mMeshForDistanceColorization, mesh,
                  [&](Renderable& scene) { scene.onUpdateMeshForDistanceColorization(mMeshForDistanceColorization); });
}

void Renderer::setTomographicColor(Math::Color color)
{
    changeSetting(mTomographicColor, color, [&](Renderable& scene) { scene.onUpdateTomographicColor(color); });
}

void Renderer::setUseCloudColorsInTomographicRenderModes(bool useCloudColors)
{
    changeSetting(mUseCloudColorsInTomographicRenderModes, useCloudColors,
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
    if (lighting == mEyeDomeLighting)
        return;
    mEyeDomeLighting = lighting;
    mPostProcess.setEyeDomeLighting(lighting);
    requestRedraw();
}

void Renderer::setSplatQuality(SplatQuality quality)
{
    changeSetting(mSplatQuality, quality, [](Renderable&) {});
}

void Renderer::setPointClasses(const PointClasses& classes)
{
    changeSetting(mPointClasses, classes, [&](Renderable& scene) { scene.onUpdatePointClasses(classes); });
}

void Renderer::setClassColor(std::uint8_t classIndex, const Math::Color& color)
{
    PointClasses classes = mPointClasses;
    classes.setColor(classIndex, color);
    setPointClasses(classes);
}

void Renderer::setClassVisible(std::uint8_t classIndex, bool visible)
{
    PointClasses classes = mPointClasses;
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
    if (!mScene)
        return;
    float brightness = 0.0f;
    float contrast = 1.0f;
    mScene->brightnessAndContrast(lowerBound, upperBound, brightness, contrast);
    mPostProcess.setBrightness(brightness);
    mPostProcess.setContrast(contrast);
    mPostProcess.markDirty();
    requestRedraw();
}

} // namespace Render
