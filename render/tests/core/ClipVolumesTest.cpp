// Clip volumes on the CPU: which points they draw and highlight, which boxes they cut away whole,
// what they refuse, and the constants the shaders read (worked by hand).
#include <lumaro/render/core/ClipVolumes.h>

#include "core/ClipVolumeConstants.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

using Render::ClipEffect;
using Render::ClipPrism;
using Render::ClipVolumes;
using P3 = Math::Point<double, 3>;
using P2 = Math::Point<double, 2>;
using Box = Math::NBoundingBox<double, 3>;

// A 4 x 2 x 2 box around (10, 10, 5) turned by 45 degrees, its long axis along (1, 1).
Math::OrientedBox turnedBox()
{
    return Math::OrientedBox::fromAngles(P3(10, 10, 5), Eigen::Vector3d(2, 1, 1), std::numbers::pi / 4);
}

// An L over x 0..4, y 0..4 without the square 2..4 x 2..4, from height 1 to 3.
ClipPrism ell()
{
    return {Math::Polygon({P2(0, 0), P2(4, 0), P2(4, 2), P2(2, 2), P2(2, 4), P2(0, 4)}), 1.0, 3.0};
}

TEST(ClipVolumesTest, PointsInsideShownVolumesOutsideHiddenOnesAndHighlights)
{
    const double r = std::sqrt(0.5);
    ClipVolumes volumes;
    EXPECT_TRUE(volumes.draws(P3(100, 100, 100)));
    volumes.add(turnedBox(), ClipEffect::ShowInside);
    volumes.add(ell(), ClipEffect::ShowInside);
    // Several volumes that show their inside show each one's.
    EXPECT_TRUE(volumes.draws(P3(10 + 1.9 * r, 10 + 1.9 * r, 5.5)));
    EXPECT_FALSE(volumes.draws(P3(10 + 1.9 * r, 10 - 1.9 * r, 5.5))); // across, beyond 1
    EXPECT_TRUE(volumes.draws(P3(1, 3, 2)));
    EXPECT_FALSE(volumes.draws(P3(3, 3, 2))); // the notch
    EXPECT_FALSE(volumes.draws(P3(1, 3, 3.5))); // above the roof
    // A hidden inside wins over a shown one.
    volumes.add(Math::OrientedBox(P3(1, 1, 2), Eigen::Vector3d(0.5, 0.5, 0.5)), ClipEffect::ShowOutside);
    EXPECT_FALSE(volumes.draws(P3(1.2, 1.2, 2)));
    EXPECT_TRUE(volumes.draws(P3(1.8, 1.2, 2)));
    volumes.add(ClipPrism{Math::Polygon({P2(0, 0), P2(20, 0), P2(20, 1), P2(0, 1)})}, ClipEffect::Highlight);
    EXPECT_TRUE(volumes.highlights(P3(3, 0.5, 2)));
    EXPECT_FALSE(volumes.highlights(P3(3, 1.5, 2)));
    EXPECT_FALSE(volumes.highlights(P3(15, 0.5, 2))) << "not drawn, so not highlighted";
}

TEST(ClipVolumesTest, BoxesCutAwayWholeAreThoseNothingOfCanBeDrawn)
{
    ClipVolumes inside;
    inside.add(ell(), ClipEffect::ShowInside);
    ClipVolumes outside;
    outside.add(ell(), ClipEffect::ShowOutside);
    ClipVolumes highlight;
    highlight.add(ell(), ClipEffect::Highlight);
    struct Case {
        Box box;
        bool cutByInside;
        bool cutByOutside;
    };
    const Case cases[] = {
        {Box(P3(0.5, 0.5, 1.5), P3(1.5, 1.5, 2.5)), false, true}, // wholly in the L
        {Box(P3(2.5, 2.5, 1.5), P3(3.5, 3.5, 2.5)), true, false}, // in the notch
        {Box(P3(0.5, 0.5, 3.5), P3(1.5, 1.5, 4.5)), true, false}, // above the roof
        {Box(P3(0.5, 0.5, 2.5), P3(1.5, 1.5, 3.5)), false, false}, // through the roof
        {Box(P3(1.5, 1.5, 1.5), P3(2.5, 2.5, 2.5)), false, false}, // over the inner corner
    };
    for (const Case& c : cases) {
        EXPECT_EQ(inside.clipsAway(c.box), c.cutByInside) << c.box.min().transpose();
        EXPECT_EQ(outside.clipsAway(c.box), c.cutByOutside) << c.box.min().transpose();
        EXPECT_FALSE(highlight.clipsAway(c.box));
    }
    // Shown volumes together: a box outside one but in another stays.
    inside.add(turnedBox(), ClipEffect::ShowInside);
    EXPECT_FALSE(inside.clipsAway(Box(P3(9.5, 9.5, 4.5), P3(10.5, 10.5, 5.5))));
    EXPECT_TRUE(inside.clipsAway(Box(P3(20, 20, 0), P3(21, 21, 1))));
}

