// The COPC file of the test data against the facts an independent reader recorded for it and
// against the uncompressed LAS file of the same points beside it.
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>

namespace {

using Copc::CopcTree;
using Octree::OctreeNodeId;

const std::filesystem::path copcFile = TestSupport::testStore("copc/1.2-with-color.copc.laz");

nlohmann::json facts()
{
    return nlohmann::json::parse(Core::readLocalFile(TestSupport::testStore("copc/1.2-with-color.facts.json")));
}

OctreeNodeId idOf(const std::string& key)
{
    return Entwine::Key::parse(key).nodeId();
}

std::shared_ptr<CopcTree> openFile()
{
    return std::dynamic_pointer_cast<CopcTree>(Octree::Octree::open(PoTree::FileSystemLocation(copcFile)));
}

TEST(CopcRealFile, CubeSpacingAndHierarchyAgreeWithTheReferenceFacts)
{
    const auto tree = openFile();
    ASSERT_NE(tree, nullptr);
    const nlohmann::json reference = facts();
    EXPECT_EQ(tree->pointCount(), reference["header"]["point_count"].get<std::uint64_t>());
    EXPECT_TRUE(tree->availableAttributes().contains(Octree::PointAttribute::Color));
    EXPECT_FALSE(tree->availableAttributes().contains(Octree::PointAttribute::Normal));

    const auto cube = tree->worldBoundingCube(OctreeNodeId::root());
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_DOUBLE_EQ(cube.min()[axis], reference["root_cube"]["min"][axis].get<double>());
        EXPECT_DOUBLE_EQ(cube.max()[axis], reference["root_cube"]["max"][axis].get<double>());
        EXPECT_DOUBLE_EQ(tree->worldBoundingBox().min()[axis], reference["header"]["min"][axis].get<double>());
        EXPECT_DOUBLE_EQ(tree->referencePosition()[axis], cube.min()[axis]);
    }
    for (std::size_t level = 0; level < reference["spacing_per_depth"].size(); ++level) {
        EXPECT_DOUBLE_EQ(tree->spacing(level), reference["spacing_per_depth"][level].get<double>());
    }

    // Every node of the reference, with its count and cube, and no other node.
    std::size_t nodes = 0;
    for (const auto& node : reference["node_list"]) {
        const OctreeNodeId id = idOf(node["key"]);
        EXPECT_EQ(tree->pointCount(id), node["points"].get<std::uint64_t>()) << node["key"];
        const auto box = tree->worldBoundingCube(id);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(box.min()[axis], node["cube_min"][axis].get<double>(), 1e-8) << node["key"];
            EXPECT_NEAR(box.max()[axis], node["cube_max"][axis].get<double>(), 1e-8) << node["key"];
        }
        ++nodes;
    }
    std::size_t walked = 0;
    std::vector<OctreeNodeId> pending{OctreeNodeId::root()};
    while (!pending.empty()) {
        const auto children = tree->children(pending.back());
        pending.pop_back();
        pending.insert(pending.end(), children.begin(), children.end());
        ++walked;
    }
    EXPECT_EQ(walked, nodes);
    EXPECT_EQ(tree->pagesRead().size(), 1u);
}

// Points are stored chunk after chunk, and the LAS beside the file holds them in that order: the
// points of a node are the run that starts after the points of every chunk stored before its own.
TEST(CopcRealFile, EveryNodeDecodesFromItsChunkToItsRunOfTheLasFile)
{
    const auto tree = openFile();
    const nlohmann::json reference = facts();
    const TestSupport::LasFile las = TestSupport::readLas(TestSupport::testStore("copc/1.2-with-color.las"));
    ASSERT_EQ(las.points.size(), tree->pointCount());

    std::map<std::uint64_t, std::pair<std::string, std::size_t>> byOffset;
    for (const auto& node : reference["node_list"]) {
        byOffset[node["offset"].get<std::uint64_t>()] = {node["key"], node["points"].get<std::size_t>()};
    }
    std::size_t first = 0;
    for (const auto& [offset, node] : byOffset) {
        const auto& [key, count] = node;
        const auto decoded = tree->decodedPoints(idOf(key), {});
        ASSERT_TRUE(decoded);
        ASSERT_EQ(decoded->points.count, count) << key;
        const auto model = tree->nodePointData(idOf(key), {});
        const auto reference = tree->referencePosition();
        for (std::size_t i = 0; i < count; ++i) {
            const TestSupport::LasPoint& expected = las.points[first + i];
            for (int axis = 0; axis < 3; ++axis) {
                const double world =
                    double(decoded->points.positions[i][axis]) * decoded->scale[axis] + decoded->offset[axis];
                EXPECT_NEAR(world, expected.position[axis], 1e-9) << key << " point " << i;
                // Model coordinates are floats relative to the cube's corner.
                EXPECT_NEAR(model->position(i)[axis], expected.position[axis] - reference[axis], 1e-3);
            }
            EXPECT_EQ(decoded->points.colors[i], expected.color) << key << " point " << i;
            EXPECT_EQ(decoded->points.intensities[i], expected.intensity) << key << " point " << i;
            EXPECT_EQ(decoded->points.classifications[i], expected.classification) << key << " point " << i;
            // 8-bit values in the 16-bit fields are shown as they are.
            EXPECT_EQ(model->color(i).r(), expected.color[0]);
        }
        first += count;
    }
    EXPECT_EQ(first, las.points.size());
    EXPECT_FALSE(tree->colorsAre16Bit());
}

} // namespace
