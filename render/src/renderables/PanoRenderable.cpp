#include <lumaro/render/renderables/PanoRenderable.h>

#include "PanoConstants.h"
#include "PanoDrawer.h"
#include "gpu/StoreMatrix.h"

#include <lumaro/render/core/Camera.h>

#include <Eigen/LU>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <d3d11.h> // only to release the by-value COM pointers of init
#endif

namespace Render {

namespace {

enum class TileKind : std::uint32_t {
    Color = 0,
    Depth = 1
};

struct TileRequest {
    std::uint64_t tileId = 0;
    std::size_t level = 0;
    Eigen::Vector3f direction = Eigen::Vector3f::Zero(); // object space
    TileKind kind = TileKind::Color;
};

// Whether `a` is to be loaded before `b` when the view looks along `view`: the coarser level
// first, then the tile nearer the view direction, then colour before depth.
bool loadsBefore(const TileRequest& a, const TileRequest& b, const Eigen::Vector3f& view)
{
    if (a.level != b.level)
        return a.level < b.level;
    const float towardsA = view.dot(a.direction);
    const float towardsB = view.dot(b.direction);
    if (towardsA != towardsB)
        return towardsA > towardsB;
    return a.kind == TileKind::Color && b.kind == TileKind::Depth;
}

Eigen::Matrix4f matrixOf(const float (&source)[16])
{
    return Eigen::Map<const Eigen::Matrix4f>(source);
}

} // namespace

std::shared_ptr<PanoRenderable> PanoRenderable::create(const std::shared_ptr<Graphics::PanoramaLoader>& loader,
                                                       std::string name)
{
    return std::make_shared<PanoRenderable>(Private(), loader, std::move(name));
}

PanoRenderable::PanoRenderable(Private, std::shared_ptr<Graphics::PanoramaLoader> loader, std::string name)
    : Renderable(std::move(name)), mConstants(std::make_unique<PanoConstants>()), mLoader(std::move(loader))
{}

PanoRenderable::~PanoRenderable()
{
    stopAsyncPanoramaTilesLoading();
}

void PanoRenderable::init(std::size_t, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                          ComPtr<ID3D11DeviceContext> context)
{
    if (mLoader) {
        constexpr std::size_t shaderLevels = PanoConstants::shaderLevels;
        if (mLoader->numColorLevels() > shaderLevels || mLoader->numDepthLevels() > shaderLevels)
            throw std::invalid_argument("A panorama of " + std::to_string(mLoader->numColorLevels()) + " colour and "
                                        + std::to_string(mLoader->numDepthLevels())
                                        + " depth levels has more than the 4 of each that can be drawn");
        if (mLoader->tilesPerLevel() > static_cast<std::size_t>(MAX_TILES_PER_LEVEL))
            throw std::invalid_argument("A panorama of " + std::to_string(mLoader->tilesPerLevel())
                                        + " tiles per level has more than the 48 that can be drawn");
    }
    mCamera = std::move(camera);
    takeWorldMatrix();
    if (mCamera) {
        takeCamera(*mCamera);
        mViewDirection = mCamera->viewDirection();
    }
    updateObjectViewDirection();
    PanoConstants& constants = modifyConstants();
    if (mLoader) {
        constants.projectionType = static_cast<std::uint32_t>(mLoader->projectionKind());
        constants.colorLevels = static_cast<std::uint32_t>(mLoader->numColorLevels());
        constants.depthLevels = static_cast<std::uint32_t>(mLoader->numDepthLevels());
        constants.tileColumns = static_cast<std::uint32_t>(mLoader->tileColumns());
        constants.tileRows = static_cast<std::uint32_t>(mLoader->tileRows());
    }
    mDrawer = createPanoDrawer(device, context, mLoader.get(), constants);
}

void PanoRenderable::deinit() {}

void PanoRenderable::onUpdateRenderMode(RenderMode) {}

void PanoRenderable::onUpdateViewMatrix(const std::shared_ptr<Camera>& camera)
{
    takeCamera(*camera);
    mViewDirection = camera->viewDirection();
    updateObjectViewDirection();
}

void PanoRenderable::onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera)
{
    takeCamera(*camera);
}

