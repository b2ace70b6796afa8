// Eye-dome lighting on a real device: a near flat patch beside a far one, seen straight from above,
// orthographically and in perspective, with either depth convention. Each patch is one point per
// pixel, so every pixel's eye distance is known: 100 - z. The shading is worked out here from the
// rule (the neighbours at the radius that lie nearer, their mean step in log depth or in depth
// over half the view's height, exp(-100 strength response)).
#include <lumaro/testsupport/render/PictureFixture.h>

#include <lumaro/render/renderables/GroupRenderable.h>
#include <lumaro/render/renderables/MeshRenderable.h>

#include <cmath>
#include <numbers>
#include <string>
#include <utility>

namespace {

using namespace RenderTest;
using Render::RenderMode;

constexpr double eyeHeight = 100.0;
constexpr double nearZ = 8.0; // columns 10 to 29
constexpr double farZ = 4.0; // columns 30 to 49
constexpr int firstRow = 10;
constexpr int lastRow = 37;
constexpr double farPlane = 200.0;
const Math::Color grey(200, 200, 200);
const Math::Color background(100, 150, 250);
// The perspective shows at the height z = 0 what the orthographic view shows: 12 units over the
// 48 rows from 100 units away.
const double fovYDegrees = 2.0 * std::atan(6.0 / eyeHeight) * 180.0 / std::numbers::pi;

struct Case {
    bool perspective;
    bool reversedDepth;
    float strength;
    bool nearPatchIsMesh = false;
};

std::string nameOf(const ::testing::TestParamInfo<Case>& info)
{
    const Case& c = info.param;
    return std::string(c.perspective ? "perspective" : "orthographic") + (c.reversedDepth ? "_reversed" : "")
        + (c.nearPatchIsMesh ? "_with_a_mesh" : "");
}

class EyeDomeLightingPicture : public PointCloudPicture, public ::testing::WithParamInterface<Case> {
protected:
    EyeDomeLightingPicture() : PointCloudPicture(GetParam().reversedDepth) {}

    // Pixel (i, j) at height z: in perspective, the orthographic view's point scaled about the view
    // axis by its distance, so that it projects onto the same pixel centre.
    static StorePoint pointAt(int i, int j, double z, bool perspective)
    {
        StorePoint point = atPixel(i, j, z, grey, 30000);
        if (perspective) {
            const double scale = (eyeHeight - z) / eyeHeight;
            point.x = 8.125 + (point.x - 8.125) * scale;
            point.y = 6.125 + (point.y - 6.125) * scale;
        }
        return point;
    }

    void showSteps()
    {
        const Case& c = GetParam();
        std::vector<StorePoint> points;
        for (int j = firstRow; j <= lastRow; ++j) {
            for (int i = 10; i < 50; ++i) {
                const bool inNearPatch = i < 30;
                if (!inNearPatch || !c.nearPatchIsMesh)
                    points.push_back(pointAt(i, j, inNearPatch ? nearZ : farZ, c.perspective));
            }
        }
        show({{"r", points}});
        if (c.nearPatchIsMesh) {
            // The same near patch as two triangles whose edges lie between pixel centres.
            const auto mesh = Render::MeshRenderable::create(
                folder.write("near.obj",
                             "v 2.625 2.625 8 0.784 0.784 0.784\nv 7.625 2.625 8 0.784 0.784 0.784\n"
                             "v 7.625 9.625 8 0.784 0.784 0.784\nv 2.625 9.625 8 0.784 0.784 0.784\n"
                             "f 1 2 3\nf 1 3 4\n"),
                1.0, "near");
            const auto group = Render::GroupRenderable::create("scene");
            group->add(cloud);
            group->add(mesh);
            renderer.setScene(group);
        }
        if (c.perspective)
            renderer.setPerspective(static_cast<float>(fovYDegrees), 1.0f, static_cast<float>(farPlane), 0.0f, 0.0f);
        cloud->reloadPoints(nullptr, 21);
        renderer.setBackgroundColor(background);
        unlit = picture();
    }

    // What the rule compares, for an eye distance.
    static double depthMeasure(double distance, bool perspective)
    {
        return perspective ? std::log(distance) : distance * 2.0 / 12.0;
    }

    // The shade of a pixel at eye distance `at` with `nearer` of its eight neighbours at `neighbour`.
    static double shade(double at, int nearer, double neighbour)
    {
        const bool perspective = GetParam().perspective;
        const double step = depthMeasure(at, perspective) - depthMeasure(neighbour, perspective);
        return std::exp(-static_cast<double>(GetParam().strength) * 100.0 * nearer * step / 8.0);
    }

    void light(float radius)
    {
        renderer.setEyeDomeLighting({true, GetParam().strength, radius});
        picture();
    }

