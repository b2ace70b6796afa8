// Profiles of real points: the source LAS file, read by the tests' own reader, says which points
// lie in a corridor; the stores are those points indexed on the file's own grid, so the profile
// must hold exactly those points, with the same coordinates and attributes.
#include "MeasureStores.h"

#include <lumaro/measure/Profile.h>

#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/StorePoints.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <tuple>

namespace {

using Measure::ProfileOptions;
using V2 = Math::Point<double, 2>;
using TestSupport::LasPoint;

// Where a point lies against a line of segments, by the distance formulas: the foot on segment k
// at t = (p - a) . (b - a) / |b - a|, the offset (b - a) x (p - a) / |b - a|; the nearest segment
// whose rectangle holds the point.
struct Expected {
    double along;
    double across;
};
std::optional<Expected> expectedPlace(const std::vector<V2>& line, double width, const std::array<double, 3>& p)
{
    std::optional<Expected> best;
    double before = 0.0;
    for (std::size_t k = 0; k + 1 < line.size(); ++k) {
        const double dx = line[k + 1].x() - line[k].x();
        const double dy = line[k + 1].y() - line[k].y();
        const double length = std::hypot(dx, dy);
        const double px = p[0] - line[k].x();
        const double py = p[1] - line[k].y();
        const double t = (px * dx + py * dy) / length;
        const double offset = (dx * py - dy * px) / length;
        if (t >= 0.0 && t <= length && std::abs(offset) <= width / 2
            && (!best || std::abs(offset) < std::abs(best->across)))
            best = Expected{before + t, offset};
        before += length;
    }
    return best;
}

using Key =
    std::tuple<double, double, double, std::uint16_t, std::uint8_t, std::uint16_t, std::uint16_t, std::uint16_t>;

Key keyOf(const LasPoint& point)
{
    return {point.position[0],    point.position[1], point.position[2], point.intensity,
            point.classification, point.color[0],    point.color[1],    point.color[2]};
}

Key keyOf(const Measure::ProfilePoint& point)
{
    return {point.position[0],    point.position[1], point.position[2], point.intensity,
            point.classification, point.color[0],    point.color[1],    point.color[2]};
}

// A line across the stores' bounds, from fractions of them; the vertices lie off the LAS grid.
std::vector<V2> lineAcross(const Math::NBoundingBox<double, 3>& bounds,
                           std::vector<std::pair<double, double>> fractions)
{
    std::vector<V2> line;
    for (const auto& [fx, fy] : fractions)
        line.emplace_back(bounds.min().x() + fx * bounds.size().x() + 0.00037,
                          bounds.min().y() + fy * bounds.size().y() - 0.00041);
    return line;
}

class ProfileOfAutzen : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        folder = new TestSupport::TemporaryFolder;
        coarse = MeasureTest::indexedLas(*folder, "autzen_trim", 100000).string();
        fine = MeasureTest::indexedLas(*folder, "autzen_trim", 2000).string();
        las = new TestSupport::LasFile(TestSupport::readLas(TestSupport::testStore("las/autzen_trim.las")));
    }
    static void TearDownTestSuite()
    {
        delete las;
        delete folder;
    }

    static inline TestSupport::TemporaryFolder* folder = nullptr;
    static inline std::string coarse;
    static inline std::string fine;
    static inline TestSupport::LasFile* las = nullptr;
};

TEST_F(ProfileOfAutzen, HoldsExactlyTheSourcePointsInTheCorridorOnceForEachStore)
{
    const Measure::Stores stores{MeasureTest::openStore(coarse), MeasureTest::openStore(fine)};
    const auto bounds = Measure::storeBounds(stores);
    struct Case {
        std::vector<std::pair<double, double>> fractions;
        double width;
        double lowest;
        double highest;
    };
    const Case cases[] = {
        {{{0.1, 0.2}, {0.9, 0.7}}, 6.0, -INFINITY, INFINITY},
        // A bend: points on its inner side belong to the nearer leg; a height band.
        {{{0.2, 0.9}, {0.5, 0.4}, {0.8, 0.85}}, 12.0, bounds.min().z() + 2.0, bounds.min().z() + 20.0},
    };
    for (const Case& c : cases) {
        ProfileOptions options;
        options.line = lineAcross(bounds, c.fractions);
        options.width = c.width;
        options.lowest = c.lowest;
        options.highest = c.highest;
        std::vector<double> fractions;
        const Measure::Profile profile =
            Measure::measureProfile(stores, options, [&](double fraction) { fractions.push_back(fraction); });

        std::multiset<Key> expected;
        std::map<Key, Expected> places;
        for (const LasPoint& point : las->points) {
            const auto place = expectedPlace(options.line, c.width, point.position);
            if (place && point.position[2] >= c.lowest && point.position[2] <= c.highest) {
                expected.insert(keyOf(point));
                places[keyOf(point)] = *place;
            }
        }
        ASSERT_GT(expected.size(), 500u);
        std::multiset<Key> found[2];
        for (const Measure::ProfilePoint& point : profile.points) {
            ASSERT_LT(point.store, 2u);
            found[point.store].insert(keyOf(point));
            const auto place = places.find(keyOf(point));
            ASSERT_NE(place, places.end());
            EXPECT_NEAR(point.along, place->second.along, 1e-7);
            EXPECT_NEAR(point.across, place->second.across, 1e-7);
        }
        EXPECT_EQ(found[0], expected);
        EXPECT_EQ(found[1], expected);
        EXPECT_TRUE(std::is_sorted(profile.points.begin(), profile.points.end(),
                                   [](const auto& a, const auto& b) { return a.along < b.along; }));
        double length = 0.0;
        for (std::size_t k = 0; k + 1 < options.line.size(); ++k)
            length += (options.line[k + 1] - options.line[k]).norm();
        EXPECT_NEAR(profile.length, length, 1e-9);
        // Progress goes from 0 up to 1 without stepping back.
        ASSERT_FALSE(fractions.empty());
        EXPECT_EQ(fractions.front(), 0.0);
        EXPECT_EQ(fractions.back(), 1.0);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    }
}