void PanoRenderable::onUpdateZRange(const std::shared_ptr<Camera>& camera)
{
    takeCamera(*camera);
}

void PanoRenderable::onUpdateViewport(const std::shared_ptr<Camera>& camera)
{
    takeCamera(*camera);
}

void PanoRenderable::setMatrix(const Eigen::Matrix4f& matrix)
{
    Renderable::setMatrix(matrix);
    takeWorldMatrix();
    updateObjectViewDirection();
}

void PanoRenderable::invalidateWorldMatrix()
{
    Renderable::invalidateWorldMatrix();
    setNeedsRedraw(true);
    takeWorldMatrix();
}

void PanoRenderable::render()
{
    if (!mLoader)
        return;
    updatePanoramaTextures();
    setNeedsRedraw(false);
    if (!mDrawer)
        return;
    mDrawer->draw(*mConstants, mConstantsDirty);
    mConstantsDirty = false;
}

Math::NBoundingBox<float, 3> PanoRenderable::boundingBox()
{
    return {};
}

Core::JobState PanoRenderable::loadPanoramaTiles()
{
    return loadPanoramaTiles({}, {});
}

void PanoRenderable::startAsyncPanoramaTilesLoading(std::function<void()> onTileLoaded)
{
    // The running thread ends before the new one starts, so that its final state cannot
    // overwrite the new one's.
    stopAsyncPanoramaTilesLoading();
    // Running from now on, so that a wait that follows at once waits for this thread.
    mState = Core::JobState::Running;
    mThread = std::jthread([this, onTileLoaded = std::move(onTileLoaded)](std::stop_token stop) {
        loadPanoramaTiles(stop, onTileLoaded);
    });
}

void PanoRenderable::startAsyncPanoramaTilesLoading(void (*onTileLoaded)())
{
    startAsyncPanoramaTilesLoading(onTileLoaded ? std::function<void()>(onTileLoaded) : std::function<void()>());
}

void PanoRenderable::stopAsyncPanoramaTilesLoading()
{
    if (!mThread.joinable())
        return;
    mThread.request_stop();
    mThread.join();
    mThread = std::jthread();
}

bool PanoRenderable::isLoadingComplete() const
{
    return mState.load() == Core::JobState::Finished;
}

