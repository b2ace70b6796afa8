#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/pointcloud/NodeDataLoading.h>
#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/PointCloudBuffers.h>
#include <lumaro/render/pointcloud/PointCloudQuery.h>

#include <lumaro/core/BackgroundThread.h>
#include <lumaro/core/TripleBuffer.h>
#include <lumaro/math/TriangleMesh.h>
#include <lumaro/octree/OperationCancelled.h>

#include "LocationPalette.h"
#include "MeshDistances.h"
#include "NodePrefetcher.h"
#include "NodeRating.h"
#include "PointCloudConstants.h"
#include "PointCloudDrawer.h"
#include "SharedCacheRegistry.h"

#include <algorithm>
#include <map>
#include <optional>
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
// Node requests a walk keeps in flight for a store on a web server.
constexpr std::size_t remoteNodesInFlight = 8;
constexpr std::size_t vertexCacheExpectedEntries = 4000;
constexpr std::size_t meshDistanceCacheCapacity = 1000;
constexpr std::size_t queryCacheCapacity = 2000000;
constexpr std::size_t queryCacheExpectedEntries = 4000;
constexpr float defaultPointSizeFactor = 5.1f;
constexpr std::size_t maxClippingPlanes = 8;
// Limits of the proposal of brightnessAndContrast.
constexpr float maxProposedContrast = 4.0f;
constexpr float maxProposedBrightness = 0.5f;

// One prioritizer per renderer, shared by its point clouds and living as long as one of them is
// initialised; its budget is the smallest of theirs.
std::shared_ptr<NodePrioritizer> sharedPrioritizer(std::size_t rendererId, std::size_t budget)
{
    static std::mutex mutex;
    static std::map<std::size_t, std::weak_ptr<NodePrioritizer>> prioritizers;
    const std::lock_guard lock(mutex);
    std::erase_if(prioritizers, [](const auto& entry) { return entry.second.expired(); });
    std::shared_ptr<NodePrioritizer> prioritizer = prioritizers[rendererId].lock();
    if (!prioritizer) {
        prioritizer = std::make_shared<NodePrioritizer>(budget);
        prioritizers[rendererId] = prioritizer;
    } else if (prioritizer->totalMaxPointCount() > budget) {
        prioritizer->setTotalMaxPointCount(budget);
    }
    return prioritizer;
}

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

// What the walk reads while the caller's thread may change it: guarded by mMutex.
struct PointCloudRenderable::LoaderState {
    NodeRating rating;
    Eigen::Matrix4f view = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f inverseWorld = Eigen::Matrix4f::Identity();
    Math::Point<float, 3> worldEye;
    float nearPlane = 0.01f;
    float farPlane = 20000.0f;
    UpdateInterval updateInterval{5000000};
    int meshGroup = -1;
    std::shared_ptr<RenderState> renderState;

    // The frustum and the eye follow view, projection and world matrix.
    void updateView()
    {
        rating.frustum = Math::Frustum<float>(rating.projection * view * rating.world);
        rating.eye = Math::Point<float, 3>((inverseWorld * worldEye.homogeneous()).hnormalized());
    }
};

// Exists between init and deinit. The prioritizer and the triple buffer are shared with the
// loading thread (each guards itself); the rest belongs to the caller's thread.
struct PointCloudRenderable::RenderState {
    std::shared_ptr<NodePrioritizer> prioritizer;
    Core::TripleBuffer<PointCloudBuffers> buffers;
    std::unique_ptr<PointCloudDrawer> drawer;
    PointCloudFrameConstants constants{};
    bool constantsDirty = true;
    // The read slot holds data the drawer has not uploaded yet.
    bool buffersFresh = false;

    const PointCloudBuffers& newestBuffers()
    {
        buffersFresh = buffers.swapRead() || buffersFresh;
        return buffers.readSlot();
    }
};

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
{
}

