#include <lumaro/testsupport/render/FakeOctree.h>

#include <lumaro/render/pointcloud/NodeDataLoading.h>
#include <lumaro/render/pointcloud/PointCloudQuery.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/FailureOf.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <string>
#include <utility>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::VertexContainer;
using RenderTest::FakeOctree;
using TestSupport::failureOf;

std::size_t visibleCount(OctreeNodeId node)
{
    std::size_t count = 0;
    for (std::size_t k = 0; k < FakeOctree::storedPointCount(node); ++k)
        count += FakeOctree::hidden(k) ? 0 : 1;
    return count;
}

// The intensity that a loaded node stretches to full brightness: the 99th percentile of the root's
// 11 intensities, which rise with the point's number, is the one of point 9.
const std::uint32_t storeFullIntensity = FakeOctree::intensity(9);

// Compares a node's vertices with what the fake store holds, point by point. `fullIntensity` is
// the intensity stretched to 65535.
void expectVerticesOf(OctreeNodeId node, const VertexContainer& vertices, double unitScale = 1.0,
                      std::uint32_t fullIntensity = storeFullIntensity)
{
    ASSERT_EQ(vertices.size(), visibleCount(node)) << node.name();
    const double reference = FakeOctree::cubeMin * unitScale;
    std::size_t v = 0;
    for (std::size_t k = 0; k < FakeOctree::storedPointCount(node); ++k) {
        if (FakeOctree::hidden(k))
            continue;
        const auto world = FakeOctree::worldPoint(node, k);
        const auto& vertex = vertices[v++];
        for (int axis = 0; axis < 3; ++axis)
            EXPECT_NEAR(vertex.position[axis], world[axis] * unitScale - reference, 1e-5) << node.name() << " " << k;
        EXPECT_EQ(vertex.color, FakeOctree::color(node, k));
        const std::uint32_t stretched =
            std::min<std::uint32_t>(FakeOctree::intensity(k) * 65535u / fullIntensity, 65535u);
        EXPECT_EQ(vertex.intensity, stretched / 256); // the high byte, truncated
        EXPECT_EQ(vertex.classIndex, FakeOctree::classification(k));
        EXPECT_EQ(vertex.scanIndex, FakeOctree::scanIndex(k) - 65536); // 70000 + k wraps in 16 bits
        EXPECT_EQ(vertex.distance, VertexContainer::Vertex::noDistance);
    }
}

TEST(NodeVertices, CarryEveryAttributeOfTheVisiblePoints)
{
    const FakeOctree octree("/fake/vertices");
    const OctreeNodeId node = OctreeNodeId::fromName("r53");
    const auto points = octree.nodePointData(node, {}, Render::vertexAttributes());
    ASSERT_TRUE(points);
    ASSERT_GE(points->size(), 10u);
    expectVerticesOf(node, Render::makeVertexContainer(*points), 1.0, 65535);
    expectVerticesOf(node, Render::makeVertexContainer(*points, storeFullIntensity));
}

TEST(NodeVertices, StoresWithoutColourShowTheirIntensityAsGrey)
{
    // With full intensity at 1000: 500 is half of 65535 (32767, high byte 127), 1000 and
    // everything brighter is white, 0 black.
    const std::uint16_t intensities[] = {0, 500, 1000, 4000};
    const unsigned char greys[] = {0, 127, 255, 255};
    Octree::NodePointData withIntensity(Octree::PointAttribute::Position | Octree::PointAttribute::Intensity, 4);
    for (std::size_t i = 0; i < 4; ++i)
        withIntensity.setIntensity(i, intensities[i]);
    const VertexContainer grey = Render::makeVertexContainer(withIntensity, 1000);
    ASSERT_EQ(grey.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(grey[i].color, Math::Color(greys[i], greys[i], greys[i], 255)) << intensities[i];
        EXPECT_EQ(grey[i].intensity, greys[i]) << intensities[i];
    }

    // Without intensity either: opaque white.
    Octree::NodePointData bare(Octree::PointAttribute::Position, 2);
    bare.setPosition(1, {1.0f, 2.0f, 3.0f});
    const VertexContainer white = Render::makeVertexContainer(bare);
    ASSERT_EQ(white.size(), 2u);
    EXPECT_EQ(white[0].color, Math::Color(255, 255, 255, 255));
    EXPECT_EQ(white[1].position, (Math::Point<float, 3>(1.0f, 2.0f, 3.0f)));
    EXPECT_EQ(white[1].intensity, 0);
}

