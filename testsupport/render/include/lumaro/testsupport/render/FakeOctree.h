#pragma once

#include <lumaro/octree/Octree.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <set>
#include <string>

namespace RenderTest {

// A complete synthetic octree, no store behind it: every node down to `depth` has all eight
// children, and the points of a node follow closed formulas of the node and the point's number,
// so tests can say what any node must contain without reading it.
//
// World cube: [cubeMin, cubeMin + cubeSize] on every axis, unscaled.
class FakeOctree : public Octree::Octree {
public:
    static constexpr double cubeMin = 100.0;
    static constexpr double cubeSize = 16.0;

    explicit FakeOctree(const std::string& folder, std::size_t depth = 3, double unitScale = 1.0);

    // What the store holds, by formula.
    static std::size_t storedPointCount(::Octree::OctreeNodeId node);
    // Point k of a node in unscaled world coordinates: inside the node's cube.
    static Math::Point<double, 3> worldPoint(::Octree::OctreeNodeId node, std::size_t k);
    static Math::Color color(::Octree::OctreeNodeId node, std::size_t k);
    static std::uint16_t intensity(std::size_t k) { return static_cast<std::uint16_t>(0x1234 + 300 * k); }
    static std::uint8_t classification(std::size_t k) { return static_cast<std::uint8_t>(k % 32); }
    static std::uint32_t scanIndex(std::size_t k) { return static_cast<std::uint32_t>(70000 + k); }
    // Every fifth point is hidden.
    static bool hidden(std::size_t k) { return k % 5 == 4; }

    using ::Octree::Octree::children;
    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId) const override;
    std::uint64_t pointCount() const override;
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override;
    std::optional<::Octree::NodePointData> nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                                                         ::Octree::PointAttributes wanted) const override;

    // How many reads nodePointData has done (a stopped read counts too).
    std::size_t reads() const { return mReads.load(); }
    // The most reads that were under way at the same time.
    std::size_t mostReadsAtOnce() const { return mMostAtOnce.load(); }
    // Reads of this node throw std::runtime_error from now on.
    void failReadsOf(::Octree::OctreeNodeId node);
    // Each read takes at least this long, so that concurrent reads overlap.
    void setReadDelay(std::chrono::microseconds delay) { mReadDelay.store(delay.count()); }

private:
    std::size_t mDepth;
    mutable std::atomic<std::size_t> mReads{0};
    mutable std::atomic<std::size_t> mReading{0};
    mutable std::atomic<std::size_t> mMostAtOnce{0};
    std::atomic<std::int64_t> mReadDelay{0};
    mutable std::mutex mMutex;
    std::set<::Octree::OctreeNodeId> mFailing;
};

} // namespace RenderTest