PointCloudRenderable::PointCloudRenderable(Private, std::shared_ptr<Octree::Octree> octree, const std::string& name,
                                           std::size_t budget)
    : Renderable(name), mOctree(std::move(octree)), mBudget(budget), mLoaderState(std::make_unique<LoaderState>())
{
    if (!mOctree)
        throw std::invalid_argument("PointCloudRenderable \"" + name + "\" needs an octree");
    const Octree::Location& location = mOctree->location();
    const double scale = mOctree->unitScale();
    mVertexCache = createOrGetSharedVertexContainerCache(location, scale, vertexCacheCapacity,
                                                         vertexCacheExpectedEntries);
    mMeshDistanceCache = createOrGetSharedMeshDistanceCache(location, scale, meshDistanceCacheCapacity);
    mQueryCache = PointCloudQuery::createOrGetSharedCache(location, scale, queryCacheCapacity,
                                                          queryCacheExpectedEntries);
    mPointSize = defaultPointSize();
    mUniformColor = locationColor(location);
}

PointCloudRenderable::~PointCloudRenderable()
{
    PointCloudRenderable::deinit();
}

std::shared_ptr<VertexContainerCache> PointCloudRenderable::createOrGetSharedVertexContainerCache(
    const Octree::Location& location, double unitScale, std::size_t capacity, std::size_t expectedEntries)
{
    return sharedCacheOf<VertexContainerCache>(location, unitScale, [&] {
        return std::make_shared<VertexContainerCache>(capacity, expectedEntries);
    });
}

std::shared_ptr<MeshDistanceCache> PointCloudRenderable::createOrGetSharedMeshDistanceCache(
    const Octree::Location& location, double unitScale, std::size_t capacity)
{
    return sharedCacheOf<MeshDistanceCache>(location, unitScale,
                                            [&] { return std::make_shared<MeshDistanceCache>(capacity); });
}

