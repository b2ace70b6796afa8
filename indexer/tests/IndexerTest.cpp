// LAS and LAZ files indexed into COPC files, read back by our COPC reader and, whole, by LASzip,
// and compared with the inputs read by hand.
#include "PointFiles.h"

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/indexer/Indexer.h>
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <tuple>

namespace {

using IndexTest::Point;
using Octree::OctreeNodeId;

std::filesystem::path las(const std::string& name)
{
    return TestSupport::testStore("las/" + name);
}

std::shared_ptr<Copc::CopcTree> openCopc(const std::filesystem::path& file)
{
    return std::dynamic_pointer_cast<Copc::CopcTree>(Octree::Octree::open(PoTree::FileSystemLocation(file)));
}

std::vector<Point> sorted(std::vector<Point> points)
{
    std::sort(points.begin(), points.end());
    return points;
}

std::vector<Point> expectedPoints(const std::vector<std::filesystem::path>& inputs, const IndexTest::Grid& grid)
{
    std::vector<Point> all;
    for (const auto& input : inputs) {
        const std::vector<Point> points = IndexTest::readLasPoints(input, grid);
        all.insert(all.end(), points.begin(), points.end());
    }
    return sorted(std::move(all));
}

// The fields our COPC reader decodes: position, intensity, class, colour, point source.
using Decoded =
    std::tuple<std::array<std::int64_t, 3>, std::uint16_t, unsigned, std::array<std::uint16_t, 3>, std::uint32_t>;

struct Walk {
    std::vector<Decoded> points;
    std::map<OctreeNodeId, std::size_t> counts; // every listed node
    std::size_t deepest = 0;
};

// Every node reachable from the root, decoded by our reader (which also checks that each
// node's points lie inside its cube).
Walk walkCopc(const std::filesystem::path& file)
{
    const auto tree = openCopc(file);
    Walk walk;
    std::vector<OctreeNodeId> todo{OctreeNodeId::root()};
    while (!todo.empty()) {
        const OctreeNodeId node = todo.back();
        todo.pop_back();
        const auto decoded = tree->decodedPoints(node, {});
        const Octree::RawPoints& raw = decoded->points;
        walk.counts[node] = raw.count;
        walk.deepest = std::max(walk.deepest, node.level());
        for (std::size_t i = 0; i < raw.count; ++i) {
            walk.points.emplace_back(raw.positions[i], raw.intensities[i], raw.classifications[i],
                                     raw.colors.empty() ? std::array<std::uint16_t, 3>{} : raw.colors[i],
                                     raw.scanIndices[i]);
        }
        for (const OctreeNodeId child : tree->children(node)) {
            todo.push_back(child);
        }
    }
    std::sort(walk.points.begin(), walk.points.end());
    return walk;
}

std::vector<Decoded> decodedFields(const std::vector<Point>& points)
{
    std::vector<Decoded> result;
    for (const Point& p : points) {
        result.emplace_back(p.xyz, p.intensity, p.classification,
                            std::array<std::uint16_t, 3>{p.colorAndNir[0], p.colorAndNir[1], p.colorAndNir[2]},
                            p.pointSource);
    }
    std::sort(result.begin(), result.end());
    return result;
}

// The header's counts, bounds and GPS range must be the points' own.
void expectHeaderDescribesPoints(const IndexTest::CopcFacts& facts)
{
    ASSERT_EQ(facts.headerCount, facts.points.size());
    std::array<std::uint64_t, 15> byReturn{};
    double gpsLow = facts.points.front().gpsTime;
    double gpsHigh = gpsLow;
    for (int axis = 0; axis < 3; ++axis) {
        std::int64_t low = facts.points.front().xyz[axis];
        std::int64_t high = low;
        for (const Point& p : facts.points) {
            low = std::min(low, p.xyz[axis]);
            high = std::max(high, p.xyz[axis]);
        }
        EXPECT_DOUBLE_EQ(facts.headerMinimum[axis], low * facts.grid.scale[axis] + facts.grid.offset[axis]) << axis;
        EXPECT_DOUBLE_EQ(facts.headerMaximum[axis], high * facts.grid.scale[axis] + facts.grid.offset[axis]) << axis;
    }
    for (const Point& p : facts.points) {
        if (p.returnNumber >= 1) {
            ++byReturn[p.returnNumber - 1];
        }
        gpsLow = std::min(gpsLow, p.gpsTime);
        gpsHigh = std::max(gpsHigh, p.gpsTime);
    }
    EXPECT_EQ(facts.headerByReturn, byReturn);
    EXPECT_EQ(facts.gpsMinimum, gpsLow);
    EXPECT_EQ(facts.gpsMaximum, gpsHigh);
}

struct RealFile {
    const char* name;
    unsigned format; // of the output
};

void PrintTo(const RealFile& file, std::ostream* out)
{
    *out << file.name;
}

class IndexRealFile : public testing::TestWithParam<RealFile> {};

TEST_P(IndexRealFile, HoldsEveryPointOnceInNodesOfBoundedSize)
{
    TestSupport::TemporaryFolder folder;
    const auto output = folder.path() / "out.copc.laz";
    Index::IndexOptions options;
    options.threads = 2;
    options.maxNodePoints = 300; // deep trees from small files
    const Index::IndexReport report = Index::indexToCopc({las(GetParam().name)}, output, options);

    const IndexTest::CopcFacts facts = IndexTest::readCopcWithLaszip(output);
    EXPECT_EQ(facts.format, GetParam().format);
    const IndexTest::Grid source = IndexTest::lasGrid(las(GetParam().name));
    EXPECT_EQ(facts.grid.scale, source.scale);
    EXPECT_EQ(facts.grid.offset, source.offset);
    const std::vector<Point> expected = expectedPoints({las(GetParam().name)}, facts.grid);
    ASSERT_EQ(sorted(facts.points), expected);
    expectHeaderDescribesPoints(facts);
    EXPECT_EQ(IndexTest::wktOf(output), IndexTest::wktOf(las(GetParam().name)));

    const Walk walk = walkCopc(output);
    EXPECT_EQ(walk.points, decodedFields(expected));
    EXPECT_EQ(walk.counts.size(), report.nodes);
    EXPECT_GE(walk.deepest, 2u);
    for (const auto& [node, count] : walk.counts) {
        EXPECT_LE(count, options.maxNodePoints) << node.name();
    }
    EXPECT_GT(walk.counts.at(OctreeNodeId::root()), 0u);
}

INSTANTIATE_TEST_SUITE_P(TestData, IndexRealFile,
                         testing::Values(RealFile{"1.2-with-color.las", 7}, RealFile{"autzen_trim.las", 7},
                                         RealFile{"test1_4.las", 6}, RealFile{"warsaw_small.las", 7}),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             name = name.substr(0, name.find(".las"));
                             std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
                             return name;
                         });

