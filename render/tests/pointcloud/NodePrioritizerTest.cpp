#include <lumaro/testsupport/render/FakeVertexSource.h>

#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Octree::OctreeNodeId;
using Render::NodeId;
using Render::NodePrioritizer;
using Render::NodePriority;
using RenderTest::FakeVertexSource;
using RenderTest::priorityOfSize;

const Math::NBoundingBox<float, 3> unitCube(Math::Point<float, 3>(0, 0, 0), Math::Point<float, 3>(1, 1, 1));

NodeId idOf(const char* name, std::uint64_t instance = 1)
{
    return {instance, OctreeNodeId::fromName(name)};
}

FakeVertexSource tenPointsEach()
{
    return FakeVertexSource([](OctreeNodeId) { return std::size_t(10); });
}

struct Offer {
    NodePrioritizer& prioritizer;
    FakeVertexSource& source;
    NodePrioritizer::OfferResult operator()(const char* name, float size, std::uint64_t instance = 1,
                                            std::stop_token stop = {})
    {
        return prioritizer.offer(idOf(name, instance), unitCube, priorityOfSize(size), source, stop);
    }
};

// Offers of ten-point nodes of one cloud, by name and size (their priority), or a new budget.
struct Step {
    const char* node; // nullptr: set the budget to `size`
    float size;
    bool resident = true; // what the offer answers
    bool changed = true;
};

struct Scenario {
    const char* what;
    std::size_t budget;
    std::vector<Step> steps;
    std::vector<const char*> resident; // exactly these nodes stay
    std::size_t fetches;
};

TEST(NodePrioritizer, AdmitsUpToTheBudgetAndEvictsTheLeastImportant)
{
    const Scenario scenarios[] = {
        {"below the budget a node is admitted, and fetched only once",
         100,
         {{"r", 50.0f}, {"r", 50.0f, true, false}},
         {"r"},
         1},
        // 20 + 10 is not below 30, but eviction stops at the budget itself; then r3 displaces the
        // least important (5), r4 the next (10); 15.05 is within the tolerance of 15: not more
        // important, so refused before it is fetched.
        {"filled exactly, then the least important is displaced",
         30,
         {{"r0", 5.0f}, {"r1", 20.0f}, {"r2", 10.0f}, {"r3", 30.0f}, {"r4", 15.0f}, {"r5", 15.05f, false, false}},
         {"r1", "r3", "r4"},
         5},
        {"a node that is itself least important after its fetch leaves again",
         25,
         {{"r0", 8.0f}, {"r1", 9.0f}, {"r2", 1.0f, false, true}},
         {"r0", "r1"},
         3},
        {"a lower budget evicts at once, least important first; a higher one brings nothing back",
         100,
         {{"r3", 4.0f}, {"r1", 2.0f}, {"r4", 5.0f}, {"r0", 1.0f}, {"r2", 3.0f}, {nullptr, 25.0f}, {nullptr, 1000.0f}},
         {"r3", "r4"},
         5},
        {"with budget zero every node leaves at once", 0, {{"r", 9.0f, false, true}}, {}, 1},
    };
    for (const Scenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.what);
        NodePrioritizer prioritizer(scenario.budget);
        auto source = tenPointsEach();
        Offer offer{prioritizer, source};
        for (const Step& step : scenario.steps) {
            if (!step.node) {
                prioritizer.setTotalMaxPointCount(static_cast<std::size_t>(step.size));
                continue;
            }
            const auto result = offer(step.node, step.size);
            EXPECT_EQ(result.resident, step.resident) << step.node;
            EXPECT_EQ(result.changed, step.changed) << step.node;
        }
        for (const char* name : {"r", "r0", "r1", "r2", "r3", "r4", "r5"})
            EXPECT_EQ(prioritizer.isResident(idOf(name)),
                      std::find_if(scenario.resident.begin(), scenario.resident.end(),
                                   [&](const char* kept) { return std::string(kept) == name; })
                          != scenario.resident.end())
                << name;
        EXPECT_EQ(prioritizer.residentNodeCount(), scenario.resident.size());
        EXPECT_EQ(prioritizer.totalUsedPointCount(), 10 * scenario.resident.size());
        EXPECT_EQ(source.totalFetches(), scenario.fetches);
    }
}

TEST(NodePrioritizer, ClearsOnePointCloudOrAll)
{
    NodePrioritizer prioritizer(1000);
    auto source = tenPointsEach();
    Offer offer{prioritizer, source};
    offer("r", 9.0f, 1);
    offer("r0", 9.0f, 1);
    offer("r", 9.0f, 2);
    prioritizer.clear(1);
    EXPECT_EQ(prioritizer.totalUsedPointCount(), 10u);
    EXPECT_FALSE(prioritizer.isResident(idOf("r0", 1)));
    EXPECT_TRUE(prioritizer.isResident(idOf("r", 2)));
    // A cleared node comes back by a new fetch.
    EXPECT_TRUE(offer("r0", 9.0f, 1).changed);
    EXPECT_EQ(source.fetches(OctreeNodeId::fromName("r0")), 2u);

    prioritizer.clear();
    EXPECT_EQ(prioritizer.totalUsedPointCount(), 0u);
    EXPECT_EQ(prioritizer.residentNodeCount(), 0u);
    EXPECT_FALSE(prioritizer.isResident(idOf("r", 2)));
}

