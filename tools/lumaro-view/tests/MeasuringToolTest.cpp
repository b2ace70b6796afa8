// The measuring tool: what picked points make in each mode, what it refuses, what it shows in the
// scene and says in the title, worked by hand; and a volume measured in the background.
#include "BackgroundVolume.h"
#include "MeasuringTool.h"

#include <lumaro/octree/Location.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

using Tool::Measurement;
using Tool::MeasuringTool;
using Mode = MeasuringTool::Mode;

const Eigen::Vector3d origin(500000, 5200000, 100);

TEST(MeasuringTool, TwoPointsMakeALineAndTheNextPointStartsAnother)
{
    MeasuringTool tool;
    EXPECT_FALSE(tool.add(origin)) << "off: points are not taken";
    tool.toggle(Mode::Line);
    EXPECT_FALSE(tool.add(origin));
    const std::optional<Measurement> line = tool.add(origin + Eigen::Vector3d(3, 4, 12));
    ASSERT_TRUE(line);
    EXPECT_EQ(line->text(), "distance 13.000 horizontal 5.000 height +12.000 slope 240.0 % (67.4 deg)");
    EXPECT_EQ(tool.status(), "measuring lines: click two points (2 points)");
    EXPECT_FALSE(tool.add(origin)) << "a third point begins the next line";
    EXPECT_EQ(tool.points().size(), 1u);
    ASSERT_TRUE(tool.add(origin + Eigen::Vector3d(0, 0, -2)));
    EXPECT_EQ(tool.last()->text(), "distance 2.000 horizontal 0.000 height -2.000 slope vertical");
    tool.toggle(Mode::Line);
    EXPECT_EQ(tool.mode(), Mode::Off);
    EXPECT_EQ(tool.status(), "");
}

TEST(MeasuringTool, APolygonClosesIntoItsAreaOrSaysWhyNot)
{
    MeasuringTool tool;
    tool.toggle(Mode::Polygon);
    tool.add(origin);
    tool.add(origin + Eigen::Vector3d(4, 0, 0));
    EXPECT_THROW(tool.close(), std::invalid_argument);
    EXPECT_EQ(tool.points().size(), 2u) << "a refused close keeps the points";
    tool.add(origin + Eigen::Vector3d(0, 3, 3));
    tool.add(origin + Eigen::Vector3d(4, 3, 3)); // crosses itself: 0,0 4,0 0,3 4,3
    EXPECT_THROW(tool.close(), std::invalid_argument);
    EXPECT_TRUE(tool.undo());
    EXPECT_TRUE(tool.undo());
    tool.add(origin + Eigen::Vector3d(4, 3, 3));
    tool.add(origin + Eigen::Vector3d(0, 3, 3));
    EXPECT_EQ(tool.status(), "measuring a polygon: click its corners, Enter closes (4 points)");
    // 0,0,0 4,0,0 4,3,3 0,3,3: 4 x 3 in plan, 4 x (3 sqrt 2) in space.
    const Measurement polygon = tool.close();
    EXPECT_EQ(polygon.text(), "area 12.00 in plan, 16.97 in space, perimeter 16.49");
    ASSERT_TRUE(polygon.footprint);
    EXPECT_DOUBLE_EQ(polygon.footprint->area(), 12.0);
    EXPECT_TRUE(tool.points().empty());
}

TEST(MeasuringTool, ShowsItsPointsAndMeasurementsAsHighlightsInTheScene)
{
    MeasuringTool tool;
    tool.toggle(Mode::Line);
    tool.add(origin + Eigen::Vector3d(1, 1, 0));
    tool.add(origin + Eigen::Vector3d(9, 7, 0)); // 10 long
    const Render::ClipVolumes line = tool.highlights(origin, 0.2, 8, 64);
    ASSERT_EQ(line.volumes().size(), 3u); // the line and its two ends
    for (const auto& volume : line.volumes())
        EXPECT_EQ(volume.effect, Render::ClipEffect::Highlight);
    EXPECT_TRUE(line.highlights({5, 4, 0.05})); // on the line, in scene coordinates
    EXPECT_TRUE(line.highlights({9.05, 7.05, 0.0})); // at its end
    EXPECT_FALSE(line.highlights({5, 4, 0.15})); // above it by more than half the width
    EXPECT_FALSE(line.highlights({5.2, 3.8, 0.0})); // beside it
    EXPECT_EQ(tool.highlights(origin, 0.2, 1, 64).volumes().size(), 1u) << "no more than the room";

    tool.toggle(Mode::Polygon);
    EXPECT_TRUE(tool.highlights(origin, 0.2, 8, 64).empty());
    tool.add(origin);
    tool.add(origin + Eigen::Vector3d(4, 0, 0));
    tool.add(origin + Eigen::Vector3d(0, 3, 0));
    EXPECT_EQ(tool.highlights(origin, 0.2, 8, 64).volumes().size(), 3u); // a marker each
    tool.close();
    const Render::ClipVolumes prism = tool.highlights(origin, 0.2, 8, 64);
    ASSERT_EQ(prism.volumes().size(), 1u);
    EXPECT_TRUE(prism.highlights({1, 1, 50}));
    EXPECT_FALSE(prism.highlights({3, 2, 0}));
    EXPECT_TRUE(tool.highlights(origin, 0.2, 8, 2).empty()) << "no room for its three vertices";
}

TEST(BackgroundVolume, MeasuresOnItsOwnThreadAndTellsWhenDone)
{
    // A 4 x 2 x 1.5 box on flat ground, sampled every 0.1: 12 above the fitted ground.
    TestSupport::TemporaryFolder folder;
    std::vector<TestSupport::StorePoint> points;
    for (int i = 0; i < 100; ++i)
        for (int j = 0; j < 100; ++j) {
            const double x = 3.05 + 0.1 * i;
            const double y = 3.05 + 0.1 * j;
            points.push_back({x, y, 2.0 + (x > 5 && x < 9 && y > 6 && y < 8 ? 1.5 : 0.0)});
        }
    TestSupport::writePotreeStore(folder.path(), {{"r", points}});
    const Measure::Stores stores{Octree::Octree::open(Octree::locationOf(folder.path().string()))};
    using V = Math::Point<double, 2>;
    const Math::Polygon square({V(4, 4), V(12, 4), V(12, 12), V(4, 12)});
    EXPECT_DOUBLE_EQ(Tool::BackgroundVolume::cellFor(square), 0.03125);
    std::mutex mutex;
    std::condition_variable changed;
    int notices = 0;
    const auto notify = [&] {
        const std::lock_guard lock(mutex);
        ++notices;
        changed.notify_all();
    };
    Tool::BackgroundVolume volume(stores, Measure::VolumeOptions{square, 0.25, {Measure::VolumeBase::Kind::Fit}},
                                  notify);
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(30), [&] { return volume.finished(); }));
    }
    EXPECT_GT(notices, 1) << "progress and the end";
    EXPECT_EQ(volume.progress(), 1.0);
    EXPECT_EQ(
        volume.text().rfind("volume above 12.000, below 0.000 over a base fitted to the edge (cells of 0.25, 0 of ", 0),
        0u)
        << volume.text();

    const Math::Polygon far({V(40, 40), V(50, 40), V(50, 50)});
    Tool::BackgroundVolume failing(stores, Measure::VolumeOptions{far, 0.25, {}}, [] {});
    while (!failing.finished())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(failing.text().rfind("cannot measure the volume: the polygon lies outside the stores", 0), 0u)
        << failing.text();
}

} // namespace
