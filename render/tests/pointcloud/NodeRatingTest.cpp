// What decides which nodes a walk loads besides their size on screen: the drawn distance range of
// the distance modes, and the palette and views that clouds are shown with.
#include "pointcloud/LocationPalette.h"
#include "pointcloud/MeshDistances.h"
#include "pointcloud/NodeRating.h"

#include <lumaro/render/core/ViewPlacement.h>

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <utility>

namespace {

using Box = Math::NBoundingBox<float, 3>;
using Render::drawnUnsignedDistances;

TEST(DrawnDistances, UnsignedRangesOfEachColourMapRange)
{
    using Range = std::optional<std::pair<float, float>>;
    struct Case {
        float min, max;
        bool signedDistance;
        Range expected;
    };
    for (const Case& c : {Case{0.0f, 1.0f, true, Range({0.0f, 1.0f})}, Case{-2.0f, -1.0f, true, Range({1.0f, 2.0f})},
                          Case{-1.0f, 3.0f, true, Range({0.0f, 3.0f})}, Case{-3.0f, 1.0f, true, Range({0.0f, 3.0f})},
                          Case{-1.0f, 2.0f, false, Range({0.0f, 2.0f})}, Case{-2.0f, -1.0f, false, std::nullopt},
                          Case{1.0f, 0.0f, true, std::nullopt}})
        EXPECT_EQ(drawnUnsignedDistances(c.min, c.max, c.signedDistance), c.expected) << c.min << " " << c.max;
}

// The tests of a node's box never say no where a point of the box would be drawn: checked against
// the distances of a grid of points in each box.
TEST(NodeRating, DistanceTestsKeepEveryBoxThatHoldsADrawnPoint)
{
    Render::NodeRating rating;
    rating.plane = Math::NPlane<float, 3>(0.0f, 0.6f, 0.8f, -1.0f);
    rating.world(0, 3) = 0.5f; // model x + 0.5 is world x
    const auto mesh = std::make_shared<const Math::TriangleMesh<float>>(
        std::vector<Math::Point<float, 3>>{{0.0f, 0.0f, 0.0f}, {4.0f, 0.0f, 0.0f}, {0.0f, 4.0f, 0.0f}},
        std::vector<Math::TriangleMesh<float>::Triangle>{{0, 1, 2}});
    rating.modelMesh = mesh;
    for (const bool signedDistance : {true, false}) {
        for (const auto& [min, max] : {std::pair(0.5f, 1.0f), std::pair(-2.0f, -1.5f), std::pair(3.0f, 3.2f)}) {
            rating.signedDistance = signedDistance;
            rating.minDistance = min;
            rating.maxDistance = max;
            for (float x = -3.0f; x < 5.0f; x += 1.5f) {
                for (float z = -3.0f; z < 4.0f; z += 1.25f) {
                    const Box box({x, 0.5f, z}, {x + 1.0f, 1.5f, z + 1.0f});
                    bool planeDrawn = false;
                    bool meshDrawn = false;
                    for (int i = 0; i < 125; ++i) {
                        const Math::Point<float, 3> p(x + (i % 5) / 4.0f, 0.5f + (i / 5 % 5) / 4.0f,
                                                      z + (i / 25) / 4.0f);
                        const float toPlane =
                            rating.plane.signedDistance(Math::Point<float, 3>(p + Eigen::Vector3f(0.5f, 0.0f, 0.0f)));
                        const float plane = signedDistance ? toPlane : std::abs(toPlane);
                        planeDrawn = planeDrawn || (plane >= min && plane <= max);
                        const auto nearest = mesh->nearestPoint(p);
                        const float toMesh = std::sqrt(nearest->squaredDistance) * (p.z() < 0.0f ? -1.0f : 1.0f);
                        const float distance = signedDistance ? toMesh : std::abs(toMesh);
                        meshDrawn = meshDrawn || (distance >= min && distance <= max);
                    }
                    if (planeDrawn)
                        EXPECT_TRUE(rating.needsPlaneDistanceColorization(box)) << x << " " << z;
                    if (meshDrawn)
                        EXPECT_TRUE(rating.needsMeshDistanceColorization(box)) << x << " " << z;
                }
            }
        }
    }
    // And they do say no to boxes far from the range.
    rating.signedDistance = false;
    rating.minDistance = 0.0f;
    rating.maxDistance = 0.5f;
    EXPECT_FALSE(rating.needsPlaneDistanceColorization(Box({0.0f, 10.0f, 10.0f}, {1.0f, 11.0f, 11.0f})));
    EXPECT_FALSE(rating.needsMeshDistanceColorization(Box({0.0f, 0.0f, 5.0f}, {1.0f, 1.0f, 6.0f})));
    rating.minDistance = 3.0f;
    rating.maxDistance = 4.0f;
    EXPECT_FALSE(rating.needsMeshDistanceColorization(Box({1.0f, 1.0f, -0.2f}, {1.2f, 1.2f, 0.2f})));
}

// Clip volumes are in world coordinates: a node's model box is moved by the world matrix before
// it is tested, and a node they cut away whole is discarded even where it would be kept.
TEST(NodeRating, NodesThatClipVolumesCutAwayWholeAreDiscarded)
{
    Render::NodeRating rating;
    rating.minLevelToKeep = 5;
    rating.world(0, 3) = 100.0f; // model x + 100 is world x
    const Box model({0.0f, 8.0f, 8.0f}, {8.0f, 16.0f, 16.0f});
    const auto boxAt = [](double x) {
        return Math::OrientedBox(Math::Point<double, 3>(x, 12, 12), Eigen::Vector3d(1, 1, 1));
    };
    rating.clipVolumes.add(boxAt(104), Render::ClipEffect::ShowInside);
    EXPECT_EQ(rating.rate(1, model), Render::NodePriority::keep());
    rating.clipVolumes.clear();
    rating.clipVolumes.add(boxAt(4), Render::ClipEffect::ShowInside); // where the model box lies before the move
    EXPECT_EQ(rating.rate(1, model), Render::NodePriority::discard());
    rating.clipVolumes.clear();
    rating.clipVolumes.add(Math::OrientedBox(Math::Point<double, 3>(104, 12, 12), Eigen::Vector3d(5, 5, 5)),
                           Render::ClipEffect::ShowOutside);
    EXPECT_EQ(rating.rate(1, model), Render::NodePriority::discard());
    rating.clipVolumes.clear();
    rating.clipVolumes.add(boxAt(104), Render::ClipEffect::ShowOutside); // cuts a hole only
    EXPECT_EQ(rating.rate(1, model), Render::NodePriority::keep());
}

TEST(MeshDistances, AreSignedByTheFaceOfTheNearestTriangleAndScaled)
{
    const Math::TriangleMesh<float> mesh({{0.0f, 0.0f, 0.0f}, {4.0f, 0.0f, 0.0f}, {0.0f, 4.0f, 0.0f}}, {{0, 1, 2}});
    const Render::VertexContainer vertices{
        {Math::Point<float, 3>(1.0f, 1.0f, 2.0f), {}, 0, 0, 0, 0.0f}, // above the face
        {Math::Point<float, 3>(1.0f, 1.0f, -3.0f), {}, 0, 0, 0, 0.0f}, // below it
        {Math::Point<float, 3>(7.0f, 0.0f, 4.0f), {}, 0, 0, 0, 0.0f}, // beyond the corner (4, 0, 0)
    };
    const auto distances = Render::meshDistances(vertices, mesh, 2.0f, {});
    ASSERT_TRUE(distances);
    EXPECT_EQ(*distances, (std::vector<float>{4.0f, -6.0f, 10.0f}));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(Render::meshDistances(vertices, mesh, 1.0f, stop.get_token()));
}

TEST(LocationPalette, HuesHalveTheLargestGapInTheOrderStoresArrive)
{
    Render::HueSequence hues;
    for (const double expected : {0.0, 180.0, 90.0, 270.0, 45.0, 135.0, 225.0, 315.0, 22.5})
        EXPECT_EQ(hues.next(), expected);
}

TEST(ViewPlacement, ObliqueAndTopViews)
{
    const Render::CameraPose oblique = Render::obliqueView(Box({0.0f, 0.0f, 0.0f}, {10.0f, 10.0f, 10.0f}));
    EXPECT_LT((oblique.eye - Math::Point<float, 3>(15.5f, 15.5f, 21.8f)).norm(), 1e-5f);
    EXPECT_EQ(oblique.target, (Math::Point<float, 3>(5.0f, 5.0f, 5.0f)));
    EXPECT_EQ(oblique.up, Eigen::Vector3f::UnitZ());

    // 100 x 50 into 640 x 480: the width limits; 40 x 50: the depth does.
    const Render::TopView wide = Render::topView(Box({0.0f, 0.0f, 0.0f}, {100.0f, 50.0f, 2.0f}), 640, 480);
    EXPECT_FLOAT_EQ(wide.horizontalExtent, 100.0f);
    EXPECT_FLOAT_EQ(wide.verticalExtent, 75.0f);
    EXPECT_EQ(wide.pose.target, (Math::Point<float, 3>(50.0f, 25.0f, 1.0f)));
    EXPECT_GT(wide.pose.eye.z(), 2.0f);
    EXPECT_EQ(wide.pose.up, Eigen::Vector3f::UnitY());
    const Render::TopView deep = Render::topView(Box({0.0f, 0.0f, 0.0f}, {40.0f, 50.0f, 2.0f}), 640, 480);
    EXPECT_FLOAT_EQ(deep.verticalExtent, 50.0f);
    EXPECT_FLOAT_EQ(deep.horizontalExtent, 50.0f * 640.0f / 480.0f);

    // The x/y extent fills the picture whatever the height: a store in degrees with heights in
    // metres, and lines and points, which get a view of some size from x and y alone.
    struct Fit {
        Box box;
        float horizontal;
        float vertical;
    };
    const Fit fits[] = {
        {Box({0.0f, 0.0f, 0.0f}, {0.023f, 0.011f, 39.0f}), 0.023f, 0.023f * 480.0f / 640.0f},
        {Box({0.0f, 0.0f, 0.0f}, {0.011f, 0.023f, 39.0f}), 0.023f * 640.0f / 480.0f, 0.023f},
        {Box({0.0f, 0.0f, 0.0f}, {10.0f, 0.0f, 500.0f}), 10.0f, 7.5f},
        {Box({0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 500.0f}), 1.0f * 640.0f / 480.0f, 1.0f},
        {Box({3.0f, 4.0f, 5.0f}, {3.0f, 4.0f, 5.0f}), 1.0f * 640.0f / 480.0f, 1.0f},
    };
    for (const Fit& fit : fits) {
        const Render::TopView top = Render::topView(fit.box, 640, 480);
        EXPECT_FLOAT_EQ(top.horizontalExtent, fit.horizontal) << fit.box.size().transpose();
        EXPECT_FLOAT_EQ(top.verticalExtent, fit.vertical) << fit.box.size().transpose();
        EXPECT_GT(top.pose.eye.z(), fit.box.max().z()) << fit.box.size().transpose();
    }
}

} // namespace