TEST(SharedNodeCaches, AUnitScaleThatIsNotAPositiveNumberIsRefusedBeforeAnyLookUp)
{
    const PoTree::FileSystemLocation location("/fake/bad-scale");
    // Registered first: a NaN key would compare equal to it and get it back.
    const auto registered = Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, 1.0, 100, 1);
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> refused[] = {{std::numeric_limits<double>::quiet_NaN(), "got NaN"},
                                                      {infinity, "got infinity"},
                                                      {-infinity, "got -infinity"},
                                                      {0.0, "got 0"},
                                                      {-2.5, "got -2.5"}};
    for (const auto& [scale, shown] : refused) {
        for (const std::string& message :
             {failureOf<std::invalid_argument>([&] {
                  Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, scale, 100, 1);
              }),
              failureOf<std::invalid_argument>(
                  [&] { Render::PointCloudRenderable::createOrGetSharedMeshDistanceCache(location, scale, 10); }),
              failureOf<std::invalid_argument>(
                  [&] { Render::PointCloudQuery::createOrGetSharedCache(location, scale, 100, 1); })}) {
            EXPECT_NE(message.find("nit scale"), std::string::npos) << message;
            EXPECT_NE(message.find("bad-scale"), std::string::npos) << message;
            EXPECT_NE(message.find(shown), std::string::npos) << message;
        }
    }
    // The smallest positive scale is a scale like any other, with a cache of its own.
    const double tiny = std::numeric_limits<double>::denorm_min();
    const auto small = Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, tiny, 100, 1);
    EXPECT_NE(small, registered);
    EXPECT_EQ(Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, tiny, 5, 1), small);
    EXPECT_EQ(Render::PointCloudRenderable::createOrGetSharedVertexContainerCache(location, 1.0, 5, 1), registered);
}

TEST(NodeVertexCache, LoadsANodeOnceAndCountsItsPoints)
{
    const FakeOctree octree("/fake/load-once");
    Render::VertexContainerCache cache(1000, 16);
    const OctreeNodeId node = OctreeNodeId::fromName("r1");

    const auto first = Render::loadNodeVertices(cache, octree, node, {});
    const auto second = Render::loadNodeVertices(cache, octree, node, {});
    ASSERT_TRUE(first && second);
    EXPECT_EQ(octree.reads(), 2u); // the node, and once per store the root for its intensity range
    expectVerticesOf(node, *second);
    EXPECT_EQ(cache.usedSize(), visibleCount(node));
}

TEST(NodeVertexCache, AStoppedOrFailedLoadCachesNothing)
{
    FakeOctree octree("/fake/stopped");
    Render::VertexContainerCache cache(1000, 16);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(Render::loadNodeVertices(cache, octree, OctreeNodeId::root(), stop.get_token()));

    const OctreeNodeId broken = OctreeNodeId::fromName("r2");
    octree.failReadsOf(broken);
    EXPECT_THROW(Render::loadNodeVertices(cache, octree, broken, {}), std::runtime_error);
    EXPECT_EQ(cache.entryCount(), 0u);
    EXPECT_EQ(cache.usedSize(), 0u);
}

