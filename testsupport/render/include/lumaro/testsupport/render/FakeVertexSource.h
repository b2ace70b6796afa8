#pragma once

#include <lumaro/render/pointcloud/NodePriority.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <numbers>
#include <stdexcept>

namespace RenderTest {

// A priority of the given size and distance, through the perspective formula: the cube [-1, 1]^3
// seen from (0, 0, distance) with a 90 degree field of view over 480 pixels is
// 240 / distance * sqrt(3) * scale pixels large.
inline Render::NodePriority priorityOfSize(float size, float distance = 1.0f)
{
    const Math::Frustum<float> everywhere(Eigen::Matrix4f::Zero());
    const float scale = size * distance / (240.0f * std::sqrt(3.0f));
    return Render::NodePriority::perspective(
        {Math::Point<float, 3>(-1.0f, -1.0f, -1.0f), Math::Point<float, 3>(1.0f, 1.0f, 1.0f)}, everywhere, {},
        {0.0f, 0.0f, distance}, scale, Render::Viewport(640, 480), std::numbers::pi_v<float> / 2.0f, 0.0f);
}

// The cube of a node when the root is [0, rootSize]^3.
inline Math::NBoundingBox<float, 3> cubeOf(Octree::OctreeNodeId node, float rootSize)
{
    const auto cell = node.gridPosition();
    const float edge = rootSize / static_cast<float>(1u << node.level());
    const Math::Point<float, 3> min(edge * static_cast<float>(cell[0]), edge * static_cast<float>(cell[1]),
                                    edge * static_cast<float>(cell[2]));
    return {min, Math::Point<float, 3>(min + Eigen::Vector3f::Constant(edge))};
}

// Hands out nodes of a given number of points (pointsOf), marking each vertex with the node's id
// in its scan index and the point's number in its class index, and counts the fetches.
class FakeVertexSource : public Render::NodeVertexSource {
public:
    explicit FakeVertexSource(std::function<std::size_t(Octree::OctreeNodeId)> pointsOf)
        : mPointsOf(std::move(pointsOf))
    {}

    std::optional<Render::VertexContainer> fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token) override
    {
        {
            std::lock_guard lock(mMutex);
            ++mFetches[node];
        }
        ++mTotalFetches;
        if (mBeforeReturn)
            mBeforeReturn(node);
        Render::VertexContainer vertices;
        vertices.resize(mPointsOf(node));
        for (std::size_t i = 0; i < vertices.size(); ++i) {
            vertices.setScanIndex(i, static_cast<unsigned short>(node.value()));
            vertices.setClassIndex(i, static_cast<unsigned char>(i));
        }
        return vertices;
    }

    std::size_t fetches(Octree::OctreeNodeId node) const
    {
        std::lock_guard lock(mMutex);
        const auto found = mFetches.find(node);
        return found == mFetches.end() ? 0 : found->second;
    }
    std::size_t totalFetches() const { return mTotalFetches.load(); }
    // Runs inside every fetch, after counting it: to throw, or to act while the offer is unlocked.
    void setBeforeReturn(std::function<void(Octree::OctreeNodeId)> action) { mBeforeReturn = std::move(action); }

private:
    std::function<std::size_t(Octree::OctreeNodeId)> mPointsOf;
    std::function<void(Octree::OctreeNodeId)> mBeforeReturn;
    mutable std::mutex mMutex;
    std::map<Octree::OctreeNodeId, std::size_t> mFetches;
    std::atomic<std::size_t> mTotalFetches{0};
};

} // namespace RenderTest
