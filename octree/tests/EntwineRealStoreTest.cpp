// The EPT stores of the test data, checked against the facts that an independent reference reader
// recorded for them and, for 1.2-with-color, against its source LAS file.
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>

#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/TestStores.h>
#include <lumaro/testsupport/LasReader.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <map>
#include <tuple>

using Entwine::EntwineTree;
using Octree::OctreeNodeId;

namespace {

const std::filesystem::path eptDir = std::filesystem::path(LUMARO_TEST_DATA_DIR) / "ept";

std::shared_ptr<EntwineTree> openStore(const std::filesystem::path& folder)
{
    return std::dynamic_pointer_cast<EntwineTree>(Octree::Octree::open(PoTree::FileSystemLocation(folder)));
}

std::array<double, 3> worldOf(const Entwine::DecodedPoints& decoded, std::size_t i)
{
    std::array<double, 3> world{};
    for (int axis = 0; axis < 3; ++axis) {
        world[axis] =
            static_cast<double>(decoded.points.positions[i][axis]) * decoded.scale[axis] + decoded.offset[axis];
    }
    return world;
}

class EntwineRealStore : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        if (GetParam() == "ellipsoid-binary") {
            mRestored.emplace();
            tree = openStore(mRestored->path());
        } else {
            tree = openStore(eptDir / GetParam());
        }
        ASSERT_NE(tree, nullptr);
        facts = TestSupport::storeFacts(eptDir / GetParam());
    }

    std::optional<TestSupport::RestoredEptBinaryStore> mRestored;
    std::shared_ptr<EntwineTree> tree;
    nlohmann::json facts;
};

} // namespace

TEST_P(EntwineRealStore, HierarchyAndBoxesAgreeWithTheReferenceFacts)
{
    const auto nodes = tree->allNodes();
    ASSERT_EQ(nodes.size(), facts["nodes"].get<std::size_t>());
    std::vector<std::size_t> perDepth;
    std::uint64_t sum = 0;
    std::map<std::string, const Entwine::EntwineTree::Node*> byKey;
    for (const auto& node : nodes) {
        perDepth.resize(std::max<std::size_t>(perDepth.size(), node.key.depth + 1));
        perDepth[node.key.depth] += 1;
        sum += node.pointCount;
        byKey[node.key.toString()] = &node;
    }
    EXPECT_EQ(perDepth, facts["nodes_per_depth"].get<std::vector<std::size_t>>());
    EXPECT_EQ(sum, facts["points_hierarchy"].get<std::uint64_t>());
    EXPECT_EQ(tree->pointCount(), facts["points_ept_json"].get<std::uint64_t>());

    for (const auto& expected : facts["node_list"]) {
        const auto found = byKey.find(expected["key"].get<std::string>());
        ASSERT_NE(found, byKey.end()) << expected["key"];
        const auto& node = *found->second;
        EXPECT_EQ(node.pointCount, expected["points"].get<std::uint64_t>());
        EXPECT_EQ(tree->pointCount(node.key.nodeId()), node.pointCount);
        const auto box = expected["bounds"].get<std::vector<double>>();
        const auto cube = tree->worldBoundingCube(node.key.nodeId());
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_DOUBLE_EQ(node.bounds.min()[axis], box[axis]);
            EXPECT_DOUBLE_EQ(node.bounds.max()[axis], box[axis + 3]);
            EXPECT_NEAR(cube.min()[axis], box[axis], 1e-9 * std::abs(box[axis]) + 1e-12);
            EXPECT_NEAR(cube.max()[axis], box[axis + 3], 1e-9 * std::abs(box[axis + 3]) + 1e-12);
        }
    }

    const auto bounds = facts["bounds"].get<std::vector<double>>();
    const auto conforming = facts["boundsConforming"].get<std::vector<double>>();
    const auto tight = tree->worldBoundingBox();
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(tree->referencePosition()[axis], bounds[axis]);
        EXPECT_DOUBLE_EQ(tight.min()[axis], conforming[axis]);
        EXPECT_DOUBLE_EQ(tight.max()[axis], conforming[axis + 3]);
    }
    const double rootSpacing = facts["root_spacing"].get<double>();
    EXPECT_DOUBLE_EQ(tree->spacing(0), rootSpacing);
    EXPECT_DOUBLE_EQ(tree->spacing(2), rootSpacing / 4);
}

