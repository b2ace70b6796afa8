// How a streamed point cloud looks: its display settings, what the renderer's notifications
// change, and the frame constants that carry them to the shader.
#include "PointCloudState.h"

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ClippingPlanes.h>

#include <lumaro/math/TriangleMesh.h>

#include "GreyLevelStretch.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace Render {

namespace {

constexpr float defaultPointSizeFactor = 5.1f;

// The group of a model-space mesh's distances in the shared mesh-distance cache: a new one for
// every mesh, and for every world matrix a mesh is seen through.
int nextMeshGroup()
{
    static std::atomic<int> next{0};
    return next.fetch_add(1);
}

void storeColor(float (&to)[4], const Math::Color& color)
{
    const std::array<float, 4> channels = color.toFloats();
    std::copy(channels.begin(), channels.end(), to);
}

void storePlane(float (&to)[4], const Math::NPlane<float, 3>& plane)
{
    const Eigen::Vector4f coefficients = plane.coefficients();
    std::copy_n(coefficients.data(), 4, to);
}

bool isTomographic(RenderMode mode)
{
    return mode == RenderMode::TomographicDark || mode == RenderMode::TomographicBright;
}

} // namespace

float PointCloudRenderable::pointSize() const
{
    return mPointSize;
}

void PointCloudRenderable::setPointSize(float pointSize)
{
    changeConstant(mPointSize, pointSize);
}

float PointCloudRenderable::maxPointSize() const
{
    return mMaxPointSize;
}

void PointCloudRenderable::setMaxPointSize(float pixels)
{
    changeConstant(mMaxPointSize, pixels);
}

float PointCloudRenderable::defaultPointSize() const
{
    return static_cast<float>(mOctree->spacing(0)) * defaultPointSizeFactor;
}

float PointCloudRenderable::tomographicContrast() const
{
    return mTomographicContrast;
}

void PointCloudRenderable::setTomographicContrast(float contrast)
{
    changeConstant(mTomographicContrast, contrast);
}

Math::Color PointCloudRenderable::uniformColor() const
{
    return mUniformColor;
}

void PointCloudRenderable::setUniformColor(const Math::Color& color)
{
    changeConstant(mUniformColor, color);
}

bool PointCloudRenderable::showBoundingBoxes() const
{
    return mShowBoundingBoxes;
}

void PointCloudRenderable::setShowBoundingBoxes(bool show)
{
    if (show == mShowBoundingBoxes)
        return;
    mShowBoundingBoxes = show;
    setNeedsRedraw(true);
}

void PointCloudRenderable::setSelected(bool selected)
{
    if (selected == this->selected())
        return;
    Renderable::setSelected(selected);
    markConstantsDirty();
}

void PointCloudRenderable::setVisible(bool visible)
{
    if (visible == this->visible())
        return;
    Renderable::setVisible(visible);
    mVisibleForLoader.store(visible);
    if (visible)
        restartLoading();
    else
        clearVisibleOctreeNodes();
}

bool PointCloudRenderable::isTransparent() const
{
    const std::lock_guard lock(mMutex);
    return isTomographic(mLoaderState->rating.renderMode);
}

std::optional<Math::Color> PointCloudRenderable::backgroundColor()
{
    if (isTransparent())
        return Math::Color(0, 0, 0, 0);
    return std::nullopt;
}

void PointCloudRenderable::brightnessAndContrast(float lowerFraction, float upperFraction, float& brightness,
                                                 float& contrast)
{
    if (!mRenderState) {
        brightness = 0.0f;
        contrast = 1.0f;
        return;
    }
    bool byIntensity = false;
    {
        const std::lock_guard lock(mMutex);
        byIntensity = mLoaderState->rating.renderMode == RenderMode::Intensity;
    }
    const GreyLevelStretch stretch =
        proposeGreyLevelStretch(mRenderState->newestBuffers().vertices, byIntensity, lowerFraction, upperFraction);
    brightness = stretch.brightness;
    contrast = stretch.contrast;
}