void PointCloudRenderable::init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                                ComPtr<ID3D11DeviceContext> context)
{
    if (mRenderState)
        throw std::runtime_error("Error init was called on an already initialized PointCloudRenderable");
    auto state = std::make_shared<RenderState>();
    state->prioritizer = sharedPrioritizer(rendererId, mBudget);
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

void PointCloudRenderable::reloadPoints(void (*onProgress)(), std::size_t maxLevel, std::stop_token stop)
{
    reloadPoints(onProgress ? std::function<void()>(onProgress) : std::function<void()>(), maxLevel, std::move(stop));
}

void PointCloudRenderable::reloadPoints(std::function<void()> onProgress, std::size_t maxLevel, std::stop_token stop)
{
    std::shared_ptr<RenderState> state;
    NodeRating rating;
    UpdateInterval interval;
    {
        const std::lock_guard lock(mMutex);
        state = mLoaderState->renderState;
        rating = mLoaderState->rating;
        interval = mLoaderState->updateInterval;
    }
    if (!state)
        throw std::runtime_error("reloadingPoints is not allowed if PointCloudRenderable is not initialized");
    NodePrioritizer& prioritizer = *state->prioritizer;
    const std::size_t instance = id();

    // The resident nodes first take the priorities of the current view, so that what this walk
    // admits displaces what matters least now. Nodes it discards (out of a distance range, say)
    // leave the drawn set: that alone is reason to publish.
    const bool redrawn = prioritizer.reprioritize(
        instance,
        [&](Octree::OctreeNodeId node, const Math::NBoundingBox<float, 3>& cube) {
            return rating.rate(node.level(), cube);
        },
        stop);
    if (stop.stop_requested())
        return;

    struct Pending {
        Octree::OctreeNodeId node;
        NodePriority priority;
    };
    const auto lessImportant = [](const Pending& a, const Pending& b) { return a.priority < b.priority; };
    // A max-heap in a vector, so that the prefetcher can look beyond its top.
    std::vector<Pending> heap{{Octree::OctreeNodeId::root(), NodePriority::keep()}};
    // A store far away is read several nodes at once: the best pending ones are fetched ahead.
    std::optional<NodePrefetcher> prefetcher;
    if (mOctree->location().isUrl())
        prefetcher.emplace(static_cast<NodeVertexSource&>(*this), remoteNodesInFlight, stop);
    // Only nodes that the budget can still take are fetched ahead: `next`, the node being
    // offered now, and those requested before it take their share of the budget first.
    const auto prefetchBest = [&](const Pending& next, std::size_t nextPoints) {
        if (!prefetcher)
            return;
        std::size_t ahead = prefetcher->promisedPoints() + (prefetcher->wasRequested(next.node) ? 0 : nextPoints);
        while (prefetcher->hasRoom()) {
            const Pending* best = nullptr;
            for (const Pending& pending : heap)
                if (!prefetcher->wasRequested(pending.node) && (!best || lessImportant(*best, pending)))
                    best = &pending;
            if (!best)
                return;
            std::size_t points = 0;
            try {
                points = mOctree->pointCount(best->node);
            } catch (...) {
                // The walk reaches the node itself and reports what is wrong with it.
                prefetcher->request(best->node, 0);
                continue;
            }
            if (points > 0 && !prioritizer.couldAdmit(best->priority, ahead + points))
                return;
            prefetcher->request(best->node, points);
            ahead += points;
        }
    };
    auto lastPublication = std::chrono::steady_clock::now();
    bool changed = redrawn;
    // A damaged part of the store costs only that part: the walk goes on, and the first error is
    // reported when it is done.
    std::exception_ptr firstError;
    const auto remember = [&] {
        if (!firstError)
            firstError = std::current_exception();
    };

    while (!heap.empty()) {
        if (changed && std::chrono::steady_clock::now() - lastPublication > interval) {
            publish(onProgress);
            lastPublication = std::chrono::steady_clock::now();
            changed = false;
        }
        std::pop_heap(heap.begin(), heap.end(), lessImportant);
        const Pending next = heap.back();
        heap.pop_back();

        bool descend = false;
        try {
            const std::size_t points = mOctree->pointCount(next.node);
            prefetchBest(next, points);
            if (prefetcher)
                prefetcher->await(next.node);
            if (points == 0) {
                // Nothing to draw here, but the children may hold points (stores have such nodes).
                descend = true;
            } else if (!prioritizer.couldAdmit(next.priority, points)) {
                // The budget cannot take it even in place of every node that matters less: it
                // is not read, and, as below a node the budget refuses, the walk ends here.
                descend = false;
            } else {
                const NodePrioritizer::OfferResult offered = prioritizer.offer(
                    {instance, next.node}, mOctree->boundingCube(next.node), next.priority, *this, stop);
                changed = changed || offered.changed;
                descend = offered.resident || offered.empty;
            }
        } catch (const Octree::OperationCancelled&) {
            return;
        } catch (...) {
            if (stop.stop_requested())
                return;
            remember();
            descend = true; // its children may be intact
        }
        if (stop.stop_requested())
            return;

        const std::size_t level = Octree::Octree::level(next.node);
        if (!descend || level >= maxLevel)
            continue;
        try {
            for (const Octree::OctreeNodeId child : mOctree->children(next.node, stop)) {
                if (mOctree->nodeVisibility(child) == Octree::NodeVisibility::AllHidden)
                    continue;
                const NodePriority priority = rating.rate(level + 1, mOctree->boundingCube(child));
                if (priority > NodePriority::discard()) {
                    heap.push_back({child, priority});
                    std::push_heap(heap.begin(), heap.end(), lessImportant);
                }
            }
        } catch (const Octree::OperationCancelled&) {
            return;
        } catch (...) {
            if (stop.stop_requested())
                return;
            remember();
        }
    }
    if (changed)
        publish(onProgress);
    onProgress = nullptr;
    if (firstError)
        std::rethrow_exception(firstError);
}

void PointCloudRenderable::publish(const std::function<void()>& onProgress)
{
    std::shared_ptr<RenderState> state;
    {
        const std::lock_guard lock(mMutex);
        state = mLoaderState->renderState;
    }
    if (!state)
        return;
    state->prioritizer->updateBuffers(id(), false, state->buffers);
    setNeedsRedraw(true);
    if (onProgress)
        onProgress();
}

std::optional<VertexContainer> PointCloudRenderable::fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop)
{
    std::optional<VertexContainer> vertices = loadNodeVertices(*mVertexCache, *mOctree, node, stop);
    if (!vertices || !updateMeshDistances(*vertices, node, stop))
        return std::nullopt;
    return vertices;
}

