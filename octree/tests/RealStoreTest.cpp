// Every Potree store of the test data, checked against its source LAS file and against the facts
// that an independent reference decoder recorded for it.
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/octree/potree/PotreeTree.h>
#include <lumaro/octree/TreeSummary.h>

#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <map>
#include <thread>
#include <tuple>

namespace {

const std::filesystem::path dataDir = LUMARO_TEST_DATA_DIR;

struct StoreCase {
    std::string store;
    std::string las;
};

std::ostream& operator<<(std::ostream& stream, const StoreCase& c)
{
    return stream << c.store;
}

const std::vector<StoreCase> storeCases = {
    {"1.2-with-color-brotli", "1.2-with-color"},
    {"1.2-with-color-default", "1.2-with-color"},
    {"autzen_trim-brotli", "autzen_trim"},
    {"autzen_trim-default", "autzen_trim"},
    {"test1_4-brotli", "test1_4"},
    {"test1_4-default", "test1_4"},
    {"warsaw_small-brotli", "warsaw_small"},
    {"warsaw_small-default", "warsaw_small"},
};

std::shared_ptr<PoTree::PotreeTree> openStore(const std::string& name)
{
    auto tree = Octree::Octree::open(PoTree::FileSystemLocation(dataDir / "potree2" / name));
    return std::dynamic_pointer_cast<PoTree::PotreeTree>(tree);
}

// A point by its comparable contents: quantised position, intensity, class, colour.
using PointKey = std::tuple<std::int64_t, std::int64_t, std::int64_t, std::uint16_t, std::uint8_t, std::uint16_t,
                            std::uint16_t, std::uint16_t>;

class RealStore : public ::testing::TestWithParam<StoreCase> {};

} // namespace

TEST_P(RealStore, SummaryAgreesWithTheReferenceFacts)
{
    const auto tree = openStore(GetParam().store);
    ASSERT_NE(tree, nullptr);
    const auto facts = TestSupport::storeFacts(dataDir / "potree2" / GetParam().store);
    const Octree::TreeSummary summary = Octree::summarizeTree(*tree);

    EXPECT_EQ(tree->pointCount(), facts["points_metadata"].get<std::uint64_t>());
    EXPECT_EQ(summary.pointsInNodes, facts["points_decoded"].get<std::uint64_t>());
    EXPECT_EQ(summary.nodes, facts["nodes"].get<std::size_t>());
    EXPECT_EQ(summary.nodesPerLevel, facts["nodes_per_level"].get<std::vector<std::size_t>>());
    EXPECT_EQ(summary.depth, facts["max_depth"].get<std::size_t>());
    EXPECT_EQ(summary.leafNodes, facts["leaf_nodes"].get<std::size_t>());
    EXPECT_EQ(summary.nodesWithoutPoints, facts["nodes_with_zero_points"].get<std::size_t>());
    const bool brotli = facts["encoding"] == "BROTLI";
    EXPECT_EQ(tree->metadata().encoding, brotli ? PoTree::Encoding::Brotli : PoTree::Encoding::Default);

    std::size_t expectedBytesPerPoint = 0;
    for (const auto& attribute : facts["attributes"]) {
        expectedBytesPerPoint += attribute[brotli ? "brotliBytesPerPoint" : "size"].get<std::size_t>();
    }
    EXPECT_EQ(tree->metadata().bytesPerPoint(), expectedBytesPerPoint);

    const auto spacing = facts["spacing_per_level"].get<std::vector<double>>();
    for (std::size_t level = 0; level < spacing.size(); ++level) {
        EXPECT_DOUBLE_EQ(tree->spacing(level), spacing[level]) << "level " << level;
    }
    const auto cubeMin = facts["boundingBox"]["min"].get<std::vector<double>>();
    const double edge = facts["cube"]["edge"].get<double>();
    const auto cube = tree->worldBoundingCube(Octree::OctreeNodeId::root());
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(cube.min()[axis], cubeMin[axis]);
        EXPECT_NEAR(cube.max()[axis], cubeMin[axis] + edge, 1e-9 * edge);
        EXPECT_DOUBLE_EQ(tree->referencePosition()[axis], cubeMin[axis]);
    }
}

