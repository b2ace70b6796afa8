#include "MeasureStores.h"

#include <lumaro/indexer/Indexer.h>
#include <lumaro/octree/Location.h>
#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/TestStores.h>

#include <deque>

namespace MeasureTest {

std::filesystem::path indexedLas(const TestSupport::TemporaryFolder& folder, const std::string& las,
                                 std::size_t maxNodePoints)
{
    const std::filesystem::path output = folder.path() / (las + "-" + std::to_string(maxNodePoints) + ".copc.laz");
    Index::IndexOptions options;
    options.maxNodePoints = maxNodePoints;
    options.threads = 2;
    Index::indexToCopc({TestSupport::testStore("las/" + las + ".las")}, output, options);
    return output;
}

std::shared_ptr<const ::Octree::Octree> openStore(const std::filesystem::path& path)
{
    return ::Octree::Octree::open(::Octree::locationOf(path.string()));
}

void writeSurface(const std::filesystem::path& folder, const Surface& height, const Keep& keep)
{
    std::vector<TestSupport::StoreNode> nodes;
    for (int child = 0; child < 8; ++child)
        nodes.push_back({"r" + std::to_string(child), {}});
    for (int i = 0; i < 320; ++i) {
        for (int j = 0; j < 320; ++j) {
            const double x = 0.025 + 0.05 * i;
            const double y = 0.025 + 0.05 * j;
            if (keep && !keep(x, y))
                continue;
            // On the store's millimetre grid, so that the store holds exactly these heights.
            const double z = std::round(height(x, y) * 1000.0) / 1000.0;
            const int child = 4 * (x >= 8.0) + 2 * (y >= 8.0) + (z >= 8.0);
            nodes[child].points.push_back({x, y, z});
        }
    }
    TestSupport::writePotreeStore(folder, nodes);
}

RecordingTree::RecordingTree(std::shared_ptr<const ::Octree::Octree> inner)
    : Octree(inner->location(), 1.0, inner->worldBoundingCube(::Octree::OctreeNodeId::root()),
             inner->worldBoundingBox(), inner->spacing(0)),
      mInner(std::move(inner))
{}

std::vector<::Octree::OctreeNodeId> RecordingTree::children(::Octree::OctreeNodeId node, std::stop_token stop) const
{
    return mInner->children(node, stop);
}

bool RecordingTree::contains(::Octree::OctreeNodeId node) const
{
    return mInner->contains(node);
}

::Octree::NodeVisibility RecordingTree::nodeVisibility(::Octree::OctreeNodeId node) const
{
    return mInner->nodeVisibility(node);
}

std::uint64_t RecordingTree::pointCount() const
{
    return mInner->pointCount();
}

std::uint64_t RecordingTree::pointCount(::Octree::OctreeNodeId node) const
{
    return mInner->pointCount(node);
}

::Octree::PointAttributes RecordingTree::availableAttributes() const
{
    return mInner->availableAttributes();
}

std::optional<::Octree::NodePointData> RecordingTree::nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                                                                    ::Octree::PointAttributes wanted) const
{
    {
        const std::lock_guard lock(mMutex);
        mRead.insert(node);
    }
    return mInner->nodePointData(node, stop, wanted);
}

std::set<::Octree::OctreeNodeId> RecordingTree::read() const
{
    const std::lock_guard lock(mMutex);
    return mRead;
}

std::vector<::Octree::OctreeNodeId> allNodes(const ::Octree::Octree& tree)
{
    std::vector<::Octree::OctreeNodeId> nodes;
    std::deque<::Octree::OctreeNodeId> pending{::Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        nodes.push_back(pending.front());
        for (const auto child : tree.children(pending.front()))
            pending.push_back(child);
        pending.pop_front();
    }
    return nodes;
}

} // namespace MeasureTest