TEST(NodePrioritizer, NewPrioritiesDecideTheNextEviction)
{
    NodePrioritizer prioritizer(20);
    auto source = tenPointsEach();
    Offer offer{prioritizer, source};
    offer("r0", 50.0f);
    offer("r1", 10.0f);
    // The view changed: r0 hardly matters now, r1 a lot.
    EXPECT_FALSE(prioritizer.reprioritize(1, [](OctreeNodeId node, const Math::NBoundingBox<float, 3>& cube) {
        EXPECT_EQ(cube, unitCube);
        return node == OctreeNodeId::fromName("r0") ? priorityOfSize(1.0f) : priorityOfSize(90.0f);
    })) << "no node left or joined the drawn set";
    EXPECT_TRUE(offer("r2", 20.0f).resident);
    EXPECT_FALSE(prioritizer.isResident(idOf("r0")));
    EXPECT_TRUE(prioritizer.isResident(idOf("r1")));

    // A stopped re-rating leaves the priorities alone.
    std::stop_source stop;
    stop.request_stop();
    prioritizer.reprioritize(1, [](OctreeNodeId, const auto&) { return NodePriority::discard(); }, stop.get_token());
    EXPECT_FALSE(offer("r3", 15.0f).resident);

    // Discarding resident nodes changes what is drawn, once.
    const auto discardAll = [](OctreeNodeId, const auto&) { return NodePriority::discard(); };
    EXPECT_TRUE(prioritizer.reprioritize(1, discardAll));
    EXPECT_FALSE(prioritizer.reprioritize(1, discardAll));
}

TEST(NodePrioritizer, FailedFetchesThrowUnlessLoadingStops)
{
    NodePrioritizer prioritizer(100);
    FakeVertexSource failing([](OctreeNodeId) { return std::size_t(10); });
    failing.setBeforeReturn([](OctreeNodeId) { throw std::runtime_error("cannot read r0 of /some/store"); });
    Offer offer{prioritizer, failing};
    try {
        offer("r0", 10.0f);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Error loading point data");
        try {
            std::rethrow_if_nested(error);
            FAIL() << "the cause is not nested";
        } catch (const std::runtime_error& cause) {
            EXPECT_STREQ(cause.what(), "cannot read r0 of /some/store");
        }
    }
    std::stop_source stop;
    stop.request_stop();
    const auto stopped = offer("r0", 10.0f, 1, stop.get_token());
    EXPECT_FALSE(stopped.resident || stopped.changed);

    // A source that reports failure without a reason.
    struct Refusing : Render::NodeVertexSource {
        std::optional<Render::VertexContainer> fetchNodeVertices(OctreeNodeId, std::stop_token) override
        {
            return std::nullopt;
        }
    } refusing;
    EXPECT_THROW(prioritizer.offer(idOf("r1"), unitCube, priorityOfSize(10.0f), refusing, {}), std::runtime_error);
    EXPECT_FALSE(prioritizer.offer(idOf("r1"), unitCube, priorityOfSize(10.0f), refusing, stop.get_token()).changed);
    EXPECT_EQ(prioritizer.residentNodeCount(), 0u);
}

TEST(NodePrioritizer, ANodeAdmittedByAnotherLoaderDuringTheFetchIsNotAddedTwice)
{
    NodePrioritizer prioritizer(100);
    auto inner = tenPointsEach();
    FakeVertexSource racing([](OctreeNodeId) { return std::size_t(10); });
    bool raced = false;
    racing.setBeforeReturn([&](OctreeNodeId) {
        // While the first offer is unlocked, a second loader admits the same node.
        if (!raced) {
            raced = true;
            EXPECT_TRUE(prioritizer.offer(idOf("r0"), unitCube, priorityOfSize(10.0f), inner, {}).changed);
        }
    });
    const auto result = prioritizer.offer(idOf("r0"), unitCube, priorityOfSize(10.0f), racing, {});
    EXPECT_TRUE(result.resident);
    EXPECT_FALSE(result.changed);
    EXPECT_EQ(prioritizer.residentNodeCount(), 1u);
    EXPECT_EQ(prioritizer.totalUsedPointCount(), 10u);
}