TEST_P(RealStore, FirstNodesStartWithTheReferencePoints)
{
    const auto tree = openStore(GetParam().store);
    const auto facts = TestSupport::storeFacts(dataDir / "potree2" / GetParam().store);
    const auto scale = tree->metadata().scale;
    const auto offset = tree->metadata().offset;
    for (const auto& expected : facts["first_nodes"]) {
        const auto id = Octree::OctreeNodeId::fromName(expected["name"].get<std::string>());
        ASSERT_TRUE(tree->contains(id));
        const auto node = tree->node(id);
        EXPECT_EQ(node->pointCount, expected["numPoints"].get<std::uint32_t>());
        EXPECT_EQ(node->byteOffset, expected["byteOffset"].get<std::uint64_t>());
        EXPECT_EQ(node->byteSize, expected["byteSize"].get<std::uint64_t>());
        EXPECT_EQ(node->childMask, expected["childMask"].get<int>());
        if (!expected.contains("first_point") || expected["first_point"].is_null()) {
            continue;
        }
        const auto& point = expected["first_point"];
        const auto raw = tree->rawPoints(id, std::stop_token());
        ASSERT_TRUE(raw && raw->count > 0);
        // The reference gives the world coordinates the DEFAULT layout means ("xyz_converter" for
        // Brotli stores, which hold one more than that).
        const auto world = point.contains("xyz_converter") ? point["xyz_converter"] : point["xyz"];
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(raw->positions[0][axis] * scale[axis] + offset[axis], world[axis].get<double>(),
                        scale[axis] * 1e-3);
        }
        if (point.contains("intensity")) {
            EXPECT_EQ(raw->intensities[0], point["intensity"].get<std::uint16_t>());
        }
    }
}

TEST_P(RealStore, DecodedNodesHoldExactlyThePointsOfTheSourceLas)
{
    const auto tree = openStore(GetParam().store);
    const auto las = TestSupport::readLas(dataDir / "las" / (GetParam().las + ".las"));
    const auto scale = tree->metadata().scale;
    const auto offset = tree->metadata().offset;

    // The converter truncates (x - offset) / scale toward zero; index the source points that way.
    std::map<PointKey, int> expected;
    for (const auto& point : las.points) {
        std::array<std::int64_t, 3> q{};
        for (int axis = 0; axis < 3; ++axis) {
            q[axis] = static_cast<std::int64_t>(std::trunc((point.position[axis] - offset[axis]) / scale[axis]));
        }
        expected[{q[0], q[1], q[2], point.intensity, point.classification, point.color[0], point.color[1],
                  point.color[2]}] += 1;
    }

    std::size_t decoded = 0;
    std::size_t offByOneStep = 0;
    for (const auto& node : tree->allNodes()) {
        const auto raw = tree->rawPoints(node->id, std::stop_token());
        ASSERT_TRUE(raw);
        ASSERT_EQ(raw->count, tree->pointCount(node->id)) << node->id.name();
        ASSERT_EQ(raw->positions.size(), raw->count);
        ASSERT_EQ(raw->colors.size(), las.hasColor ? raw->count : 0u);
        for (std::size_t i = 0; i < raw->count; ++i) {
            const auto& p = raw->positions[i];
            const auto color = las.hasColor ? raw->colors[i] : std::array<std::uint16_t, 3>{0, 0, 0};
            const auto find = [&](std::int64_t dx, std::int64_t dy, std::int64_t dz) {
                return expected.find({p[0] + dx, p[1] + dy, p[2] + dz, raw->intensities[i], raw->classifications[i],
                                      color[0], color[1], color[2]});
            };
            auto match = find(0, 0, 0);
            // Rounding in the source's own arithmetic may put a coordinate on the other side of a
            // step boundary; more than one step would be a decoding error.
            for (int d = 0; d < 27 && (match == expected.end() || match->second == 0); ++d) {
                match = find(d % 3 - 1, d / 3 % 3 - 1, d / 9 - 1);
                offByOneStep += 1;
            }
            ASSERT_TRUE(match != expected.end() && match->second > 0)
                << "node " << node->id.name() << " point " << i << " is not in the source";
            match->second -= 1;
            decoded += 1;
        }
    }
    EXPECT_EQ(decoded, las.points.size());
    EXPECT_LT(offByOneStep, las.points.size() / 10 + 1);
}

