#include <lumaro/render/core/Renderer.h>

#include <lumaro/render/gpu/ComException.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/math/TriangleMesh.h>

#include "DrawnPixels.h"
#include "PlaneFit.h"
#include "pointcloud/MeshDistances.h"

#include <fstream>
#include <iomanip>
#include <limits>

#include <cmath>
#include <cstring>
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

// Unmaps a staging texture when the read-back leaves, also by an exception.
class ScopedMap {
public:
    ScopedMap(ID3D11DeviceContext* context, const Texture2d& texture)
        : context_(context), texture_(texture), mapped_(texture.map(context, D3D11_MAP_READ, 0))
    {
    }
    ScopedMap(const ScopedMap&) = delete;
    ScopedMap& operator=(const ScopedMap&) = delete;
    ~ScopedMap() { texture_.unMap(context_, 0); }

    const D3D11_MAPPED_SUBRESOURCE& mapped() const { return mapped_; }

private:
    ID3D11DeviceContext* context_;
    const Texture2d& texture_;
    D3D11_MAPPED_SUBRESOURCE mapped_;
};

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
    rasterizerState_ = RasterizerState(device_.Get(), rasterizerDesc());

    createStagingTextures(viewport().width(), viewport().height());
    postProcess_ = PostProcess(device_);
}

Renderer::~Renderer()
{
    if (scene_)
        scene_->deinit();
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
    if (scene_ && scene_->isTransparent()) {
        alphaBlendState_.set(context, nullptr, allSamples);
        depthReadOnlyState_.set(context, stencilReference);
    } else {
        depthWriteState_.set(context, stencilReference);
    }
    rasterizerState_.set(context);
    scenePass_.clearAllRenderTargets(context, true);
    if (scene_ && scene_->visible())
        scene_->render();
    scenePass_.end(context);

    outputPass_.begin(context);
    opaqueBlendState_.set(context, nullptr, allSamples);
    depthReadOnlyState_.set(context, stencilReference);
    outputPass_.setClearValue("color", backgroundColor_);
    outputPass_.clearAllRenderTargets(context, true);
    scenePass_.bindTexture(context, "color", ShaderConfiguration::Pixel, 0);
    scenePass_.bindTexture(context, "worldPosition", ShaderConfiguration::Pixel, 1);
    scenePass_.bindTexture(context, "exactWorldPosition", ShaderConfiguration::Pixel, 2);
    postProcess_.draw(context);
    scenePass_.unbindTexture(context, "color");
    scenePass_.unbindTexture(context, "worldPosition");
    scenePass_.unbindTexture(context, "exactWorldPosition");
    outputPass_.end(context);

    camera_->setNeedsRedraw(false);
    pointChunkColumn_ = 0;
    pointChunkRow_ = 0;
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

template <typename Read>
void Renderer::readBack(const Texture2d& staging, const Texture2d& target, Read&& read)
{
    staging.copy(deviceContext_.Get(), target);
    const ScopedMap map(deviceContext_.Get(), staging);
    read(map.mapped());
}

namespace {

// Copies a mapped texture into an image laid out with the mapping's row pitch.
template <typename Image>
void copyMapped(const D3D11_MAPPED_SUBRESOURCE& mapped, const Viewport& viewport, Image& image)
{
    image.resize(viewport.width(), viewport.height(), mapped.RowPitch);
    if (image.sizeInBytes() != mapped.DepthPitch)
        throw std::runtime_error("image size does not match");
    std::memcpy(image.data(), mapped.pData, mapped.DepthPitch);
}

// Texel (x, y) of a mapped R32G32B32A32 texture.
Eigen::Vector4f worldTexel(const D3D11_MAPPED_SUBRESOURCE& mapped, std::size_t x, std::size_t y)
{
    Eigen::Vector4f texel;
    std::memcpy(texel.data(), static_cast<const unsigned char*>(mapped.pData) + y * mapped.RowPitch + x * 16, 16);
    return texel;
}

} // namespace

void Renderer::getColorImage(Graphics::ColorImage& image)
{
    if (!colorStaging_.get()) { // a viewport without width or height has no picture
        image.resize(viewport().width(), viewport().height(), viewport().width() * sizeof(Math::Color));
        return;
    }
    readBack(colorStaging_, outputPass_.texture("color"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) { copyMapped(mapped, viewport(), image); });
}

void Renderer::getDepthImage(Graphics::DepthImage& image)
{
    if (!depthStaging_.get()) {
        image.resize(viewport().width(), viewport().height(), viewport().width() * sizeof(float));
        return;
    }
    readBack(depthStaging_, scenePass_.depthTexture(),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) { copyMapped(mapped, viewport(), image); });
}

