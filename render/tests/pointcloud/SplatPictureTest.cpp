// High-quality splats on a real device: discs 8 pixels wide (radius 4 pixels, one unit), seen from
// above. Where discs at about the same depth overlap, a pixel takes their colours weighted by
// exp(-2 r^2) at its distance r from each centre (in radii); a disc more than a radius behind the
// nearest one stays hidden. Picks and read-back see the opaque discs either way.
#include <lumaro/testsupport/render/PictureFixture.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

using namespace RenderTest;
using Render::SplatQuality;

const Math::Color red(255, 0, 0);
const Math::Color blue(0, 0, 255);
const Math::Color green(0, 255, 0);

class SplatPicture : public PointCloudPicture, public ::testing::WithParamInterface<bool> {
protected:
    SplatPicture() : PointCloudPicture(GetParam()) {}

    // The colour of two discs of `a` and `b` at distances ra and rb (in radii) from their centres.
    static std::array<double, 3> blend(const Math::Color& a, double ra, const Math::Color& b, double rb)
    {
        const double wa = std::exp(-2.0 * ra * ra);
        const double wb = std::exp(-2.0 * rb * rb);
        return {(a.r() * wa + b.r() * wb) / (wa + wb), (a.g() * wa + b.g() * wb) / (wa + wb),
                (a.b() * wa + b.b() * wb) / (wa + wb)};
    }

    void expectColor(int i, int j, const std::array<double, 3>& expected)
    {
        const Math::Color pixel = image.at(i, j);
        EXPECT_NEAR(pixel.r(), expected[0], 1.0) << i << ", " << j << ": " << pixel;
        EXPECT_NEAR(pixel.g(), expected[1], 1.0) << i << ", " << j << ": " << pixel;
        EXPECT_NEAR(pixel.b(), expected[2], 1.0) << i << ", " << j << ": " << pixel;
    }
};

TEST_P(SplatPicture, DiscsAtOneDepthBlendByWeightAndADiscFartherBehindStaysHidden)
{
    // Red and blue four pixels apart at one depth with green midway 1.5 units (a radius and a
    // half) behind; below them red and blue again, blue half a radius behind.
    show({{"r",
           {atPixel(20, 20, 5.0, red), atPixel(24, 20, 5.0, blue), atPixel(22, 20, 3.5, green),
            atPixel(20, 30, 5.0, red), atPixel(24, 30, 4.5, blue)}}},
         8.0f)
        .setPointSize(2.0f);
    std::vector<Math::Point<float, 3>> picks;
    std::vector<Render::VertexPosColor> readBack;
    const auto pickAndReadBack = [&] {
        std::vector<Math::Point<float, 3>> points;
        for (int i = 16; i <= 28; ++i) {
            Math::Point<float, 3> point(0.0f, 0.0f, 0.0f);
            renderer.pickPoint(i, 20, point);
            points.push_back(point);
        }
        renderer.getPoints(readBack);
        return points;
    };
    picture();
    const std::vector<Math::Point<float, 3>> opaquePicks = pickAndReadBack();
    const std::vector<Render::VertexPosColor> opaqueReadBack = readBack;
    const Math::Color covered = image.at(21, 20);
    EXPECT_TRUE(covered == Math::Color(255, 0, 0, 255) || covered == Math::Color(0, 0, 255, 255))
        << "opaque discs cover each other: " << covered;

    renderer.setSplatQuality(SplatQuality::High);
    picture();
    for (const int j : {20, 30}) {
        expectColor(22, j, blend(red, 0.5, blue, 0.5));
        expectColor(21, j, blend(red, 0.25, blue, 0.75));
        expectColor(23, j, blend(red, 0.75, blue, 0.25));
        expectColor(19, j, {255.0, 0.0, 0.0}); // beyond blue's rim
    }
    EXPECT_EQ(image.at(10, 20), Math::Color(0, 0, 0, 255)) << "the background stays";

    EXPECT_EQ(pickAndReadBack(), opaquePicks);
    ASSERT_EQ(readBack.size(), opaqueReadBack.size());
    for (std::size_t k = 0; k < readBack.size(); ++k)
        EXPECT_EQ(readBack[k].position, opaqueReadBack[k].position) << k;
}

INSTANTIATE_TEST_SUITE_P(DepthConventions, SplatPicture, ::testing::Values(false, true));

} // namespace