bool PointCloudRenderable::updateMeshDistances(VertexContainer& vertices, Octree::OctreeNodeId node,
                                               std::stop_token stop)
{
    std::shared_ptr<const Math::TriangleMesh<float>> mesh;
    int group = 0;
    float scale = 1.0f;
    {
        const std::lock_guard lock(mMutex);
        mesh = mLoaderState->rating.modelMesh;
        group = mLoaderState->meshGroup;
        scale = mLoaderState->rating.modelScale;
    }
    if (!mesh)
        return true;
    const std::optional<std::vector<float>> distances = getOrComputeMeshDistances(
        *mMeshDistanceCache, group, node, [&] { return meshDistances(vertices, *mesh, scale, stop); });
    if (!distances)
        return false;
    vertices.setDistances(*distances);
    return true;
}

void PointCloudRenderable::startAsyncReload(void (*onProgress)(), std::size_t maxLevel)
{
    startAsyncReload(onProgress ? std::function<void()>(onProgress) : std::function<void()>(), maxLevel);
}

void PointCloudRenderable::startAsyncReload(std::function<void()> onProgress, std::size_t maxLevel)
{
    if (mLoader)
        return;
    mLoader = std::make_unique<Core::BackgroundThread>(
        [this, onProgress = std::move(onProgress), maxLevel](std::stop_token stop) {
            try {
                if (mVisibleForLoader.load())
                    reloadPoints(onProgress, maxLevel, stop);
                else if (onProgress)
                    onProgress();
                // Only a walk that went all the way tells that the store is healthy again.
                if (!stop.stop_requested()) {
                    const std::lock_guard lock(mErrorMutex);
                    mLoaderError = nullptr;
                }
            } catch (...) {
                const std::lock_guard lock(mErrorMutex);
                mLoaderError = std::current_exception();
            }
        });
}

void PointCloudRenderable::stopAsyncReload()
{
    mLoader.reset();
}

bool PointCloudRenderable::isAsyncReloadActive() const
{
    return mLoader != nullptr;
}

bool PointCloudRenderable::isAsyncReloadHealthy(bool rethrow) const
{
    if (!mLoader)
        return true;
    std::exception_ptr error;
    {
        const std::lock_guard lock(mErrorMutex);
        error = mLoaderError;
    }
    if (!error)
        return true;
    if (rethrow)
        std::rethrow_exception(error);
    return false;
}

void PointCloudRenderable::restartLoading()
{
    if (mLoader && visible())
        mLoader->restart();
}

PointCloudRenderable::UpdateInterval PointCloudRenderable::updateInterval() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->updateInterval;
}

void PointCloudRenderable::setUpdateInterval(UpdateInterval interval)
{
    if (interval.count() <= 0)
        throw std::invalid_argument("updateInterval must be larger than 0!");
    const std::lock_guard lock(mMutex);
    mLoaderState->updateInterval = interval;
}

bool PointCloudRenderable::restartLoadingAfterCameraChange() const
{
    return mRestartLoadingAfterCameraChange;
}

