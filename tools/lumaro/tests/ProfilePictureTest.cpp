// The picture of a profile: points at the pixels the chart's scales give, worked by hand for a
// 1000 x 600 picture (plot columns 72 to 983, rows 20 to 559), the grid at metric steps, labels
// in the built-in font, and the colourings.
#include "BitmapFont.h"
#include "ProfilePicture.h"

#include <lumaro/math/Spectrum.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using Tool::ProfileChart;

Measure::ProfilePoint point(double along, double z, std::array<std::uint16_t, 3> color, double across = 0.0,
                            std::uint16_t intensity = 0)
{
    Measure::ProfilePoint p;
    p.position = {1000.0 + along, 2000.0, z};
    p.along = along;
    p.across = across;
    p.color = color;
    p.intensity = intensity;
    return p;
}

// 100 long, heights 10 to 20 (drawn from 9.5 to 20.5).
Measure::Profile profileOf(std::vector<Measure::ProfilePoint> points)
{
    Measure::Profile profile;
    profile.length = 100.0;
    profile.points = std::move(points);
    return profile;
}

const Math::Color white(255, 255, 255, 255);

TEST(ProfilePictureTest, PointsLandWhereTheScalesPutThem)
{
    const Measure::Profile profile = profileOf({
        point(0.0, 10.0, {255, 0, 0}), // column 72, row 559 - 0.5 / 11 x 539 = 534.5
        point(99.0, 20.0, {0, 255, 0}), // column 72 + 0.99 x 911 = 973.89, row 559 - 10.5 / 11 x 539 = 44.5
        point(50.0, 15.0, {0, 0, 255}), // column 72 + 0.5 x 911 = 527.5, row 289.5
        // Two at one place: the one on the right of the line (across < 0) is nearer the viewer.
        point(25.0, 12.0, {10, 20, 30}, -1.0),
        point(25.0, 12.0, {200, 200, 0}, 1.0), // column 299.75, row 559 - 2.5 / 11 x 539 = 436.5
    });
    const ProfileChart chart(profile, 1000, 600);
    EXPECT_EQ(chart.left(), 72);
    EXPECT_EQ(chart.right(), 984);
    EXPECT_DOUBLE_EQ(chart.row(10.0), 534.5);
    EXPECT_DOUBLE_EQ(chart.column(50.0), 527.5);
    // 11 high over 539 rows against 100 long over 911 columns.
    EXPECT_NEAR(chart.exaggeration(), (539.0 / 11.0) / (911.0 / 100.0), 1e-12);

    Tool::ProfileStyle style;
    style.width = 1000;
    style.height = 600;
    const Graphics::ColorImage image = Tool::drawProfile(profile, style);
    // Each point is a square of two by two pixels from its pixel, cut by the plot's frame.
    EXPECT_EQ(image.at(72 + 1, 534), Math::Color(255, 0, 0, 255)); // column 72 is the frame
    EXPECT_EQ(image.at(73, 535), Math::Color(255, 0, 0, 255));
    EXPECT_EQ(image.at(973, 44), Math::Color(0, 255, 0, 255));
    EXPECT_EQ(image.at(974, 45), Math::Color(0, 255, 0, 255));
    EXPECT_EQ(image.at(527, 289), Math::Color(0, 0, 255, 255));
    EXPECT_EQ(image.at(528, 290), Math::Color(0, 0, 255, 255));
    EXPECT_EQ(image.at(529, 289), white);
    EXPECT_EQ(image.at(299, 436), Math::Color(10, 20, 30, 255));
}

TEST(ProfilePictureTest, GridLinesAtMetricStepsWithTheirLabels)
{
    const Measure::Profile profile = profileOf({point(0.0, 10.0, {255, 0, 0}), point(100.0, 20.0, {255, 0, 0})});
    const ProfileChart chart(profile, 1000, 600);
    // 100 over 911 / 90 parts: steps of 10; 11 over 539 / 40 parts: steps of 1.
    EXPECT_EQ(chart.alongStep(), 10.0);
    EXPECT_EQ(chart.heightStep(), 1.0);
    Tool::ProfileStyle style;
    style.width = 1000;
    style.height = 600;
    const Graphics::ColorImage image = Tool::drawProfile(profile, style);
    const Math::Color grid(204, 204, 204, 255); // a fifth of the way from white to black
    // The line of 30 along runs down column 72 + 0.3 x 911 = 345.3, the line of height 13 along
    // row 559 - 3.5 / 11 x 539 = 387.5, rounded to 388.
    EXPECT_EQ(image.at(345, 100), grid);
    EXPECT_EQ(image.at(346, 100), white);
    EXPECT_EQ(image.at(600, 388), grid);
    EXPECT_EQ(image.at(600, 387), white);
    // The label "30" under its line: its '3' starts with a full row of ink at the text's top,
    // four rows under the plot; it is 11 pixels wide, centred on the line.
    const int textLeft = 345 - Tool::BitmapFont::width("30") / 2;
    for (int x = textLeft; x < textLeft + 5; ++x)
        EXPECT_EQ(image.at(x, 564), Math::Color(0, 0, 0, 255)) << x;
    EXPECT_EQ(Tool::BitmapFont::width("30"), 11);
}