// While one offer reads its node unlocked, another loader fills the budget. Whether the first node
// still gets in depends on how it ranks against what is resident by then, not on the state it saw
// before the read.
TEST(NodePrioritizer, ABudgetFilledDuringTheFetchIsJudgedAgainAfterIt)
{
    auto inner = tenPointsEach();
    const auto fillDuringFetch = [&](NodePrioritizer& prioritizer, FakeVertexSource& racing,
                                     std::vector<std::pair<const char*, float>> filling) {
        racing.setBeforeReturn([&prioritizer, &inner, filling = std::move(filling)](OctreeNodeId) {
            for (const auto& [name, size] : filling)
                EXPECT_TRUE(prioritizer.offer(idOf(name), unitCube, priorityOfSize(size), inner, {}).resident);
            EXPECT_EQ(prioritizer.totalUsedPointCount(), prioritizer.totalMaxPointCount());
        });
    };

    {
        // Filled with nodes more important (50, 60) than the one being read (10): it stays out.
        NodePrioritizer prioritizer(20);
        auto racing = tenPointsEach();
        fillDuringFetch(prioritizer, racing, {{"r2", 50.0f}, {"r3", 60.0f}});
        const auto result = prioritizer.offer(idOf("r1"), unitCube, priorityOfSize(10.0f), racing, {});
        EXPECT_EQ(racing.fetches(OctreeNodeId::fromName("r1")), 1u) << "the empty budget let it be read";
        EXPECT_FALSE(result.resident);
        EXPECT_FALSE(result.changed);
        EXPECT_EQ(prioritizer.totalUsedPointCount(), 20u);
        EXPECT_EQ(prioritizer.residentNodeCount(), 2u);
        EXPECT_FALSE(prioritizer.isResident(idOf("r1")));
        EXPECT_TRUE(prioritizer.isResident(idOf("r2")));
        EXPECT_TRUE(prioritizer.isResident(idOf("r3")));
    }
    {
        // Filled with less important nodes (5, 6): it displaces the least important of them.
        NodePrioritizer prioritizer(20);
        auto racing = tenPointsEach();
        fillDuringFetch(prioritizer, racing, {{"r2", 5.0f}, {"r3", 6.0f}});
        const auto result = prioritizer.offer(idOf("r1"), unitCube, priorityOfSize(10.0f), racing, {});
        EXPECT_TRUE(result.resident);
        EXPECT_TRUE(result.changed);
        EXPECT_EQ(prioritizer.totalUsedPointCount(), 20u);
        EXPECT_TRUE(prioritizer.isResident(idOf("r1")));
        EXPECT_FALSE(prioritizer.isResident(idOf("r2")));
        EXPECT_TRUE(prioritizer.isResident(idOf("r3")));
    }
}

// Loader threads of three point clouds offer at once while another thread publishes and lowers
// the budget; afterwards the books must balance.
TEST(NodePrioritizer, ConcurrentOffersKeepTheBooksBalanced)
{
    NodePrioritizer prioritizer(2000);
    FakeVertexSource source([](OctreeNodeId node) { return 5 + node.value() % 20; });
    std::vector<OctreeNodeId> nodes{OctreeNodeId::root()};
    for (std::size_t i = 0; nodes.size() < 585; ++i)
        for (std::size_t child = 0; child < 8; ++child)
            nodes.push_back(nodes[i].child(child));

    std::vector<std::jthread> threads;
    for (std::uint64_t instance = 1; instance <= 3; ++instance) {
        threads.emplace_back([&, instance] {
            std::mt19937 random(static_cast<unsigned>(instance));
            std::uniform_real_distribution<float> size(1.0f, 100.0f);
            for (int i = 0; i < 600; ++i) {
                const OctreeNodeId node = nodes[random() % nodes.size()];
                prioritizer.offer({instance, node}, unitCube, priorityOfSize(size(random)), source, {});
            }
        });
    }
    threads.emplace_back([&] {
        Core::TripleBuffer<Render::PointCloudBuffers> buffers;
        for (int i = 0; i < 50; ++i) {
            prioritizer.updateBuffers(1 + i % 3, i % 2 == 0, buffers);
            if (i == 25)
                prioritizer.setTotalMaxPointCount(1000);
        }
    });
    threads.clear();

    EXPECT_LE(prioritizer.totalUsedPointCount(), 1000u);
    std::size_t points = 0;
    std::size_t nodesSeen = 0;
    for (std::uint64_t instance = 1; instance <= 3; ++instance) {
        Core::TripleBuffer<Render::PointCloudBuffers> buffers;
        prioritizer.updateBuffers(instance, false, buffers);
        ASSERT_TRUE(buffers.swapRead());
        points += buffers.readSlot().pointCount();
        nodesSeen += buffers.readSlot().nodeCount();
    }
    EXPECT_EQ(points, prioritizer.totalUsedPointCount());
    EXPECT_EQ(nodesSeen, prioritizer.residentNodeCount());
}

} // namespace
