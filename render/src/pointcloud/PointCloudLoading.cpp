// The loading of a streamed point cloud: walks on the caller's or a background thread, what they
// publish, and the settings that decide which nodes they load.
#include "PointCloudState.h"

#include <lumaro/render/pointcloud/NodeDataLoading.h>

#include <lumaro/core/BackgroundThread.h>
#include <lumaro/math/TriangleMesh.h>

#include "MeshDistances.h"
#include "NodeWalk.h"
#include "RendererShares.h"

#include <stdexcept>
#include <utility>

namespace Render {

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

    // The resident nodes first take the priorities of the current view, so that what this walk
    // admits displaces what matters least now. Nodes it discards (out of a distance range, say)
    // leave the drawn set: that alone is reason to publish.
    const bool redrawn = prioritizer.reprioritize(
        id(),
        [&](Octree::OctreeNodeId node, const Math::NBoundingBox<float, 3>& cube) {
            return rating.rate(node.level(), cube);
        },
        stop);
    // So is a node that left the resident set since this cloud last published (a lower budget,
    // another cloud's more important nodes): it is drawn until the next publication.
    const bool departed = prioritizer.departures() != state->departuresPublished.load();
    if (stop.stop_requested())
        return;
    NodeWalk walk({*mOctree, *this, id()}, prioritizer, std::move(rating), maxLevel, stop,
                  sharedLoaders(*state->loaderPools, state->rendererId, mOctree->location().isUrl()));
    walk.run(redrawn || departed, interval, !state->publishedOnce, [&] { publish(onProgress); });
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
    state->departuresPublished = state->prioritizer->departures();
    state->prioritizer->updateBuffers(id(), false, state->buffers);
    state->publishedOnce = true;
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

} // namespace Render