void PointCloudRenderable::onUpdateRenderMode(RenderMode mode)
{
    changeRating([&](NodeRating& rating) { return assignIfChanged(rating.renderMode, mode); });
}

void PointCloudRenderable::onUpdateColorMap(ColorMap map)
{
    if (!changeConstant(mColorMap, map))
        return;
    restartLoading();
}

void PointCloudRenderable::onUpdateColorMapRange(float minDistance, float maxDistance)
{
    changeRating([&](NodeRating& rating) {
        const bool minChanged = assignIfChanged(rating.minDistance, minDistance);
        const bool maxChanged = assignIfChanged(rating.maxDistance, maxDistance);
        return minChanged || maxChanged;
    });
}

void PointCloudRenderable::onUpdatePassFailDistanceRange(float minDistance, float maxDistance)
{
    changeConstant(mMinDistancePassFail, minDistance);
    changeConstant(mMaxDistancePassFail, maxDistance);
}

void PointCloudRenderable::onUpdateWarnDistanceRange(float minDistance, float maxDistance)
{
    changeConstant(mMinDistanceWarn, minDistance);
    changeConstant(mMaxDistanceWarn, maxDistance);
}

void PointCloudRenderable::onUpdateTomographicColor(const Math::Color& color)
{
    changeConstant(mTomographicColor, color);
}

void PointCloudRenderable::onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors)
{
    changeConstant(mUseCloudColorsInTomographicRenderModes, useCloudColors);
}

void PointCloudRenderable::onUpdateUseSignedDistance(bool useSignedDistance)
{
    changeRating([&](NodeRating& rating) { return assignIfChanged(rating.signedDistance, useSignedDistance); });
}

void PointCloudRenderable::onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane)
{
    changeRating([&](NodeRating& rating) { return assignIfChanged(rating.plane, plane); });
}

void PointCloudRenderable::onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh)
{
    mMesh = mesh;
    rebuildModelMesh();
    clearVisibleOctreeNodes();
}

void PointCloudRenderable::onUpdatePointClasses(const PointClasses& classes)
{
    if (!assignIfChanged(mPointClasses, classes))
        return;
    if (mRenderState)
        mRenderState->classesDirty = true;
    setNeedsRedraw(true);
}

void PointCloudRenderable::onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera)
{
    takeProjection(*camera);
    restartLoading();
}

void PointCloudRenderable::onUpdateViewMatrix(const std::shared_ptr<Camera>& camera)
{
    takeCameraView(*camera);
    if (mRestartLoadingAfterCameraChange)
        restartLoading();
}

void PointCloudRenderable::onUpdateViewport(const std::shared_ptr<Camera>& camera)
{
    const std::lock_guard lock(mMutex);
    mLoaderState->rating.viewport = camera->viewport();
    markConstantsDirty();
}

void PointCloudRenderable::onUpdateZRange(const std::shared_ptr<Camera>& camera)
{
    // Near and far move with every frame when the renderer adapts them; that changes the picture,
    // not which nodes matter, so loading goes on undisturbed.
    takeProjection(*camera);
}

void PointCloudRenderable::takeCameraView(const Camera& camera)
{
    const std::lock_guard lock(mMutex);
    mLoaderState->view = camera.viewMatrix();
    mLoaderState->worldEye = camera.eye();
    mLoaderState->updateView();
    markConstantsDirty();
}

void PointCloudRenderable::takeProjection(const Camera& camera)
{
    const std::lock_guard lock(mMutex);
    NodeRating& rating = mLoaderState->rating;
    rating.projection = camera.projectionMatrix();
    rating.orthographic = camera.isOrthographic();
    rating.fieldOfView = camera.fovYRad();
    rating.viewport = camera.viewport();
    mLoaderState->nearPlane = camera.zNear();
    mLoaderState->farPlane = camera.zFar();
    mLoaderState->updateView();
    markConstantsDirty();
}