void PanoRenderable::waitForLoadingComplete() const
{
    while (mState.load() == Core::JobState::Running)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

Core::JobState PanoRenderable::loadPanoramaTiles(std::stop_token stop, const std::function<void()>& onTileLoaded)
{
    if (!mLoader) {
        mState = Core::JobState::Failed;
        return Core::JobState::Failed;
    }
    mState = Core::JobState::Running;
    try {
        std::vector<TileRequest> requests;
        const auto request = [&](std::uint64_t tile, TileKind kind) {
            const std::array<float, 3> direction = mLoader->tileDirection(tile);
            requests.push_back(
                {tile, mLoader->level(tile), Eigen::Vector3f(direction[0], direction[1], direction[2]), kind});
        };
        for (const std::uint64_t tile : mLoader->colorTiles())
            request(tile, TileKind::Color);
        for (const std::uint64_t tile : mLoader->depthTiles())
            request(tile, TileKind::Depth);

        while (!requests.empty() && !stop.stop_requested()) {
            Eigen::Vector3f view;
            {
                const std::lock_guard lock(mViewMutex);
                view = mObjectViewDirection;
            }
            std::size_t best = 0;
            for (std::size_t i = 1; i < requests.size(); ++i)
                if (loadsBefore(requests[i], requests[best], view))
                    best = i;
            const TileRequest chosen = requests[best];
            if (chosen.kind == TileKind::Color) {
                Graphics::ColorImage tile = mLoader->loadColorTile(chosen.tileId);
                const std::lock_guard lock(mTileMutex);
                mPendingColorTiles.emplace_back(chosen.tileId, std::move(tile));
            } else {
                Graphics::DepthImage tile = mLoader->loadDepthTile(chosen.tileId);
                const std::lock_guard lock(mTileMutex);
                mPendingDepthTiles.emplace_back(chosen.tileId, std::move(tile));
            }
            requests.erase(requests.begin() + static_cast<std::ptrdiff_t>(best));
            setNeedsRedraw(true);
            if (onTileLoaded)
                onTileLoaded();
        }
        const Core::JobState end = requests.empty() ? Core::JobState::Finished : Core::JobState::Stopped;
        mState = end;
        return end;
    } catch (...) {
        // The tiles that arrived stay and are drawn.
        mState = Core::JobState::Failed;
        return Core::JobState::Failed;
    }
}

void PanoRenderable::updatePanoramaTextures()
{
    std::vector<std::pair<std::uint64_t, Graphics::ColorImage>> colorTiles;
    std::vector<std::pair<std::uint64_t, Graphics::DepthImage>> depthTiles;
    {
        const std::lock_guard lock(mTileMutex);
        colorTiles.swap(mPendingColorTiles);
        depthTiles.swap(mPendingDepthTiles);
    }
    // A coarser level arriving after a finer one is stored but does not replace it on screen.
    const auto take = [this](std::uint64_t tile, PanoConstants::Level(&levels)[PanoConstants::maxTilesPerLevel]) {
        const std::size_t slice = mLoader->tileIndexWithinLevel(tile);
        const auto level = static_cast<std::uint32_t>(mLoader->level(tile));
        if (slice < PanoConstants::maxTilesPerLevel && levels[slice].value < level) {
            levels[slice].value = level;
            mConstantsDirty = true;
        }
        return slice;
    };
    for (const auto& [tile, image] : colorTiles) {
        const std::size_t slice = take(tile, mConstants->maxColorLevelPerTile);
        if (mDrawer)
            mDrawer->uploadColorTile(mLoader->level(tile), slice, image);
    }
    for (const auto& [tile, image] : depthTiles) {
        const std::size_t slice = take(tile, mConstants->maxDepthLevelPerTile);
        if (mDrawer)
            mDrawer->uploadDepthTile(mLoader->level(tile), slice, image);
    }
}

PanoConstants& PanoRenderable::modifyConstants()
{
    mConstantsDirty = true;
    return *mConstants;
}

void PanoRenderable::takeCamera(const Camera& camera)
{
    PanoConstants& constants = modifyConstants();
    const Eigen::Matrix4f world = matrixOf(constants.model);
    storeMatrix(constants.viewProjection, camera.viewProjectionMatrix());
    storeMatrix(constants.inverseModelViewProjection, (camera.viewProjectionMatrix() * world).inverse());
    storeMatrix(constants.inverseModelView, (camera.viewMatrix() * world).inverse());
    constants.zNear = camera.zNear();
    constants.zFar = camera.zFar();
}

void PanoRenderable::takeWorldMatrix()
{
    PanoConstants& constants = modifyConstants();
    const Eigen::Matrix4f world = worldMatrix();
    storeMatrix(constants.model, world);
    constants.scale = world.block<3, 1>(0, 0).norm();
    storeMatrix(constants.inverseModelViewProjection, (matrixOf(constants.viewProjection) * world).inverse());
}

void PanoRenderable::updateObjectViewDirection()
{
    Eigen::Vector3f direction = invWorldMatrix().topLeftCorner<3, 3>() * mViewDirection;
    if (direction.squaredNorm() > 0.0f)
        direction.normalize();
    const std::lock_guard lock(mViewMutex);
    mObjectViewDirection = direction;
}

} // namespace Render