TEST_P(RealStore, PointDataAreModelCoordinatesOfTheStoredIntegers)
{
    const auto tree = openStore(GetParam().store);
    const auto scale = tree->metadata().scale;
    const auto offset = tree->metadata().offset;
    const bool sixteenBit = GetParam().las == "warsaw_small"; // the only source with full 16-bit colours
    for (const auto& node : tree->allNodes()) {
        const auto raw = tree->rawPoints(node->id, std::stop_token());
        const auto data = tree->nodePointData(node->id, std::stop_token());
        ASSERT_TRUE(raw && data);
        ASSERT_EQ(data->size(), raw->count);
        EXPECT_EQ(data->hasColors(), GetParam().las != "test1_4");
        const auto reference = tree->referencePosition();
        for (std::size_t i = 0; i < data->size(); ++i) {
            for (int axis = 0; axis < 3; ++axis) {
                const double world = raw->positions[i][axis] * scale[axis] + offset[axis];
                const double model = data->position(i)[axis];
                EXPECT_NEAR(model, world - reference[axis], 1e-6 * std::max(1.0, std::abs(model)));
            }
            if (data->hasColors()) {
                const auto c = raw->colors[i];
                const Math::Color expected =
                    sixteenBit ? Math::Color(c[0] / 256, c[1] / 256, c[2] / 256) : Math::Color(c[0], c[1], c[2]);
                ASSERT_EQ(data->color(i), expected);
            }
            EXPECT_EQ(data->intensity(i), raw->intensities[i]);
            EXPECT_TRUE(data->isVisible(i));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Potree2, RealStore, ::testing::ValuesIn(storeCases), [](const auto& info) {
    std::string name = info.param.store;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return name;
});

TEST(RealStore, ProxyChunksAreLoadedWhenTheirNodesAreVisited)
{
    // test1_4 has proxies at level 4: its deeper nodes exist only in chunks reached through them.
    const auto tree = openStore("test1_4-brotli");
    std::size_t deepest = 0;
    std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
    while (!pending.empty()) {
        const auto id = pending.back();
        pending.pop_back();
        deepest = std::max(deepest, id.level());
        EXPECT_TRUE(tree->node(id)->described) << id.name() << " was announced but never described";
        for (const auto child : tree->children(id)) {
            pending.push_back(child);
        }
    }
    EXPECT_EQ(deepest, 7u);
}

TEST(RealStore, ConcurrentWalksSeeOneTree)
{
    // Loader and query threads share one tree; proxies are expanded lazily by whichever thread
    // gets there first, and every thread must see the same nodes and points.
    const auto tree = openStore("test1_4-brotli");
    constexpr int threadCount = 4;
    std::vector<std::uint64_t> points(threadCount, 0);
    std::vector<std::size_t> nodes(threadCount, 0);
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&, t] {
                std::vector<Octree::OctreeNodeId> pending{Octree::OctreeNodeId::root()};
                while (!pending.empty()) {
                    const auto id = pending.back();
                    pending.pop_back();
                    nodes[t] += 1;
                    points[t] += tree->nodePointData(id, std::stop_token())->size();
                    for (const auto child : tree->children(id)) {
                        pending.push_back(child);
                    }
                }
            });
        }
    }
    for (int t = 0; t < threadCount; ++t) {
        EXPECT_EQ(nodes[t], 59u);
        EXPECT_EQ(points[t], 1000u);
    }
}
