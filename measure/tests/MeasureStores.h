#pragma once

// Stores that the measurement tests read: real points indexed on their source's own grid, so
// that the source LAS file says exactly which points a measurement must find, and synthetic
// surfaces of known volume.
#include <lumaro/measure/RegionReader.h>

#include <lumaro/octree/Octree.h>
#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace MeasureTest {

// A LAS file of the test data indexed into a COPC file with nodes of at most `maxNodePoints`.
std::filesystem::path indexedLas(const TestSupport::TemporaryFolder& folder, const std::string& las,
                                 std::size_t maxNodePoints);

std::shared_ptr<const ::Octree::Octree> openStore(const std::filesystem::path& path);

// A surface sampled every 0.05 (at 0.025 + 0.05 i) over the 16 x 16 square of a Potree store's
// cube [0, 16]^3, its points spread over the eight nodes of level 1, except where `keep` says no.
using Surface = std::function<double(double x, double y)>;
using Keep = std::function<bool(double x, double y)>;
void writeSurface(const std::filesystem::path& folder, const Surface& height, const Keep& keep = {});

// A store that reads through another and records which nodes had their points read (through
// the common interface: model floats).
class RecordingTree : public ::Octree::Octree {
public:
    explicit RecordingTree(std::shared_ptr<const ::Octree::Octree> inner);

    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId node) const override;
    std::uint64_t pointCount() const override;
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override;
    std::optional<::Octree::NodePointData> nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                                                         ::Octree::PointAttributes wanted) const override;

    std::set<::Octree::OctreeNodeId> read() const;

private:
    std::shared_ptr<const ::Octree::Octree> mInner;
    mutable std::mutex mMutex;
    mutable std::set<::Octree::OctreeNodeId> mRead;
};

// Every node of a tree.
std::vector<::Octree::OctreeNodeId> allNodes(const ::Octree::Octree& tree);

} // namespace MeasureTest