// Tiles of one site: two real files and one whose coarser grid and other offset lie on theirs.
TEST(Index, SeveralFilesBecomeOneCloudOnTheFinestGrid)
{
    TestSupport::TemporaryFolder folder;
    TestSupport::SyntheticLas coarse;
    coarse.format = 3;
    coarse.scale = {0.1, 0.1, 0.01};
    coarse.offset = {637000.5, 851000.25, 3.0};
    const auto tile = folder.path() / "coarse-tile.las";
    TestSupport::writeSyntheticLas(tile, coarse, 4000);
    const auto output = folder.path() / "tiles.copc.laz";
    const std::vector<std::filesystem::path> inputs{las("1.2-with-color.las"), tile, las("autzen_trim.las")};
    Index::IndexOptions options;
    options.maxNodePoints = 2000;
    Index::indexToCopc(inputs, output, options);

    const IndexTest::CopcFacts facts = IndexTest::readCopcWithLaszip(output);
    EXPECT_EQ(facts.grid.scale, IndexTest::lasGrid(inputs[0]).scale);
    EXPECT_EQ(facts.grid.offset, IndexTest::lasGrid(inputs[0]).offset);
    ASSERT_EQ(sorted(facts.points), expectedPoints(inputs, facts.grid));
    expectHeaderDescribesPoints(facts);
    EXPECT_EQ(walkCopc(output).points, decodedFields(facts.points));
}

// Every point format and LAS version, with extra bytes, through the LAS record layouts: fields of
// old formats are widened as LAS 1.4 defines.
struct Layout {
    unsigned minor;
    unsigned format;
    std::size_t extraBytes;
    unsigned outputFormat;
};

void PrintTo(const Layout& layout, std::ostream* out)
{
    *out << "format " << layout.format << ", LAS 1." << layout.minor;
}

class IndexFormat : public testing::TestWithParam<Layout> {};

