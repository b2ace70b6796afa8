#pragma once

#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/octree/potree/FileSystemLocation.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#if defined(_WIN32)
#include <d3d11.h> // the null device pointers handed to init are COM pointers there
#endif

namespace RenderTest {

// A renderer id of its own for every cloud set that should not share a prioritizer with others.
inline std::size_t freshRendererId()
{
    static std::atomic<std::size_t> next{1u << 20};
    return next++;
}

inline Octree::Location locationOf(const std::filesystem::path& folder)
{
    return PoTree::FileSystemLocation(folder);
}

// Points the camera down at the whole box, orthographically, in a 640 x 480 view.
inline void lookDownAt(Render::Camera& camera, const Math::NBoundingBox<float, 3>& box)
{
    camera.setViewport(640, 480);
    const Render::TopView top = Render::topView(box, 640, 480);
    camera.setPose(top.pose.eye, top.pose.target, top.pose.up);
    camera.setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
    camera.setZNearAndFarViaBoundingBox(box);
}

// A point cloud initialised without a device (nothing is drawn) for a renderer of its own, seen
// whole from above, with every node in view worth loading (priority threshold 0).
struct ViewedCloud {
    explicit ViewedCloud(std::shared_ptr<Render::PointCloudRenderable> shown,
                         std::size_t rendererId = freshRendererId())
        : camera(std::make_shared<Render::Camera>(false)), cloud(std::move(shown))
    {
        lookDownAt(*camera, cloud->boundingBoxWorld());
        cloud->init(rendererId, camera, nullptr, nullptr);
        cloud->setOctreeNodePriorityThreshold(0.0f);
    }

    std::shared_ptr<Render::Camera> camera;
    std::shared_ptr<Render::PointCloudRenderable> cloud;
};

// Polls `done` until it holds or a few seconds passed; returns whether it held.
inline bool eventually(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace RenderTest