void PointCloudRenderable::setRestartLoadingAfterCameraChange(bool restart)
{
    mRestartLoadingAfterCameraChange = restart;
}

float PointCloudRenderable::octreeNodePriorityThreshold() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating.threshold;
}

void PointCloudRenderable::setOctreeNodePriorityThreshold(float threshold)
{
    {
        const std::lock_guard lock(mMutex);
        mLoaderState->rating.threshold = threshold;
    }
    clearVisibleOctreeNodes();
}

std::size_t PointCloudRenderable::minLevelToKeep() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating.minLevelToKeep;
}

void PointCloudRenderable::setMinLevelToKeep(std::size_t level)
{
    const std::lock_guard lock(mMutex);
    mLoaderState->rating.minLevelToKeep = level;
}

std::size_t PointCloudRenderable::maxLevelToKeep() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating.maxLevelToKeep;
}

void PointCloudRenderable::setMaxLevelToKeep(std::size_t level)
{
    const std::lock_guard lock(mMutex);
    mLoaderState->rating.maxLevelToKeep = level;
}

NodeRating PointCloudRenderable::currentRating() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating;
}

NodePriority PointCloudRenderable::boundingBoxPriority(std::size_t level, const Math::NBoundingBox<float, 3>& box)
{
    return currentRating().rate(level, box);
}

std::shared_ptr<NodePrioritizer> PointCloudRenderable::nodePrioritizer() const
{
    return mRenderState ? mRenderState->prioritizer : nullptr;
}

void PointCloudRenderable::clearVisibleOctreeNodes()
{
    if (mRenderState) {
        // The walk that is ending must not admit a node after the clear.
        if (mLoader)
            mLoader->stop();
        mRenderState->prioritizer->clear(id());
        mRenderState->prioritizer->updateBuffers(id(), false, mRenderState->buffers);
    }
    restartLoading();
    setNeedsRedraw(true);
}

std::size_t PointCloudRenderable::numVisibleOctreeNodes() const
{
    return mRenderState ? mRenderState->newestBuffers().nodeCount() : 0;
}

std::size_t PointCloudRenderable::numVisiblePoints() const
{
    return mRenderState ? mRenderState->newestBuffers().pointCount() : 0;
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
    mVertexCache = createOrGetSharedVertexContainerCache(location, unitScale, vertexCacheCapacity,
                                                         vertexCacheExpectedEntries);
    mMeshDistanceCache = createOrGetSharedMeshDistanceCache(location, unitScale, meshDistanceCacheCapacity);
    mQueryCache = PointCloudQuery::createOrGetSharedCache(location, unitScale, queryCacheCapacity,
                                                          queryCacheExpectedEntries);
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
    if (halfSpaces.size() > maxClippingPlanes)
        throw std::runtime_error("Error: volume contains too many clipping planes, plane count = "
                                 + std::to_string(halfSpaces.size()));
    mClippingHalfSpaces = halfSpaces;
    {
        const std::lock_guard lock(mMutex);
        mLoaderState->rating.clippingVolume =
            Math::ConvexPolytope<float, 3>(mClippingHalfSpaces).transformed(mLoaderState->inverseWorld);
    }
    markConstantsDirty();
    restartLoading();
}