TEST_P(IndexFormat, KeepsEveryFieldOfEveryPoint)
{
    TestSupport::TemporaryFolder folder;
    const Layout layout = GetParam();
    TestSupport::SyntheticLas recipe;
    recipe.minor = layout.minor;
    recipe.format = layout.format;
    recipe.extraBytes = layout.extraBytes;
    recipe.scale = {0.001, 0.002, 0.0005};
    recipe.offset = {500000.5, 4000000.25, -12.0};
    const auto input = folder.path() / "in.las";
    TestSupport::writeSyntheticLas(input, recipe, 5000);
    std::vector<std::string> warnings;
    Index::IndexOptions options;
    options.maxNodePoints = 700;
    options.warning = [&warnings](const std::string& text) { warnings.push_back(text); };
    Index::indexToCopc({input}, folder.path() / "out.copc.laz", options);

    const IndexTest::CopcFacts facts = IndexTest::readCopcWithLaszip(folder.path() / "out.copc.laz");
    EXPECT_EQ(facts.format, layout.outputFormat);
    ASSERT_EQ(sorted(facts.points), expectedPoints({input}, facts.grid));
    expectHeaderDescribesPoints(facts);
    const bool waveform = layout.format == 4 || layout.format == 5 || layout.format == 9 || layout.format == 10;
    ASSERT_EQ(warnings.size(), waveform ? 1u : 0u);
    if (waveform) {
        EXPECT_NE(warnings.front().find("waveform"), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, IndexFormat,
                         testing::Values(Layout{0, 0, 0, 6}, Layout{1, 1, 3, 6}, Layout{2, 2, 0, 7}, Layout{2, 3, 2, 7},
                                         Layout{3, 4, 0, 6}, Layout{3, 5, 1, 7}, Layout{4, 6, 4, 6}, Layout{4, 7, 0, 7},
                                         Layout{4, 8, 5, 8}, Layout{4, 9, 0, 6}, Layout{4, 10, 2, 8}),
                         [](const auto& info) { return "format" + std::to_string(info.param.format); });

// A coordinate system given only as GeoTIFF keys cannot be carried into LAS 1.4 point formats,
// which take WKT: the user hears so.
TEST(Index, WarnsThatGeoTiffKeysAreNotCarried)
{
    TestSupport::TemporaryFolder folder;
    std::string bytes = Core::readLocalFile(las("test1_4.las"));
    const std::uint16_t geoKeys = 34735; // the file's WKT record becomes a GeoTIFF key directory
    std::memcpy(bytes.data() + 375 + 18, &geoKeys, 2);
    const auto input = folder.write("geotiff.las", bytes);
    std::vector<std::string> warnings;
    Index::IndexOptions options;
    options.warning = [&warnings](const std::string& text) { warnings.push_back(text); };
    Index::indexToCopc({input}, folder.path() / "out.copc.laz", options);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings.front().find("geotiff.las"), std::string::npos);
    EXPECT_NE(warnings.front().find("GeoTIFF keys"), std::string::npos);
    EXPECT_EQ(IndexTest::wktOf(folder.path() / "out.copc.laz"), "");
}

TEST(Index, ReadsItsOwnOutputAsLazInput)
{
    TestSupport::TemporaryFolder folder;
    const auto first = folder.path() / "first.copc.laz";
    Index::IndexOptions options;
    options.maxNodePoints = 5000;
    Index::indexToCopc({las("autzen_trim.las")}, first, options);
    const auto second = folder.path() / "second.copc.laz";
    options.maxNodePoints = 800;
    Index::indexToCopc({first}, second, options);

    const IndexTest::CopcFacts facts = IndexTest::readCopcWithLaszip(second);
    EXPECT_EQ(sorted(facts.points), expectedPoints({las("autzen_trim.las")}, facts.grid));
}

// The top view of the root alone covers the footprint: every column of the root's grid (cube
// edge / 128) that holds input points holds a point of the root, and no cell of that grid holds
// two of them.
TEST(Index, RootCoversTheFootprintOnePointPerCell)
{
    TestSupport::TemporaryFolder folder;
    const auto output = folder.path() / "autzen.copc.laz";
    Index::indexToCopc({las("autzen_trim.las")}, output);
    const auto tree = openCopc(output);
    const Copc::FileHead& head = tree->head();
    const double cell = 2 * head.halfSize / 128;
    auto cellOf = [&](const std::array<double, 3>& world) {
        std::array<long, 3> index{};
        for (int axis = 0; axis < 3; ++axis) {
            index[axis] = std::min(
                127L, static_cast<long>(std::floor((world[axis] - (head.center[axis] - head.halfSize)) / cell)));
        }
        return index;
    };
    const auto root = tree->decodedPoints(OctreeNodeId::root(), {});
    std::set<std::array<long, 3>> rootCells;
    std::set<std::array<long, 2>> rootColumns;
    for (const auto& stored : root->points.positions) {
        const auto index =
            cellOf({stored[0] * head.scale[0] + head.offset[0], stored[1] * head.scale[1] + head.offset[1],
                    stored[2] * head.scale[2] + head.offset[2]});
        EXPECT_TRUE(rootCells.insert(index).second) << "two root points in one cell";
        rootColumns.insert({index[0], index[1]});
    }
    const IndexTest::Grid grid{head.scale, head.offset};
    std::set<std::array<long, 2>> inputColumns;
    for (const Point& p : IndexTest::readLasPoints(las("autzen_trim.las"), grid)) {
        const auto index = cellOf({p.xyz[0] * grid.scale[0] + grid.offset[0], p.xyz[1] * grid.scale[1] + grid.offset[1],
                                   p.xyz[2] * grid.scale[2] + grid.offset[2]});
        inputColumns.insert({index[0], index[1]});
    }
    EXPECT_EQ(rootColumns, inputColumns);
    EXPECT_NEAR(head.spacing, cell, 1e-9 * cell);
}

// An input whose points need more memory than the limit allows is indexed within it.
TEST(Index, StaysWithinASmallMemoryLimit)
{
    TestSupport::TemporaryFolder folder;
    TestSupport::SyntheticLas recipe;
    recipe.minor = 4;
    recipe.format = 6;
    const auto input = folder.path() / "large.las";
    constexpr std::size_t count = 1300000; // 39 MB of records, 30 bytes each
    TestSupport::writeSyntheticLas(input, recipe, count);
    ASSERT_GT(std::filesystem::file_size(input), std::uintmax_t{32} << 20);
    Index::IndexOptions options;
    options.memoryLimitMiB = 32;
    options.threads = 2;
    const auto output = folder.path() / "large.copc.laz";
    const Index::IndexReport report = Index::indexToCopc({input}, output, options);

    EXPECT_EQ(report.memoryLimitBytes, std::uint64_t{32} << 20);
    EXPECT_LE(report.peakAccountedBytes, report.memoryLimitBytes);
    EXPECT_GT(report.peakAccountedBytes, report.memoryLimitBytes / 8); // the budget was used, not bypassed
    EXPECT_LT(report.maxNodePoints, options.maxNodePoints);
    const IndexTest::CopcFacts facts = IndexTest::readCopcWithLaszip(output);
    ASSERT_EQ(sorted(facts.points), expectedPoints({input}, facts.grid));
    // Nothing but the output is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), std::filesystem::directory_iterator()),
              2);
}