void PointCloudRenderable::takeWorldMatrix()
{
    const Eigen::Matrix4f world = worldMatrix();
    {
        const std::lock_guard lock(mMutex);
        mLoaderState->rating.world = world;
        mLoaderState->inverseWorld = world.inverse();
        mLoaderState->rating.modelScale = world.col(0).head<3>().norm();
        mLoaderState->rating.clippingVolume =
            Math::ConvexPolytope<float, 3>(mClippingHalfSpaces).transformed(mLoaderState->inverseWorld);
        mLoaderState->updateView();
    }
    rebuildModelMesh();
    markConstantsDirty();
}

void PointCloudRenderable::rebuildModelMesh()
{
    std::shared_ptr<const Math::TriangleMesh<float>> modelMesh;
    if (mMesh) {
        Eigen::Matrix4f inverseWorld;
        {
            const std::lock_guard lock(mMutex);
            inverseWorld = mLoaderState->inverseWorld;
        }
        modelMesh = std::make_shared<const Math::TriangleMesh<float>>(mMesh->transformed(inverseWorld));
    }
    const std::lock_guard lock(mMutex);
    mLoaderState->rating.modelMesh = std::move(modelMesh);
    mLoaderState->meshGroup = nextMeshGroup();
}

void PointCloudRenderable::markConstantsDirty()
{
    if (mRenderState)
        mRenderState->constantsDirty = true;
    setNeedsRedraw(true);
}

PointCloudFrameConstants PointCloudRenderable::frameConstants() const
{
    PointCloudFrameConstants constants{};
    {
        const std::lock_guard lock(mMutex);
        const LoaderState& state = *mLoaderState;
        const NodeRating& rating = state.rating;
        const Eigen::Matrix4f viewProjection = rating.projection * state.view;
        const Eigen::Matrix4f modelViewProjection = viewProjection * rating.world;
        storeMatrix(constants.model, rating.world);
        storeMatrix(constants.invModel, state.inverseWorld);
        storeMatrix(constants.view, state.view);
        storeMatrix(constants.proj, rating.projection);
        storeMatrix(constants.modelViewProj, modelViewProjection);
        storeMatrix(constants.invModelViewProj, modelViewProjection.inverse());
        storeMatrix(constants.invViewProj, viewProjection.inverse());
        const auto& planes = rating.clippingVolume.halfSpaces();
        for (std::size_t i = 0; i < planes.size() && i < maxClippingPlanes; ++i)
            storePlane(constants.clippingPlanes[i], planes[i].plane());
        storePlane(constants.distancePlane, rating.plane);
        constants.nearPlane = state.nearPlane;
        constants.farPlane = state.farPlane;
        constants.width = static_cast<float>(rating.viewport.width());
        constants.height = static_cast<float>(rating.viewport.height());
        constants.aspect = constants.width / constants.height;
        constants.modelScale = rating.modelScale;
        constants.minDistance = rating.minDistance;
        constants.maxDistance = rating.maxDistance;
        constants.pointRenderMode = static_cast<std::int32_t>(rating.renderMode);
        constants.useSignedDistance = rating.signedDistance ? 1 : 0;
    }
    storeColor(constants.uniformColor, mUniformColor);
    storeColor(constants.tomographicColor, mTomographicColor);
    constants.pointSize = mPointSize;
    constants.rootNodeSize = mOctree->boundingCube().size().x();
    constants.maxPointSize = mMaxPointSize;
    constants.tomoContrast = mTomographicContrast;
    constants.minDistancePassFail = mMinDistancePassFail;
    constants.maxDistancePassFail = mMaxDistancePassFail;
    constants.minDistanceWarn = mMinDistanceWarn;
    constants.maxDistanceWarn = mMaxDistanceWarn;
    constants.colorMap = static_cast<std::int32_t>(mColorMap);
    constants.selected = selected() ? 1 : 0;
    constants.useCloudColorsInTomographicRenderModes = mUseCloudColorsInTomographicRenderModes ? 1 : 0;
    return constants;
}

} // namespace Render
