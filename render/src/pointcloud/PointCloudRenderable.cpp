// A streamed point cloud: its life cycle, the shared caches it reads through, its bounds, drawing
// and queries. Loading is in PointCloudLoading.cpp, the appearance settings and the frame
// constants in PointCloudAppearance.cpp.
#include "PointCloudState.h"

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ClippingPlanes.h>
#include <lumaro/render/pointcloud/PointCloudQuery.h>

#include <lumaro/core/BackgroundThread.h>
#include <lumaro/math/TriangleMesh.h>

#include "LocationPalette.h"
#include "RendererShares.h"
#include "SharedCacheRegistry.h"

#include <stdexcept>
#include <string>
#include <utility>

#if defined(_WIN32)
// Only so that the by-value COM pointers of init can be released here; nothing calls Direct3D.
#include <d3d11.h>
#endif

namespace Render {

namespace {

constexpr std::size_t vertexCacheCapacity = 30000000;
constexpr std::size_t vertexCacheExpectedEntries = 4000;
constexpr std::size_t meshDistanceCacheCapacity = 1000;
constexpr std::size_t queryCacheCapacity = 2000000;
constexpr std::size_t queryCacheExpectedEntries = 4000;

} // namespace

std::shared_ptr<PointCloudRenderable> PointCloudRenderable::create(const Octree::Location& location,
                                                                   const std::string& name, std::size_t budget,
                                                                   double unitScale)
{
    return std::make_shared<PointCloudRenderable>(Private(), location, name, budget, unitScale);
}
std::shared_ptr<PointCloudRenderable> PointCloudRenderable::create(std::shared_ptr<Octree::Octree> octree,
                                                                   const std::string& name, std::size_t budget)
{
    return std::make_shared<PointCloudRenderable>(Private(), std::move(octree), name, budget);
}

PointCloudRenderable::PointCloudRenderable(Private tag, const Octree::Location& location, const std::string& name,
                                           std::size_t budget, double unitScale)
    : PointCloudRenderable(tag, Octree::Octree::open(location, unitScale), name, budget)
{}

PointCloudRenderable::PointCloudRenderable(Private, std::shared_ptr<Octree::Octree> octree, const std::string& name,
                                           std::size_t budget)
    : Renderable(name), mOctree(std::move(octree)), mBudget(budget), mLoaderState(std::make_unique<LoaderState>())
{
    if (!mOctree)
        throw std::invalid_argument("PointCloudRenderable \"" + name + "\" needs an octree");
    attachCaches();
    mPointSize = defaultPointSize();
    mUniformColor = locationColor(mOctree->location());
}

PointCloudRenderable::~PointCloudRenderable()
{
    PointCloudRenderable::deinit();
}

void PointCloudRenderable::attachCaches()
{
    const Octree::Location& location = mOctree->location();
    const double scale = mOctree->unitScale();
    mVertexCache =
        createOrGetSharedVertexContainerCache(location, scale, vertexCacheCapacity, vertexCacheExpectedEntries);
    mMeshDistanceCache = createOrGetSharedMeshDistanceCache(location, scale, meshDistanceCacheCapacity);
    mQueryCache =
        PointCloudQuery::createOrGetSharedCache(location, scale, queryCacheCapacity, queryCacheExpectedEntries);
}

std::shared_ptr<VertexContainerCache>
PointCloudRenderable::createOrGetSharedVertexContainerCache(const Octree::Location& location, double unitScale,
                                                            std::size_t capacity, std::size_t expectedEntries)
{
    return sharedCacheOf<VertexContainerCache>(location, unitScale, [&] {
        return std::make_shared<VertexContainerCache>(
            capacity, expectedEntries, nodeCacheMemory(),
            [](const VertexContainer& vertices) { return bytesOf(vertices); });
    });
}

std::shared_ptr<MeshDistanceCache>
PointCloudRenderable::createOrGetSharedMeshDistanceCache(const Octree::Location& location, double unitScale,
                                                         std::size_t capacity)
{
    return sharedCacheOf<MeshDistanceCache>(location, unitScale, [&] {
        return std::make_shared<MeshDistanceCache>(
            capacity, nodeCacheMemory(), [](const std::vector<float>& distances) { return bytesOf(distances); });
    });
}

void PointCloudRenderable::init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                                ComPtr<ID3D11DeviceContext> context)
{
    if (mRenderState)
        throw std::runtime_error("Error init was called on an already initialized PointCloudRenderable");
    auto state = std::make_shared<RenderState>();
    state->rendererId = rendererId;
    state->prioritizer = sharedPrioritizer(rendererId, mBudget);
    state->loaderPools = sharedLoaderPools(rendererId);
    state->drawer = createPointCloudDrawer(device, context);
    mCamera = std::move(camera);
    if (mCamera) {
        takeCameraView(*mCamera);
        takeProjection(*mCamera);
    }
    takeWorldMatrix();
    mRenderState = state;
    const std::lock_guard lock(mMutex);
    mLoaderState->renderState = std::move(state);
}

