// Point queries over the fake store, whose points follow closed formulas: what a query hands out
// is compared with the store's points listed breadth-first by the test itself.
#include <lumaro/testsupport/render/FakeOctree.h>

#include <lumaro/render/pointcloud/PointCloudQuery.h>

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <deque>
#include <stdexcept>
#include <vector>

namespace {

using Octree::BoxTestResult;
using Octree::OctreeNodeId;
using Render::PointCloudQuery;
using Render::VertexPosColor;
using RenderTest::FakeOctree;

// The half-space x >= limit (world coordinates), counting its box tests.
class AboveX : public Render::IFilter {
public:
    explicit AboveX(float limit) : mLimit(limit) {}
    bool testPosition(const Math::Point<float, 3>& position) override { return position.x() >= mLimit; }
    BoxTestResult testBox(const Math::NBoundingBox<float, 3>& box) override
    {
        ++boxTests;
        if (box.min().x() >= mLimit)
            return BoxTestResult::Inside;
        return box.max().x() < mLimit ? BoxTestResult::Outside : BoxTestResult::Intersecting;
    }
    int boxTests = 0;

private:
    float mLimit;
};

// The store's points of the nodes down to maxLevel, breadth-first, in model coordinates moved by
// `world`, that keep x >= limit.
std::vector<Math::Point<float, 3>> expectedPoints(std::size_t depth, std::size_t maxLevel, float limit,
                                                  const Eigen::Matrix4f& world = Eigen::Matrix4f::Identity())
{
    std::vector<Math::Point<float, 3>> points;
    std::deque<OctreeNodeId> pending{OctreeNodeId::root()};
    while (!pending.empty()) {
        const OctreeNodeId node = pending.front();
        pending.pop_front();
        for (std::size_t k = 0; k < FakeOctree::storedPointCount(node); ++k) {
            const Math::Point<double, 3> model =
                FakeOctree::worldPoint(node, k) - Eigen::Vector3d::Constant(FakeOctree::cubeMin);
            const Math::Point<float, 3> moved((world * model.cast<float>().homogeneous()).hnormalized());
            if (moved.x() >= limit)
                points.push_back(moved);
        }
        if (node.level() < std::min(depth, maxLevel))
            for (std::size_t i = 0; i < 8; ++i)
                pending.push_back(node.child(i));
    }
    return points;
}

std::vector<VertexPosColor> drain(PointCloudQuery& query, std::size_t chunk)
{
    std::vector<VertexPosColor> all;
    std::vector<VertexPosColor> buffer(chunk);
    while (const std::size_t count = query.getNextPointChunk(buffer.data(), chunk))
        all.insert(all.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    return all;
}

void expectSamePoints(const std::vector<VertexPosColor>& actual, const std::vector<Math::Point<float, 3>>& expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_LT((actual[i].position - expected[i]).norm(), 1e-4f) << i;
}

TEST(PointCloudQuery, HandsOutTheFilteredPointsBreadthFirstInChunksOfAnySize)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/query", 2);
    for (const std::size_t chunk : {1u, 7u, 100000u}) {
        AboveX filter(5.0f);
        PointCloudQuery query(octree, nullptr, Eigen::Matrix4f::Identity(), &filter, 21, 0.0f,
                              std::chrono::nanoseconds(0));
        const auto points = drain(query, chunk);
        expectSamePoints(points, expectedPoints(2, 21, 5.0f));
        EXPECT_TRUE(query.isComplete());
        // Children of a node inside the region are not tested again: the root and its eight
        // children are, and of the 64 level-2 nodes only the 32 below the four crossing ones.
        EXPECT_EQ(filter.boxTests, 1 + 8 + 32);
    }
    // The colours of the store come with the points.
    AboveX everything(-1.0f);
    PointCloudQuery query(octree, nullptr, Eigen::Matrix4f::Identity(), &everything, 0, 0.0f, {});
    const auto root = drain(query, 3);
    ASSERT_EQ(root.size(), FakeOctree::storedPointCount(OctreeNodeId::root()));
    EXPECT_EQ(root[5].color, FakeOctree::color(OctreeNodeId::root(), 5));
}

TEST(PointCloudQuery, LevelSpacingAndWorldMatrixChooseTheNodes)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/query-levels", 3);
    const auto cache = PointCloudQuery::createOrGetSharedCache(octree->location(), 1.0, 100000, 100);
    AboveX everything(-1000.0f);
    // Spacing 1 at the root, halved per level: a minimum of exactly 0.5 excludes level 1 (the test
    // is strict) and with it everything below.
    PointCloudQuery bySpacing(octree, cache, Eigen::Matrix4f::Identity(), &everything, 21, 0.5f, {});
    expectSamePoints(drain(bySpacing, 64), expectedPoints(3, 0, -1000.0f));
    PointCloudQuery byLevel(octree, cache, Eigen::Matrix4f::Identity(), &everything, 1, 0.0f, {});
    expectSamePoints(drain(byLevel, 64), expectedPoints(3, 1, -1000.0f));

    // Twice the size and moved: the spacing grows with the scale, so 0.5 now keeps level 1, and
    // the region is tested in world coordinates.
    const Eigen::Matrix4f world = (Eigen::Translation3f(10.0f, 0.0f, 0.0f) * Eigen::Scaling(2.0f)).matrix();
    AboveX aboveEighteen(18.0f);
    PointCloudQuery moved(octree, cache, world, &aboveEighteen, 21, 0.5f, {});
    expectSamePoints(drain(moved, 64), expectedPoints(3, 1, 18.0f, world));

    // A region that misses the root yields nothing at once.
    AboveX nothing(100.0f);
    PointCloudQuery none(octree, cache, Eigen::Matrix4f::Identity(), &nothing, 21, 0.0f, {});
    VertexPosColor point;
    EXPECT_EQ(none.getNextPointChunk(&point, 1), 0u);
    EXPECT_EQ(nothing.boxTests, 1);
}

TEST(PointCloudQuery, AFailedNodeIsReportedAndATimeLimitEndsTheQueryEarly)
{
    const auto octree = std::make_shared<FakeOctree>("/fake/query-failures", 1);
    octree->failReadsOf(OctreeNodeId::fromName("r2"));
    AboveX everything(-1.0f);
    PointCloudQuery query(octree, nullptr, Eigen::Matrix4f::Identity(), &everything, 21, 0.0f, {});
    std::vector<VertexPosColor> buffer(1000);
    try {
        while (query.getNextPointChunk(buffer.data(), buffer.size()) > 0) {
        }
        FAIL() << "the broken node went unnoticed";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Querying node data failed");
        try {
            std::rethrow_if_nested(error);
        } catch (const std::exception& cause) {
            EXPECT_NE(std::string(cause.what()).find("r2"), std::string::npos) << cause.what();
        }
    }

    octree->setReadDelay(std::chrono::milliseconds(20));
    PointCloudQuery limited(octree, nullptr, Eigen::Matrix4f::Identity(), &everything, 21, 0.0f,
                            std::chrono::milliseconds(30));
    const auto points = drain(limited, 1000);
    EXPECT_FALSE(limited.isComplete());
    // The root and at most one more node were read before the limit was used up.
    EXPECT_GE(points.size(), FakeOctree::storedPointCount(OctreeNodeId::root()));
    EXPECT_LT(points.size(), expectedPoints(1, 21, -1.0f).size() / 2);
}

} // namespace
