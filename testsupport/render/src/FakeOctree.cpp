#include <lumaro/testsupport/render/FakeOctree.h>

#include <lumaro/octree/potree/FileSystemLocation.h>

#include <cmath>
#include <stdexcept>
#include <thread>

namespace RenderTest {

using ::Octree::OctreeNodeId;

namespace {

Math::NBoundingBox<double, 3> cubeOf(double min, double size)
{
    return {Math::Point<double, 3>(min, min, min), Math::Point<double, 3>(min + size, min + size, min + size)};
}

} // namespace

FakeOctree::FakeOctree(const std::string& folder, std::size_t depth, double unitScale)
    : ::Octree::Octree(PoTree::FileSystemLocation(folder), unitScale, cubeOf(cubeMin, cubeSize),
                       cubeOf(cubeMin, cubeSize), 1.0),
      mDepth(depth)
{}

std::size_t FakeOctree::storedPointCount(OctreeNodeId node)
{
    return 10 + node.value() % 13;
}

Math::Point<double, 3> FakeOctree::worldPoint(OctreeNodeId node, std::size_t k)
{
    const auto cell = node.gridPosition();
    const double edge = cubeSize / std::ldexp(1.0, static_cast<int>(node.level()));
    const double fractions[3] = {static_cast<double>((k * 37) % 101) / 101.0,
                                 static_cast<double>((k * 53) % 103) / 103.0,
                                 static_cast<double>((k * 71) % 107) / 107.0};
    Math::Point<double, 3> point;
    for (int axis = 0; axis < 3; ++axis)
        point[axis] = cubeMin + edge * (cell[axis] + fractions[axis]);
    return point;
}

Math::Color FakeOctree::color(OctreeNodeId node, std::size_t k)
{
    return {static_cast<std::uint8_t>(k), static_cast<std::uint8_t>(node.level() * 40),
            static_cast<std::uint8_t>(node.childIndex() * 30), static_cast<std::uint8_t>(200 + k % 50)};
}

std::vector<OctreeNodeId> FakeOctree::children(OctreeNodeId node, std::stop_token) const
{
    std::vector<OctreeNodeId> result;
    if (node.level() < mDepth)
        for (std::size_t i = 0; i < 8; ++i)
            result.push_back(node.child(i));
    return result;
}

bool FakeOctree::contains(OctreeNodeId node) const
{
    return node.level() <= mDepth;
}

::Octree::NodeVisibility FakeOctree::nodeVisibility(OctreeNodeId) const
{
    return ::Octree::NodeVisibility::PerPoint;
}

std::uint64_t FakeOctree::pointCount() const
{
    std::uint64_t total = 0;
    visitBreadthFirst([&](OctreeNodeId node) { total += storedPointCount(node); });
    return total;
}

std::uint64_t FakeOctree::pointCount(OctreeNodeId node) const
{
    return storedPointCount(node);
}

::Octree::PointAttributes FakeOctree::availableAttributes() const
{
    return ::Octree::PointAttributes::all() - ::Octree::PointAttribute::Normal;
}

void FakeOctree::failReadsOf(OctreeNodeId node)
{
    std::lock_guard lock(mMutex);
    mFailing.insert(node);
}

std::optional<::Octree::NodePointData> FakeOctree::nodePointData(OctreeNodeId node, std::stop_token stop,
                                                                 ::Octree::PointAttributes wanted) const
{
    ++mReads;
    struct Reading {
        std::atomic<std::size_t>& now;
        explicit Reading(std::atomic<std::size_t>& reading, std::atomic<std::size_t>& most) : now(reading)
        {
            const std::size_t count = ++now;
            std::size_t seen = most.load();
            while (count > seen && !most.compare_exchange_weak(seen, count)) {
            }
        }
        ~Reading() { --now; }
    } reading(mReading, mMostAtOnce);
    if (!contains(node))
        throw std::invalid_argument("no node " + node.name() + " in " + location().toString());
    {
        std::lock_guard lock(mMutex);
        if (mFailing.contains(node))
            throw std::runtime_error("cannot read node " + node.name() + " of " + location().toString());
    }
    if (const auto delay = mReadDelay.load(); delay > 0)
        std::this_thread::sleep_for(std::chrono::microseconds(delay));
    if (stop.stop_requested())
        return std::nullopt;

    const std::size_t count = storedPointCount(node);
    ::Octree::NodePointData points(wanted & availableAttributes(), count);
    const Math::Point<double, 3> reference = referencePosition();
    for (std::size_t k = 0; k < count; ++k) {
        if (points.hasPositions())
            points.setPosition(k, (worldPoint(node, k) * unitScale() - reference).cast<float>());
        if (points.hasColors())
            points.setColor(k, color(node, k));
        if (points.hasIntensities())
            points.setIntensity(k, intensity(k));
        if (points.hasClassifications())
            points.setClassification(k, classification(k));
        if (points.hasScanIndices())
            points.setScanIndex(k, scanIndex(k));
        if (points.hasVisibility())
            points.setVisibility(k, hidden(k) ? 1 : 0);
    }
    return points;
}

} // namespace RenderTest