TEST_P(EntwineRealStore, DecodedPointsMatchTheReferencePointsAndBounds)
{
    for (const auto& expected : facts["first_nodes"]) {
        const auto id = Entwine::Key::parse(expected["key"].get<std::string>()).nodeId();
        const auto decoded = tree->decodedPoints(id, std::stop_token());
        ASSERT_TRUE(decoded && decoded->points.count > 0);
        const auto& point = expected["first_point"];
        const auto world = worldOf(*decoded, 0);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(world[axis], point["xyz"][axis].get<double>(), 1e-6) << expected["key"];
            EXPECT_EQ(decoded->points.colors[0][axis], point["rgb"][axis].get<std::uint16_t>());
        }
        EXPECT_EQ(decoded->points.intensities[0], point["intensity"].get<std::uint16_t>());
    }

    // Every point of every node, against the extremes the reference decoded.
    std::array<double, 3> low{INFINITY, INFINITY, INFINITY};
    std::array<double, 3> high{-INFINITY, -INFINITY, -INFINITY};
    std::uint64_t total = 0;
    for (const auto& node : tree->allNodes()) {
        const auto decoded = tree->decodedPoints(node.key.nodeId(), std::stop_token());
        ASSERT_TRUE(decoded);
        ASSERT_EQ(decoded->points.count, node.pointCount);
        for (std::size_t i = 0; i < decoded->points.count; ++i) {
            const auto world = worldOf(*decoded, i);
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = std::min(low[axis], world[axis]);
                high[axis] = std::max(high[axis], world[axis]);
            }
        }
        total += decoded->points.count;
    }
    EXPECT_EQ(total, facts["points_decoded"].get<std::uint64_t>());
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(low[axis], facts["decoded_xyz_bounds"]["min"][axis].get<double>(), 1e-6);
        EXPECT_NEAR(high[axis], facts["decoded_xyz_bounds"]["max"][axis].get<double>(), 1e-6);
    }
}