void PointCloudRenderable::deinit()
{
    mLoader.reset();
    if (mRenderState)
        mRenderState->prioritizer->clear(id());
    {
        const std::lock_guard lock(mMutex);
        mLoaderState->renderState.reset();
    }
    mRenderState.reset();
    mCamera.reset();
}

bool PointCloudRenderable::isInitialized() const
{
    return mRenderState != nullptr;
}

void PointCloudRenderable::addExternalAttributeLocation(const Octree::Location& location) const
{
    mOctree->addExternalAttributeLocation(location);
}

Math::NBoundingBox<float, 3> PointCloudRenderable::boundingBox()
{
    return mOctree->boundingBox();
}

Math::NBoundingBox<float, 3> PointCloudRenderable::boundingCube() const
{
    return mOctree->boundingCube();
}
Math::NBoundingBox<float, 3> PointCloudRenderable::boundingCube(Octree::OctreeNodeId node) const
{
    return mOctree->boundingCube(node);
}

Math::Point<double, 3> PointCloudRenderable::referencePosition() const
{
    return mOctree->referencePosition();
}

double PointCloudRenderable::spacing(std::size_t level) const
{
    return mOctree->spacing(level);
}

double PointCloudRenderable::unitScale() const
{
    return mOctree->unitScale();
}

void PointCloudRenderable::setUnitScale(double unitScale)
{
    if (unitScale == mOctree->unitScale())
        return;
    const Octree::Location& location = mOctree->location();
    cacheIdentifierOf(location, unitScale); // refuses a bad scale before anything changes
    if (mLoader)
        mLoader->stop();
    // Everyone's cached vertices carry coordinates of the old scale. This cloud moves on to the
    // caches of the new scale, so that no cache ever mixes two scales.
    {
        const std::lock_guard lock(mVertexCache->mutex());
        mVertexCache->clear();
    }
    mMeshDistanceCache->clear();
    mOctree->setUnitScale(unitScale);
    attachCaches();
    changeConstant(mPointSize, defaultPointSize());
    markConstantsDirty(); // the root cube's size
    clearVisibleOctreeNodes();
}

void PointCloudRenderable::invalidateWorldMatrix()
{
    Renderable::invalidateWorldMatrix();
    takeWorldMatrix();
    clearVisibleOctreeNodes();
}

void PointCloudRenderable::setClippingVolume(const std::vector<Math::HalfSpace<float, 3>>& halfSpaces)
{
    requireClippingPlaneCount(halfSpaces.size());
    mClippingHalfSpaces = halfSpaces;
    {
        const std::lock_guard lock(mMutex);
        mLoaderState->rating.clippingVolume =
            Math::ConvexPolytope<float, 3>(mClippingHalfSpaces).transformed(mLoaderState->inverseWorld);
    }
    markConstantsDirty();
    restartLoading();
}

void PointCloudRenderable::setClipVolumes(const ClipVolumes& volumes)
{
    if (volumes == mClipVolumes)
        return;
    mClipVolumes = volumes;
    changeRating([&](NodeRating& rating) {
        rating.clipVolumes = volumes;
        return true;
    });
}

Math::Frustum<float> PointCloudRenderable::frustumModelCs() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating.frustum;
}

void PointCloudRenderable::render()
{
    Renderable::render();
    if (!mRenderState || !mRenderState->drawer || !visible())
        return;
    RenderState& state = *mRenderState;
    const PointCloudBuffers& buffers = state.newestBuffers();
    const bool constantsChanged = state.constantsDirty;
    if (constantsChanged) {
        state.constants = frameConstants();
        state.drawer->setClipVolumes(clipVolumeConstants(mClipVolumes));
    }
    if (state.classesDirty)
        state.drawer->setPointClasses(mPointClasses);
    state.classesDirty = false;
    state.drawer->draw(buffers, state.buffersFresh, state.constants, constantsChanged,
                       mShowBoundingBoxes ? std::optional<Math::Color>(mUniformColor) : std::nullopt);
    state.buffersFresh = false;
    state.constantsDirty = false;
}

void PointCloudRenderable::renderSplats()
{
    if (!mRenderState || !mRenderState->drawer || !visible())
        return;
    // The slot that render() drew: a set published since then is not uploaded yet.
    mRenderState->drawer->drawSplats(mRenderState->buffers.readSlot());
}

std::shared_ptr<PointCloudQuery> PointCloudRenderable::createPointCloudQuery(IFilter* filter, std::size_t maxLevel,
                                                                             float minSpacing,
                                                                             std::chrono::nanoseconds fetchTimeLimit)
{
    return std::make_shared<PointCloudQuery>(mOctree, mQueryCache, worldMatrix(), filter, maxLevel, minSpacing,
                                             fetchTimeLimit);
}

} // namespace Render