TEST_F(ProfileOfAutzen, ReadsNoNodeThatHoldsNoPointOfTheCorridor)
{
    const auto inner = MeasureTest::openStore(fine);
    const auto recording = std::make_shared<MeasureTest::RecordingTree>(inner);
    const auto bounds = Measure::storeBounds({inner});
    ProfileOptions options;
    options.line = lineAcross(bounds, {{0.3, 0.1}, {0.35, 0.9}});
    options.width = 3.0;
    const Measure::Profile profile = Measure::measureProfile({recording}, options);
    ASSERT_FALSE(profile.points.empty());

    const std::set<Octree::OctreeNodeId> read = recording->read();
    const auto nodes = MeasureTest::allNodes(*inner);
    EXPECT_EQ(profile.read.nodes, read.size());
    EXPECT_LT(read.size(), nodes.size() / 2) << "a corridor across a tenth of the store read half its nodes";
    for (const auto node : nodes) {
        if (read.count(node))
            continue;
        const auto points = Octree::storePoints(*inner, node, {});
        std::size_t inCorridor = 0;
        for (const auto& position : points->positions)
            inCorridor += expectedPlace(options.line, options.width, position) ? 1 : 0;
        EXPECT_EQ(inCorridor, 0u) << "node " << node.name() << " holds points of the corridor but was not read";
    }
}

TEST_F(ProfileOfAutzen, StopsWhenAsked)
{
    const Measure::Stores stores{MeasureTest::openStore(fine)};
    ProfileOptions options;
    options.line = lineAcross(Measure::storeBounds(stores), {{0.0, 0.5}, {1.0, 0.5}});
    options.width = 50.0;
    std::stop_source stop;
    int calls = 0;
    EXPECT_THROW(Measure::measureProfile(
                     stores, options,
                     [&](double) {
                         if (++calls == 2)
                             stop.request_stop();
                     },
                     stop.get_token()),
                 Octree::OperationCancelled);
    EXPECT_EQ(calls, 2);
}

TEST_F(ProfileOfAutzen, RefusesCorridorsThatMakeNoSense)
{
    const Measure::Stores stores{MeasureTest::openStore(coarse)};
    const auto bounds = Measure::storeBounds(stores);
    const std::vector<V2> across = lineAcross(bounds, {{0.1, 0.1}, {0.9, 0.9}});
    struct Case {
        std::vector<V2> line;
        double width;
        double lowest;
        double highest;
        std::string named;
    };
    const V2 far(bounds.max().x() + 100.0, bounds.max().y() + 100.0);
    const Case cases[] = {
        {{across[0]}, 1.0, -INFINITY, INFINITY, "at least two points, not 1"},
        {{across[0], across[0], across[1]}, 1.0, -INFINITY, INFINITY, "points 1 and 2"},
        {across, 0.0, -INFINITY, INFINITY, "width must be a number above 0, not 0"},
        {across, -2.0, -INFINITY, INFINITY, "not -2"},
        {across, std::nan(""), -INFINITY, INFINITY, "width"},
        {across, 1.0, 10.0, 5.0, "lowest height 10"},
        {{far, V2(far.x() + 50.0, far.y())}, 1.0, -INFINITY, INFINITY, "outside the stores"},
        {across, 1.0, bounds.max().z() + 1.0, bounds.max().z() + 9.0, "outside the stores"},
    };
    for (const Case& c : cases) {
        ProfileOptions options;
        options.line = c.line;
        options.width = c.width;
        options.lowest = c.lowest;
        options.highest = c.highest;
        try {
            Measure::measureProfile(stores, options);
            ADD_FAILURE() << "accepted: " << c.named;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(c.named), std::string::npos) << error.what();
        }
    }
}

} // namespace