TEST(ClipVolumesTest, RefusesMoreThanTheShadersHold)
{
    ClipVolumes volumes;
    std::vector<P2> circle;
    for (int k = 0; k < 60; ++k)
        circle.emplace_back(std::cos(k * std::numbers::pi / 30), std::sin(k * std::numbers::pi / 30));
    volumes.add(ClipPrism{Math::Polygon(circle)}, ClipEffect::ShowInside);
    EXPECT_THROW(volumes.add(ell(), ClipEffect::ShowInside), std::invalid_argument); // 66 vertices
    EXPECT_THROW(volumes.add(ClipPrism{ell().footprint, 3.0, 1.0}, ClipEffect::ShowInside), std::invalid_argument);
    for (int k = 1; k < 8; ++k)
        volumes.add(turnedBox(), ClipEffect::Highlight);
    EXPECT_THROW(volumes.add(turnedBox(), ClipEffect::Highlight), std::invalid_argument);
    EXPECT_EQ(volumes.volumes().size(), 8u);
}

TEST(ClipVolumesTest, ConstantsAsTheShadersReadThem)
{
    ClipVolumes volumes;
    volumes.add(turnedBox(), ClipEffect::ShowOutside);
    volumes.add(ClipPrism{ell().footprint}, ClipEffect::Highlight);
    volumes.add(ClipPrism{Math::Polygon({P2(10, 10), P2(12, 10), P2(11, 12)}), -2.0, 7.5}, ClipEffect::ShowInside);
    volumes.setHighlightColor(Math::Color(255, 0, 51, 102));
    const Render::ClipVolumeConstants constants = Render::clipVolumeConstants(volumes);
    EXPECT_EQ(constants.volumeCount, 3);
    // Kind, effect, first vertex, vertex count.
    const std::int32_t expected[3][4] = {{1, 1, 0, 0}, {2, 2, 0, 6}, {2, 0, 6, 3}};
    for (int v = 0; v < 3; ++v)
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(constants.volumes[v][k], expected[v][k]) << v << " " << k;
    // The box's matrix takes its far corner along its long axis to (1, 1, 1).
    const Eigen::Map<const Eigen::Matrix4f> box(constants.clipFromWorld[0]);
    const double r = std::sqrt(0.5);
    const Eigen::Vector4f corner(float(10 + 2 * r - r), float(10 + 2 * r + r), 6.0f, 1.0f);
    EXPECT_TRUE((box * corner).head<3>().isApprox(Eigen::Vector3f(1, 1, 1), 1e-5f)) << (box * corner).transpose();
    // The L's centroid is (5/3, 5/3): its frame moves there, and its first vertex lies at
    // (-5/3, -5/3); the triangle's centroid is (11, 32/3).
    const Eigen::Map<const Eigen::Matrix4f> frame(constants.clipFromWorld[1]);
    EXPECT_NEAR(frame(0, 3), -5.0f / 3.0f, 1e-6f);
    EXPECT_NEAR(constants.vertices[0][0], -5.0f / 3.0f, 1e-6f);
    EXPECT_NEAR(constants.vertices[0][3], -5.0f / 3.0f, 1e-6f); // vertex 1: (4, 0)
    EXPECT_NEAR(constants.vertices[0][2], 4.0f - 5.0f / 3.0f, 1e-6f);
    EXPECT_NEAR(constants.vertices[3][0], 10.0f - 11.0f, 1e-5f); // vertex 6, the triangle's first
    EXPECT_NEAR(constants.vertices[3][1], 10.0f - 32.0f / 3.0f, 1e-5f);
    // No floor or roof is the largest float; heights as given.
    EXPECT_EQ(constants.heights[1][0], std::numeric_limits<float>::lowest());
    EXPECT_EQ(constants.heights[1][1], std::numeric_limits<float>::max());
    EXPECT_EQ(constants.heights[2][0], -2.0f);
    EXPECT_EQ(constants.heights[2][1], 7.5f);
    EXPECT_FLOAT_EQ(constants.highlightColor[0], 1.0f);
    EXPECT_FLOAT_EQ(constants.highlightColor[2], 0.2f);
    EXPECT_FLOAT_EQ(constants.highlightColor[3], 0.4f);
}

} // namespace