TEST(ProfilePictureTest, StepsAndLabels)
{
    EXPECT_EQ(Tool::metricStep(100.0, 10.1), 10.0);
    EXPECT_EQ(Tool::metricStep(11.0, 13.475), 1.0);
    EXPECT_NEAR(Tool::metricStep(0.37, 4.0), 0.1, 1e-15);
    EXPECT_EQ(Tool::metricStep(1234.0, 5.0), 500.0);
    EXPECT_EQ(Tool::metricStep(6.0, 3.0), 2.0);
    EXPECT_EQ(Tool::gridLabel(12.5, 0.5), "12.5");
    EXPECT_EQ(Tool::gridLabel(-3.0, 1.0), "-3");
    EXPECT_EQ(Tool::gridLabel(0.02, 0.01), "0.02");
    EXPECT_EQ(Tool::gridLabel(-1e-17, 0.1), "0.0");
    EXPECT_EQ(Tool::gridLabel(1500.0, 500.0), "1500");
}

TEST(ProfilePictureTest, ColoursAsTheRendererColoursThem)
{
    // 16-bit colours become 8-bit; intensities stretch to their 99th percentile; elevation runs
    // the colour map from the lowest point to the highest.
    std::vector<Measure::ProfilePoint> points;
    for (int k = 0; k < 100; ++k)
        points.push_back(point(k, 10.0 + 0.1 * k, {std::uint16_t(256 * 200), 256 * 100, 256 * 50}, 0.0,
                               static_cast<std::uint16_t>(10 * k)));
    const Measure::Profile profile = profileOf(points);
    const ProfileChart chart(profile, 1000, 600);
    Tool::ProfileStyle style;
    style.width = 1000;
    style.height = 600;
    const auto at = [&](const Graphics::ColorImage& image, const Measure::ProfilePoint& p) {
        return image.at(static_cast<std::size_t>(std::floor(chart.column(p.along))) + 1,
                        static_cast<std::size_t>(std::floor(chart.row(p.position[2]))));
    };
    EXPECT_EQ(at(Tool::drawProfile(profile, style), points[50]), Math::Color(200, 100, 50, 255));
    style.coloring = Render::Coloring::Intensity;
    const Graphics::ColorImage grey = Tool::drawProfile(profile, style);
    // The 99th percentile of 0, 10, ..., 990 is 990: point 50 is 500 / 990 grey.
    const auto level = static_cast<std::uint8_t>(std::lround(255.0 * 500.0 / 990.0));
    EXPECT_EQ(at(grey, points[50]), Math::Color(level, level, level, 255));
    style.coloring = Render::Coloring::Elevation;
    style.colorMap = Render::ColorMap::Viridis;
    const Graphics::ColorImage elevation = Tool::drawProfile(profile, style);
    const Math::Spectrum viridis(Math::Spectrum::Viridis);
    const double lowest = points.front().position[2];
    const double highest = points.back().position[2];
    for (const std::size_t k : {std::size_t(1), std::size_t(40), std::size_t(98)})
        EXPECT_EQ(at(elevation, points[k]),
                  viridis.color(static_cast<float>((points[k].position[2] - lowest) / (highest - lowest))))
            << k;
}

TEST(ProfilePictureTest, RefusesAPictureTooSmallForItsLabels)
{
    EXPECT_THROW(ProfileChart::requireRoom(239, 600), std::invalid_argument);
    EXPECT_THROW(ProfileChart::requireRoom(600, 119), std::invalid_argument);
    EXPECT_NO_THROW(ProfileChart::requireRoom(240, 120));
}

} // namespace