TEST_P(EntwineRealStore, PointDataAreModelCoordinatesWithOneColourRangePerStore)
{
    tree->setUnitScale(0.5);
    // The reference's first point tells the store's colour range: lion_takanawa uses 16 bits.
    const bool sixteenBit = facts["first_nodes"][0]["first_point"]["rgb"][0].get<int>() > 255;
    EXPECT_EQ(tree->colorsAre16Bit(), sixteenBit);
    const auto reference = tree->referencePosition();
    for (const auto& node : tree->allNodes()) {
        const auto decoded = tree->decodedPoints(node.key.nodeId(), std::stop_token());
        const auto data = tree->nodePointData(node.key.nodeId(), std::stop_token());
        ASSERT_TRUE(decoded && data);
        ASSERT_EQ(data->size(), decoded->points.count);
        ASSERT_TRUE(data->hasPositions() && data->hasColors() && data->hasIntensities());
        for (std::size_t i = 0; i < data->size(); ++i) {
            const auto world = worldOf(*decoded, i);
            for (int axis = 0; axis < 3; ++axis) {
                const double expected = world[axis] * 0.5 - reference[axis];
                ASSERT_NEAR(data->position(i)[axis], expected, 1e-6 * std::max(1.0, std::abs(expected)));
            }
            const auto c = decoded->points.colors[i];
            const Math::Color expected =
                sixteenBit ? Math::Color(c[0] / 256, c[1] / 256, c[2] / 256) : Math::Color(c[0], c[1], c[2]);
            ASSERT_EQ(data->color(i), expected);
            ASSERT_EQ(data->intensity(i), decoded->points.intensities[i]);
            ASSERT_TRUE(data->isVisible(i));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, EntwineRealStore,
                         ::testing::Values("1.2-with-color", "ellipsoid-zstandard", "ellipsoid-binary",
                                           "lion_takanawa-laszip", "lion_takanawa-zstandard"));

TEST(EntwineRealStoreSources, TheLazStoreHoldsExactlyThePointsOfItsSourceLas)
{
    const auto tree = openStore(eptDir / "1.2-with-color");
    const auto las = TestSupport::readLas(std::filesystem::path(LUMARO_TEST_DATA_DIR) / "las" / "1.2-with-color.las");
    ASSERT_EQ(las.points.size(), 1065u);
    // Both use a 0.01 grid: compare positions in whole centimetres.
    using PointKey = std::tuple<std::int64_t, std::int64_t, std::int64_t, std::uint16_t, std::uint8_t, std::uint16_t,
                                std::uint16_t, std::uint16_t>;
    std::map<PointKey, int> expected;
    for (const auto& p : las.points) {
        expected[{std::llround(p.position[0] * 100), std::llround(p.position[1] * 100),
                  std::llround(p.position[2] * 100), p.intensity, p.classification, p.color[0], p.color[1],
                  p.color[2]}] += 1;
    }
    const auto decoded = tree->decodedPoints(OctreeNodeId::root(), std::stop_token());
    ASSERT_TRUE(decoded);
    const auto& raw = decoded->points;
    ASSERT_EQ(raw.count, las.points.size());
    for (std::size_t i = 0; i < raw.count; ++i) {
        const auto world = worldOf(*decoded, i);
        const auto found = expected.find({std::llround(world[0] * 100), std::llround(world[1] * 100),
                                          std::llround(world[2] * 100), raw.intensities[i], raw.classifications[i],
                                          raw.colors[i][0], raw.colors[i][1], raw.colors[i][2]});
        ASSERT_TRUE(found != expected.end() && found->second > 0) << "point " << i << " is not in the source";
        found->second -= 1;
    }
}

TEST(EntwineRealStoreSources, OriginIdsCountAndPlaceThePointsOfEachInputFile)
{
    // The lion store was built from 200 input files; ept-sources/list.json gives each one's
    // point count and bounds, and a point's OriginId indexes that list.
    const auto tree = openStore(eptDir / "lion_takanawa-laszip");
    const auto sources =
        nlohmann::json::parse(Core::readLocalFile(eptDir / "lion_takanawa-laszip" / "ept-sources" / "list.json"));
    std::vector<std::uint64_t> counts(sources.size(), 0);
    for (const auto& node : tree->allNodes()) {
        const auto decoded = tree->decodedPoints(node.key.nodeId(), std::stop_token());
        ASSERT_TRUE(decoded);
        ASSERT_EQ(decoded->points.scanIndices.size(), decoded->points.count);
        for (std::size_t i = 0; i < decoded->points.count; ++i) {
            const std::uint32_t origin = decoded->points.scanIndices[i];
            ASSERT_LT(origin, sources.size());
            counts[origin] += 1;
            const auto world = worldOf(*decoded, i);
            const auto& box = sources[origin]["bounds"];
            for (int axis = 0; axis < 3; ++axis) {
                // The sources' bounds have four decimals, the store a 0.001 grid.
                ASSERT_GE(world[axis], box[axis].get<double>() - 0.001) << "origin " << origin;
                ASSERT_LE(world[axis], box[axis + 3].get<double>() + 0.001) << "origin " << origin;
            }
        }
    }
    for (std::size_t s = 0; s < sources.size(); ++s) {
        EXPECT_EQ(counts[s], sources[s]["inserts"].get<std::uint64_t>()) << sources[s]["id"];
    }
}