void Renderer::writePngImage(const std::filesystem::path& path)
{
    render();
    Graphics::ColorImage image;
    getColorImage(image);
    image.writePng(path);
}

bool Renderer::pickPoint(std::size_t x, std::size_t y, Math::Point<float, 3>& point)
{
    if (x >= viewport().width() || y >= viewport().height())
        return false;
    bool drawn = false;
    readBack(exactWorldPositionStaging_, scenePass_.texture("exactWorldPosition"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) {
                 const Eigen::Vector4f texel = worldTexel(mapped, x, y);
                 point = Math::Point<float, 3>(texel.head<3>());
                 drawn = texel.w() > 0.0f;
             });
    return drawn;
}

std::optional<std::vector<Math::Point<float, 3>>> Renderer::drawnPointsAround(std::size_t x, std::size_t y,
                                                                               std::size_t tolerance)
{
    const SearchSquare square = searchSquare(x, y, tolerance, viewport().width(), viewport().height());
    if (square.empty())
        return std::nullopt;
    std::vector<Math::Point<float, 3>> points;
    readBack(exactWorldPositionStaging_, scenePass_.texture("exactWorldPosition"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) {
                 for (int i = square.x0; i < square.x1; ++i)
                     for (int j = square.y0; j < square.y1; ++j)
                         if (const Eigen::Vector4f texel = worldTexel(mapped, i, j); texel.w() > 0.0f)
                             points.emplace_back(texel.head<3>());
             });
    return points;
}

bool Renderer::pickClosestPointWithTolerance(std::size_t x, std::size_t y, std::size_t tolerance,
                                             Math::Point<float, 3>& point)
{
    const auto points = drawnPointsAround(x, y, tolerance);
    if (!points)
        return false;
    const Math::Point<float, 3> eye = camera_->eye();
    float best = std::numeric_limits<float>::max();
    for (const Math::Point<float, 3>& candidate : *points) {
        const float distance = (candidate - eye).squaredNorm();
        if (distance < best) {
            best = distance;
            point = candidate;
        }
    }
    return best != std::numeric_limits<float>::max();
}

bool Renderer::pickPointWithDistanceToColorizationMesh(std::size_t x, std::size_t y, std::size_t tolerance,
                                                       Math::Point<float, 3>& point, float& distance)
{
    if (!meshForDistanceColorization_ || !pickClosestPointWithTolerance(x, y, tolerance, point))
        return false;
    const std::optional<float> signedDistance = signedDistanceToMesh(*meshForDistanceColorization_, point);
    if (!signedDistance)
        return false;
    distance = useSignedDistance_ ? *signedDistance : std::abs(*signedDistance);
    return true;
}

bool Renderer::pickPointWithDistanceToColorizationPlane(std::size_t x, std::size_t y, std::size_t tolerance,
                                                        Math::Point<float, 3>& point, float& distance)
{
    if (!meshForDistanceColorization_ || !pickClosestPointWithTolerance(x, y, tolerance, point))
        return false;
    const float signedDistance = planeForDistanceColorization_.signedDistance(point);
    distance = useSignedDistance_ ? signedDistance : std::abs(signedDistance);
    return true;
}

