#pragma once

// The parts of a PointCloudRenderable that its implementation files share: the state the loading
// thread reads, the state of the render thread, and the patterns of changing a setting.

#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/render/pointcloud/NodePrioritizer.h>
#include <lumaro/render/pointcloud/PointCloudBuffers.h>

#include <lumaro/core/TripleBuffer.h>

#include "NodeRating.h"
#include "PointCloudConstants.h"
#include "PointCloudDrawer.h"
#include "RendererShares.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace Render {

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
    std::size_t rendererId = 0;
    std::shared_ptr<NodePrioritizer> prioritizer;
    std::shared_ptr<LoaderPools> loaderPools;
    // The prioritizer's departures when this cloud last published: nodes that left since (a lower
    // budget, another cloud's more important nodes) are still drawn until it publishes again.
    std::atomic<std::uint64_t> departuresPublished{0};
    // Whether this cloud has published anything yet: its first nodes are published at once, so
    // that the first picture does not wait for the update interval.
    std::atomic<bool> publishedOnce{false};
    Core::TripleBuffer<PointCloudBuffers> buffers;
    std::unique_ptr<PointCloudDrawer> drawer;
    PointCloudFrameConstants constants{};
    bool constantsDirty = true;
    // The point classes wait for upload to the drawer.
    bool classesDirty = true;
    // The read slot holds data the drawer has not uploaded yet.
    bool buffersFresh = false;

    const PointCloudBuffers& newestBuffers()
    {
        buffersFresh = buffers.swapRead() || buffersFresh;
        return buffers.readSlot();
    }
};

// Stores a value when it differs; whether it did.
template <typename T>
bool assignIfChanged(T& stored, const T& value)
{
    if (stored == value)
        return false;
    stored = value;
    return true;
}

template <typename T>
bool PointCloudRenderable::changeConstant(T& stored, const T& value)
{
    if (!assignIfChanged(stored, value))
        return false;
    markConstantsDirty();
    return true;
}

template <typename Change>
void PointCloudRenderable::changeRating(Change&& change)
{
    {
        const std::lock_guard lock(mMutex);
        if (!change(mLoaderState->rating))
            return;
    }
    markConstantsDirty();
    restartLoading();
}

} // namespace Render