    // The pixel is its colour without the lighting, times `factor`.
    void expectShaded(int i, int j, double factor)
    {
        const Math::Color pixel = image.at(i, j);
        const Math::Color color = unlit.at(i, j);
        EXPECT_NEAR(pixel.r(), color.r() * factor, 1.5) << i << ", " << j << ": " << pixel;
        EXPECT_NEAR(pixel.g(), color.g() * factor, 1.5) << i << ", " << j << ": " << pixel;
        EXPECT_NEAR(pixel.b(), color.b() * factor, 1.5) << i << ", " << j << ": " << pixel;
    }

    Graphics::ColorImage unlit;
};

TEST_P(EyeDomeLightingPicture, ShadesTheFarSideOfADepthStepAndNothingFlat)
{
    showSteps();
    const double nearDistance = eyeHeight - nearZ;
    const double farDistance = eyeHeight - farZ;
    ASSERT_EQ(unlit.at(40, 20), Math::Color(grey.r(), grey.g(), grey.b(), 255));
    ASSERT_EQ(unlit.at(2, 2), background);
    light(1.0f);
    // Flat surfaces facing the eye keep their colour, and so does the near side of the step.
    for (int i = 10; i < 50; ++i)
        if (i != 30)
            expectShaded(i, 20, 1.0);
    // The far side's first column has three nearer neighbours: left, up left and down left.
    expectShaded(30, 20, shade(farDistance, 3, nearDistance));
    // In the far patch's corner, left and down left; the background above lies at the far plane.
    expectShaded(30, firstRow, shade(farDistance, 2, nearDistance));
    // Nothing was drawn here: the background, apart from the outline left of the near patch,
    // which stays opaque like the background.
    expectShaded(2, 2, 1.0);
    expectShaded(5, 20, 1.0);
    expectShaded(9, 20, shade(farPlane, 3, nearDistance));
    EXPECT_EQ(image.at(9, 20).a(), 255);

    // At radius 2 the neighbours are two pixels along the axes and one along the diagonals.
    light(2.0f);
    expectShaded(30, 20, shade(farDistance, 3, nearDistance));
    expectShaded(31, 20, shade(farDistance, 1, nearDistance));
    expectShaded(32, 20, 1.0);
    expectShaded(29, 20, 1.0);
}

INSTANTIATE_TEST_SUITE_P(Views, EyeDomeLightingPicture,
                         ::testing::Values(Case{false, false, 0.05f}, Case{false, true, 0.05f}, Case{true, false, 0.5f},
                                           Case{true, true, 0.5f}, Case{false, false, 0.05f, true}),
                         nameOf);

// Every mode shades by the same depth: the far side's first column keeps exp(...) of what the mode
// gives it without lighting. The blended tomographic modes write no depth of their own; the
// renderer draws their depth for the lighting.
class EyeDomeLightingModes : public EyeDomeLightingPicture {};

TEST_P(EyeDomeLightingModes, ShadeWhatEachModeDraws)
{
    showSteps();
    cloud->setTomographicContrast(0.5f);
    renderer.setTomographicColor(Math::Color(150, 150, 150));
    for (const RenderMode mode :
         {RenderMode::Default, RenderMode::Intensity, RenderMode::UniformColor, RenderMode::Classification,
          RenderMode::TomographicBright, RenderMode::TomographicDark}) {
        renderer.setRenderMode(mode);
        renderer.setEyeDomeLighting({false, GetParam().strength, 1.0f});
        unlit = picture();
        const Math::Color farSide = unlit.at(30, 20);
        ASSERT_GT(static_cast<int>(farSide.r()) + farSide.g() + farSide.b(), 60) << static_cast<int>(mode);
        light(1.0f);
        SCOPED_TRACE(static_cast<int>(mode));
        expectShaded(30, 20, shade(eyeHeight - farZ, 3, eyeHeight - nearZ));
        expectShaded(40, 20, 1.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Views, EyeDomeLightingModes,
                         ::testing::Values(Case{false, false, 0.05f}, Case{true, true, 0.5f}), nameOf);

TEST(EyeDomeLightingSettings, RefusesStrengthsAndRadiiOutOfRange)
{
    Render::Renderer renderer(false);
    for (const Render::EyeDomeLighting bad :
         {Render::EyeDomeLighting{true, -0.5f, 1.0f}, Render::EyeDomeLighting{true, std::nanf(""), 1.0f},
          Render::EyeDomeLighting{true, 1.0f, 0.5f}, Render::EyeDomeLighting{true, 1.0f, 17.0f}}) {
        EXPECT_THROW(renderer.setEyeDomeLighting(bad), std::invalid_argument);
        EXPECT_FALSE(renderer.eyeDomeLighting().enabled) << "a refused setting changes nothing";
    }
}

} // namespace
