// Points by their class on a real device: every class's colour reaches its pixel, and a hidden
// class's points are gone in every mode, so that what lies behind them shows, is picked and is
// read back.
#include <lumaro/testsupport/render/PictureFixture.h>

#include <algorithm>
#include <vector>

namespace {

using namespace RenderTest;
using Render::RenderMode;

// Class c at pixel (2 + 2 (c % 30), 2 + 2 (c / 30)).
std::pair<int, int> pixelOfClass(int c)
{
    return {2 + 2 * (c % 30), 2 + 2 * (c / 30)};
}

TEST_F(PointCloudPicture, EachClassInItsColour)
{
    std::vector<StorePoint> points;
    for (int c = 0; c < 256; ++c) {
        const auto [i, j] = pixelOfClass(c);
        StorePoint point = atPixel(i, j, 5.0, Math::Color(1, 2, 3));
        point.classification = static_cast<std::uint8_t>(c);
        points.push_back(point);
    }
    show({{"r", points}});
    const Math::Color chosen(12, 34, 56);
    renderer.setClassColor(200, chosen);
    renderer.setRenderMode(RenderMode::Classification);
    picture();
    for (int c = 0; c < 256; ++c) {
        const auto [i, j] = pixelOfClass(c);
        const Math::Color expected =
            c == 200 ? chosen : Render::PointClasses::defaultColor(static_cast<std::uint8_t>(c));
        EXPECT_EQ(image.at(i, j), Math::Color(expected.r(), expected.g(), expected.b(), 255)) << c;
    }
    EXPECT_EQ(image.at(1, 1), Math::Color(0, 0, 0, 255)) << "between the points: the background";
}

// Ground (class 2, below) and a building's point (class 6, above) on each of two pixels. The
// intensities stretch so that the ground's 20000 of the roof's 60000 becomes grey 85.
TEST_F(PointCloudPicture, AHiddenClassShowsWhatLiesBehindItInEveryModeAndIsNeitherPickedNorReadBack)
{
    std::vector<StorePoint> points;
    for (const int i : {20, 40}) {
        StorePoint ground = atPixel(i, 20, 3.0, Math::Color(0, 255, 0), 20000);
        ground.classification = 2;
        StorePoint roof = atPixel(i, 20, 9.0, Math::Color(255, 0, 0), 60000);
        roof.classification = 6;
        points.push_back(ground);
        points.push_back(roof);
    }
    show({{"r", points}});
    const auto pickedHeight = [&] {
        Math::Point<float, 3> point;
        EXPECT_TRUE(renderer.pickPoint(20, 20, point));
        return point.z();
    };
    const auto readBackHeights = [&] {
        std::vector<Render::VertexPosColor> drawn;
        renderer.getPoints(drawn);
        std::vector<float> heights;
        for (const Render::VertexPosColor& point : drawn)
            heights.push_back(point.position.z());
        std::sort(heights.begin(), heights.end());
        return heights;
    };
    EXPECT_EQ(picture().at(20, 20), Math::Color(255, 0, 0, 255));
    EXPECT_FLOAT_EQ(pickedHeight(), 9.0f);
    EXPECT_EQ(readBackHeights(), std::vector<float>({9.0f, 9.0f}));

    renderer.setClassVisible(6, false);
    for (const RenderMode mode : {RenderMode::Default, RenderMode::Classification, RenderMode::Intensity}) {
        renderer.setRenderMode(mode);
        picture();
        const Math::Color groundColor = mode == RenderMode::Default ? Math::Color(0, 255, 0, 255)
            : mode == RenderMode::Classification                    ? renderer.pointClasses().color(2)
                                                                    : Math::Color(85, 85, 85, 255);
        EXPECT_EQ(image.at(20, 20), groundColor) << static_cast<int>(mode);
        EXPECT_EQ(image.at(40, 20), groundColor) << static_cast<int>(mode);
    }
    EXPECT_FLOAT_EQ(pickedHeight(), 3.0f);
    EXPECT_EQ(readBackHeights(), std::vector<float>({3.0f, 3.0f}));

    renderer.setClassVisible(2, false);
    picture();
    EXPECT_EQ(image.at(20, 20), Math::Color(0, 0, 0, 255)) << "every class hidden: nothing drawn";
    Math::Point<float, 3> none;
    EXPECT_FALSE(renderer.pickPoint(20, 20, none));
    EXPECT_TRUE(readBackHeights().empty());
}

} // namespace