Math::Frustum<float> PointCloudRenderable::frustumModelCs() const
{
    const std::lock_guard lock(mMutex);
    return mLoaderState->rating.frustum;
}

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
    brightness = 0.0f;
    contrast = 1.0f;
    if (!mRenderState)
        return;
    const auto& vertices = mRenderState->newestBuffers().vertices;
    lowerFraction = std::clamp(lowerFraction, 0.0f, 1.0f);
    upperFraction = std::clamp(upperFraction, 0.0f, 1.0f);
    if (vertices.empty() || !(lowerFraction < upperFraction))
        return;
    bool byIntensity = false;
    {
        const std::lock_guard lock(mMutex);
        byIntensity = mLoaderState->rating.renderMode == RenderMode::Intensity;
    }
    std::vector<float> levels;
    levels.reserve(vertices.size());
    for (const auto& vertex : vertices) {
        const Math::Color& color = vertex.color;
        levels.push_back(byIntensity ? vertex.intensity / 255.0f : (color.r() + color.g() + color.b()) / (3.0f * 255.0f));
    }
    const auto levelAt = [&](float fraction) {
        const auto position = levels.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<float>(levels.size() - 1));
        std::nth_element(levels.begin(), position, levels.end());
        return *position;
    };
    const float lower = levelAt(lowerFraction);
    const float upper = levelAt(upperFraction);
    if (!(upper > lower))
        return;
    // adjustBrightnessContrast maps a grey level g to contrast · (g + brightness - 0.5) + 0.5.
    contrast = std::clamp(1.0f / (upper - lower), 1.0f, maxProposedContrast);
    brightness = std::clamp(0.5f - (lower + upper) / 2.0f, -maxProposedBrightness, maxProposedBrightness);
}

void PointCloudRenderable::onUpdateRenderMode(RenderMode mode)
{
    {
        const std::lock_guard lock(mMutex);
        if (mode == mLoaderState->rating.renderMode)
            return;
        mLoaderState->rating.renderMode = mode;
    }
    markConstantsDirty();
    restartLoading();
}

void PointCloudRenderable::onUpdateColorMap(ColorMap map)
{
    if (!changeConstant(mColorMap, map))
        return;
    restartLoading();
}

void PointCloudRenderable::onUpdateColorMapRange(float minDistance, float maxDistance)
{
    {
        const std::lock_guard lock(mMutex);
        NodeRating& rating = mLoaderState->rating;
        if (rating.minDistance == minDistance && rating.maxDistance == maxDistance)
            return;
        rating.minDistance = minDistance;
        rating.maxDistance = maxDistance;
    }
    markConstantsDirty();
    restartLoading();
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
    {
        const std::lock_guard lock(mMutex);
        if (mLoaderState->rating.signedDistance == useSignedDistance)
            return;
        mLoaderState->rating.signedDistance = useSignedDistance;
    }
    markConstantsDirty();
    restartLoading();
}

void PointCloudRenderable::onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane)
{
    {
        const std::lock_guard lock(mMutex);
        if (mLoaderState->rating.plane == plane)
            return;
        mLoaderState->rating.plane = plane;
    }
    markConstantsDirty();
    restartLoading();
}

void PointCloudRenderable::onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh)
{
    mMesh = mesh;
    rebuildModelMesh();
    clearVisibleOctreeNodes();
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

template <typename T>
bool PointCloudRenderable::changeConstant(T& stored, const T& value)
{
    if (stored == value)
        return false;
    stored = value;
    markConstantsDirty();
    return true;
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

void PointCloudRenderable::render()
{
    Renderable::render();
    if (!mRenderState || !mRenderState->drawer || !visible())
        return;
    RenderState& state = *mRenderState;
    const PointCloudBuffers& buffers = state.newestBuffers();
    const bool constantsChanged = state.constantsDirty;
    if (constantsChanged)
        state.constants = frameConstants();
    state.drawer->draw(buffers, state.buffersFresh, state.constants, constantsChanged,
                       mShowBoundingBoxes ? std::optional<Math::Color>(mUniformColor) : std::nullopt);
    state.buffersFresh = false;
    state.constantsDirty = false;
}

std::shared_ptr<PointCloudQuery> PointCloudRenderable::createPointCloudQuery(IFilter* filter, std::size_t maxLevel,
                                                                             float minSpacing,
                                                                             std::chrono::nanoseconds fetchTimeLimit)
{
    return std::make_shared<PointCloudQuery>(mOctree, mQueryCache, worldMatrix(), filter, maxLevel, minSpacing,
                                             fetchTimeLimit);
}

} // namespace Render