TEST(Index, StopsWhenAskedAndLeavesNothingBehind)
{
    TestSupport::TemporaryFolder folder;
    const auto output = folder.path() / "stopped.copc.laz";
    std::stop_source stop;
    std::vector<Index::Progress> seen;
    EXPECT_THROW(Index::indexToCopc(
                     {las("autzen_trim.las")}, output, {},
                     [&](const Index::Progress& progress) {
                         seen.push_back(progress);
                         stop.request_stop();
                     },
                     stop.get_token()),
                 Octree::OperationCancelled);
    EXPECT_FALSE(seen.empty());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(Index, ReportsEachPhaseInOrderUpToCompletion)
{
    TestSupport::TemporaryFolder folder;
    std::vector<Index::Progress> seen;
    Index::indexToCopc({las("autzen_trim.las")}, folder.path() / "out.copc.laz", {},
                       [&](const Index::Progress& progress) { seen.push_back(progress); });
    ASSERT_FALSE(seen.empty());
    for (std::size_t i = 1; i < seen.size(); ++i) {
        const bool later = seen[i].phase > seen[i - 1].phase;
        EXPECT_TRUE(later || (seen[i].phase == seen[i - 1].phase && seen[i].fraction >= seen[i - 1].fraction)) << i;
    }
    EXPECT_EQ(seen.back().phase, Index::Phase::Writing);
    EXPECT_EQ(seen.back().fraction, 1.0);
}

} // namespace