bool Renderer::pickPlane(std::size_t x, std::size_t y, std::size_t tolerance, Math::NPlane<float, 3>& plane,
                         Math::Point<float, 3>& point, double maxDistance)
{
    std::optional<std::vector<Math::Point<float, 3>>> points = drawnPointsAround(x, y, tolerance);
    if (!points)
        return false;
    // Neighbouring pixels of one point sprite repeat its position.
    points->erase(std::unique(points->begin(), points->end()), points->end());
    const std::optional<RobustPlane> robust = fitPlaneRobustly(*points, maxDistance);
    if (!robust)
        return false;
    const std::optional<Math::NPlane<float, 3>> fitted = fitPlaneLeastSquares(robust->inliers);
    if (!fitted)
        return false;
    const Math::Point<float, 3> eye = camera_->eye();
    plane = fitted->signedDistance(eye) < 0.0f ? fitted->flipped() : *fitted;
    const std::optional<Math::Point<float, 3>> hit = rayPlaneIntersection(eye, camera_->unProject(x, y, 0.0f) - eye, plane);
    if (!hit)
        return false;
    point = *hit;
    return true;
}

Math::Point<float, 3> Renderer::unProject(std::size_t x, std::size_t y, float depth)
{
    return camera_->unProject(x, y, depth);
}

Math::Point<float, 3> Renderer::project(const Math::Point<float, 3>& point)
{
    return camera_->project(point);
}

template <typename Emit>
std::size_t Renderer::walkPoints(std::size_t maxCount, Emit&& emit)
{
    if (!colorStaging_.get())
        return 0;
    colorStaging_.copy(deviceContext_.Get(), outputPass_.texture("color"));
    worldPositionStaging_.copy(deviceContext_.Get(), outputPass_.texture("worldPosition"));
    const ScopedMap colors(deviceContext_.Get(), colorStaging_);
    const ScopedMap positions(deviceContext_.Get(), worldPositionStaging_);
    PixelCursor cursor{pointChunkColumn_, pointChunkRow_};
    const std::size_t count = walkDrawnPixels(
        static_cast<const unsigned char*>(colors.mapped().pData), colors.mapped().RowPitch,
        static_cast<const unsigned char*>(positions.mapped().pData), positions.mapped().RowPitch, viewport().width(),
        viewport().height(), cursor, maxCount, std::forward<Emit>(emit));
    pointChunkColumn_ = cursor.column;
    pointChunkRow_ = cursor.row;
    return count;
}

std::size_t Renderer::getNextPointChunk(VertexPosColor* buffer, std::size_t maxCount)
{
    return walkPoints(maxCount, [&](float x, float y, float z, const Math::Color& color) {
        *buffer++ = VertexPosColor(Math::Point<float, 3>(x, y, z), color);
    });
}

std::size_t Renderer::getNextPointChunk(double* xyz, int* rgb, std::size_t maxCount)
{
    return walkPoints(maxCount, [&](float x, float y, float z, const Math::Color& color) {
        *xyz++ = x;
        *xyz++ = y;
        *xyz++ = z;
        *rgb++ = static_cast<int>(color.r() | color.g() << 8 | color.b() << 16);
    });
}

void Renderer::resetPointChunkPosition()
{
    pointChunkColumn_ = 0;
    pointChunkRow_ = 0;
}

void Renderer::getPoints(std::vector<VertexPosColor>& points)
{
    constexpr std::size_t chunk = 1048576;
    resetPointChunkPosition();
    points.clear();
    std::vector<VertexPosColor> buffer(chunk);
    while (const std::size_t count = getNextPointChunk(buffer.data(), chunk))
        points.insert(points.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
}

void Renderer::writePoints(const std::filesystem::path& path)
{
    render();
    std::vector<VertexPosColor> points;
    getPoints(points);
    std::ofstream file(path, std::ios::trunc);
    file << "X Y Z Red Green Blue Alpha\n" << std::setprecision(7);
    for (const VertexPosColor& point : points) {
        file << point.position.x() << " " << point.position.y() << " " << point.position.z() << " "
             << int(point.color.r()) << " " << int(point.color.g()) << " " << int(point.color.b()) << " "
             << int(point.color.a()) << "\n";
    }
}

} // namespace Render