TEST(NodePointDataCache, KeepsEveryAttributeForQueries)
{
    const FakeOctree octree("/fake/query");
    Render::NodePointDataCache cache(1000, 16);
    const OctreeNodeId node = OctreeNodeId::fromName("r44");
    const auto points = Render::loadNodePointData(cache, octree, node, {});
    ASSERT_TRUE(points);
    ASSERT_TRUE(Render::loadNodePointData(cache, octree, node, {}));
    EXPECT_EQ(octree.reads(), 1u);
    // Queries see hidden points too, with their visibility.
    ASSERT_EQ(points->size(), FakeOctree::storedPointCount(node));
    EXPECT_EQ(cache.usedSize(), FakeOctree::storedPointCount(node));
    EXPECT_TRUE(points->hasVisibility());
    EXPECT_FALSE(points->isVisible(4));
    EXPECT_EQ(points->scanIndex(3), 70003u);
}

TEST(MeshDistanceCache, DistancesOfANewMeshAreComputedAgain)
{
    Render::MeshDistanceCache cache(2);
    const OctreeNodeId node = OctreeNodeId::fromName("r3");
    int computations = 0;
    const auto compute = [&](float value) {
        return [&computations, value] {
            ++computations;
            return std::optional<std::vector<float>>(std::vector<float>{value, value});
        };
    };
    EXPECT_EQ(Render::getOrComputeMeshDistances(cache, 1, node, compute(1.5f)), std::vector<float>({1.5f, 1.5f}));
    EXPECT_EQ(Render::getOrComputeMeshDistances(cache, 1, node, compute(9.0f)), std::vector<float>({1.5f, 1.5f}));
    EXPECT_EQ(Render::getOrComputeMeshDistances(cache, 2, node, compute(2.5f)), std::vector<float>({2.5f, 2.5f}));
    EXPECT_EQ(computations, 2);
    const auto failed =
        Render::getOrComputeMeshDistances(cache, 3, node, [] { return std::optional<std::vector<float>>(); });
    EXPECT_FALSE(failed);
    EXPECT_EQ(cache.entryCount(), 2u);
}

// Several loader threads share one small cache: they load, evict and read the same nodes at once.
// Every copy handed out must be the complete node, and the bookkeeping must add up afterwards.
TEST(NodeVertexCache, ConcurrentLoadersShareOneCache)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/concurrent", 2);
    octree->setReadDelay(std::chrono::microseconds(50));
    // Room for about a dozen of the 73 nodes, so eviction runs all the time.
    const auto cache = std::make_shared<Render::VertexContainerCache>(200, 16);
    std::vector<OctreeNodeId> nodes{OctreeNodeId::root()};
    for (std::size_t i = 0; i < nodes.size(); ++i)
        for (const OctreeNodeId child : octree->children(nodes[i]))
            nodes.push_back(child);
    ASSERT_EQ(nodes.size(), 73u);

    std::atomic<int> mismatches{0};
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            std::uniform_int_distribution<std::size_t> pick(0, 20); // a hot set, to share entries
            for (int i = 0; i < 300; ++i) {
                const OctreeNodeId node = nodes[i % 7 == 0 ? random() % nodes.size() : pick(random)];
                const auto vertices = Render::loadNodeVertices(*cache, *octree, node, {});
                if (!vertices || vertices->size() != visibleCount(node) || vertices->size() == 0
                    || (*vertices)[0].color != FakeOctree::color(node, 0))
                    ++mismatches;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(mismatches.load(), 0);

    std::size_t used = 0;
    std::size_t entries = 0;
    for (const OctreeNodeId node : nodes) {
        if (const auto cached = cache->tryGet(node)) {
            expectVerticesOf(node, *cached);
            used += cached->size();
            ++entries;
        }
    }
    EXPECT_EQ(cache->usedSize(), used);
    EXPECT_EQ(cache->entryCount(), entries);
    // Threads that made room at the same moment may each insert into it: the overshoot is bounded
    // by one node per thread.
    EXPECT_LE(used, cache->capacity() + 4 * 22);
    EXPECT_GT(octree->reads(), entries);
}

} // namespace
