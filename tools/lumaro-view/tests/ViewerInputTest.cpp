// The viewer's input as a person uses it: clicks, drags, the wheel and keys, and what each asks
// of the window and the camera.
#include "ViewerInput.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Tool::ViewerAction;
using Tool::ViewerInput;
using Kind = ViewerAction::Kind;
using Point = Math::Point<float, 3>;
using Box = Math::NBoundingBox<float, 3>;

const Box unitCube(Point(-1.0f, -1.0f, -1.0f), Point(1.0f, 1.0f, 1.0f));

ViewerInput::PointUnder always(const Point& point)
{
    return [point](int, int) { return std::optional<Point>(point); };
}

const ViewerInput::PointUnder nothing = [](int, int) { return std::optional<Point>(); };

ViewerInput framed()
{
    ViewerInput input(Render::Coloring::Rgb, Render::ColorMap::Turbo, 5000);
    input.key('F', {}, unitCube);
    return input;
}

TEST(ViewerInput, ClicksWithModifiersPickAndPlainClicksDragTheCamera)
{
    ViewerInput input = framed();
    const Point eye = input.navigator().eye();
    const ViewerAction pick = input.press(30, 40, ViewerInput::Button::Left, {true, false}, always(Point(9, 9, 9)));
    EXPECT_EQ(pick.kind, Kind::Pick);
    EXPECT_EQ(pick.x, 30);
    EXPECT_EQ(pick.y, 40);
    EXPECT_EQ(input.press(1, 2, ViewerInput::Button::Left, {false, true}, nothing).kind, Kind::PickWithPlane);
    EXPECT_EQ(input.move(50, 40, 600.0f).kind, Kind::Nothing) << "a pick is no drag";
    EXPECT_EQ(input.navigator().eye(), eye);

    // A left drag orbits around the point under the cursor: the eye keeps its distance to it.
    const Point picked(0.5f, 0.0f, 0.0f);
    EXPECT_EQ(input.press(100, 100, ViewerInput::Button::Left, {}, always(picked)).kind, Kind::Nothing);
    EXPECT_EQ(input.navigator().pivot(), picked);
    const float distance = (input.navigator().eye() - picked).norm();
    EXPECT_EQ(input.move(160, 120, 600.0f).kind, Kind::MoveCamera);
    EXPECT_NEAR((input.navigator().eye() - picked).norm(), distance, 1e-4f);
    EXPECT_FALSE(input.navigator().eye().isApprox(eye));
    EXPECT_EQ(input.release(160, 120).kind, Kind::Nothing) << "a drag is no click";
    EXPECT_EQ(input.move(200, 200, 600.0f).kind, Kind::Nothing);

    // A right drag pans: eye and pivot move by the same vector; the point under the cursor does
    // not become the pivot.
    const Point eyeBefore = input.navigator().eye();
    const Point pivotBefore = input.navigator().pivot();
    input.press(10, 10, ViewerInput::Button::Right, {}, always(Point(7, 7, 7)));
    EXPECT_EQ(input.navigator().pivot(), pivotBefore);
    EXPECT_EQ(input.move(40, 10, 600.0f).kind, Kind::MoveCamera);
    const Eigen::Vector3f eyeMoved = input.navigator().eye() - eyeBefore;
    EXPECT_GT(eyeMoved.norm(), 0.0f);
    EXPECT_TRUE(eyeMoved.isApprox(Eigen::Vector3f(input.navigator().pivot() - pivotBefore), 1e-4f));
}

TEST(ViewerInput, TheWheelZoomsAFifthOfTheWayTowardThePointUnderTheCursorOrThePivot)
{
    ViewerInput input = framed();
    const Point target(0.25f, -0.5f, 0.0f);
    const float before = (input.navigator().eye() - target).norm();
    EXPECT_EQ(input.wheel(5, 5, 1.0f, always(target)).kind, Kind::MoveCamera);
    EXPECT_NEAR((input.navigator().eye() - target).norm(), 0.8f * before, 1e-4f);

    const Point pivot = input.navigator().pivot();
    const float fromPivot = (input.navigator().eye() - pivot).norm();
    input.wheel(5, 5, 2.0f, nothing);
    EXPECT_NEAR((input.navigator().eye() - pivot).norm(), 0.6f * fromPivot, 1e-4f);
}

TEST(ViewerInput, KeysChooseColouringColourMapBudgetPointSizeAndFraming)
{
    ViewerInput input(Render::Coloring::Rgb, Render::ColorMap::LevelOfAccuracyImperial, 5000);
    const std::pair<char, Render::Coloring> colorings[] = {
        {'1', Render::Coloring::Rgb},           {'2', Render::Coloring::Intensity},
        {'3', Render::Coloring::Elevation},     {'4', Render::Coloring::Normal},
        {'5', Render::Coloring::Uniform},       {'6', Render::Coloring::Tomographic},
        {'7', Render::Coloring::Classification}};
    for (const auto& [key, coloring] : colorings) {
        const ViewerAction recolor = input.key(key, {}, unitCube);
        EXPECT_EQ(recolor.kind, Kind::Recolor) << key;
        EXPECT_EQ(recolor.coloring, coloring) << key;
        EXPECT_EQ(input.coloring(), coloring) << key;
    }
    // The last colour map is followed by the first.
    EXPECT_EQ(input.key('C', {}, unitCube).colorMap, Render::ColorMap::Turbo);
    EXPECT_EQ(input.key('C', {}, unitCube).colorMap, Render::ColorMap::Inferno);

    const ViewerAction doubled = input.key('+', {false, true}, unitCube);
    EXPECT_EQ(doubled.kind, Kind::ChangeBudget);
    EXPECT_EQ(doubled.budget, 10000u);
    EXPECT_EQ(input.key('-', {false, true}, unitCube).budget, 5000u);
    EXPECT_EQ(input.key('-', {false, true}, unitCube).budget, 2500u);
    EXPECT_EQ(input.key('-', {false, true}, unitCube).budget, 1250u);
    EXPECT_EQ(input.key('-', {false, true}, unitCube).budget, 1000u) << "never below 1000 points";
    EXPECT_EQ(input.key('-', {false, true}, unitCube).budget, 1000u);

    const ViewerAction larger = input.key('+', {}, unitCube);
    EXPECT_EQ(larger.kind, Kind::ChangePointSize);
    EXPECT_EQ(larger.pointSizeStep, 1.0f);
    EXPECT_EQ(input.key('-', {}, unitCube).pointSizeStep, -1.0f);

    const Box elsewhere(Point(10.0f, 20.0f, 0.0f), Point(14.0f, 24.0f, 2.0f));
    EXPECT_EQ(input.key('F', {}, elsewhere).kind, Kind::MoveCamera);
    EXPECT_TRUE(input.navigator().pivot().isApprox(Point(12.0f, 22.0f, 1.0f)));
    EXPECT_EQ(input.key('Q', {}, unitCube).kind, Kind::Nothing);
}

// E and S switch eye-dome lighting and splats, keeping the strength and radius given at the
// start; class keys hide their group, or show it where any of it is hidden, and A shows all.
TEST(ViewerInput, KeysSwitchLightingSplatsAndGroupsOfClasses)
{
    Tool::PointLook start;
    start.eyeDomeLighting = {false, 2.0f, 3.0f};
    start.classes.setShown(4, false); // medium vegetation, hidden from the command line
    start.classes.setColor(9, Math::Color(1, 2, 3));
    ViewerInput input(Render::Coloring::Rgb, Render::ColorMap::Turbo, 5000, start);

    ViewerAction lit = input.key('E', {}, unitCube);
    EXPECT_EQ(lit.kind, Kind::ChangeLook);
    EXPECT_EQ(lit.eyeDomeLighting, (Render::EyeDomeLighting{true, 2.0f, 3.0f}));
    EXPECT_FALSE(input.key('E', {}, unitCube).eyeDomeLighting.enabled);
    EXPECT_EQ(input.key('S', {}, unitCube).splats, Render::SplatQuality::High);
    EXPECT_EQ(input.key('S', {}, unitCube).splats, Render::SplatQuality::Standard);

    const auto shownOf = [](const ViewerAction& action, const std::vector<int>& classes) {
        std::string shown;
        for (const int c : classes)
            shown += action.classes.isShown(static_cast<std::uint8_t>(c)) ? '1' : '0';
        return shown;
    };
    // Vegetation is partly hidden: V shows all of it, then hides all of it.
    EXPECT_EQ(shownOf(input.key('V', {}, unitCube), {2, 3, 4, 5, 6}), "11111");
    EXPECT_EQ(shownOf(input.key('V', {}, unitCube), {2, 3, 4, 5, 6}), "10001");
    const std::pair<char, std::vector<int>> groups[] = {
        {'U', {0, 1}}, {'G', {2}}, {'B', {6}}, {'W', {9}}, {'N', {7, 18}}};
    for (const auto& [key, classes] : groups) {
        const ViewerAction hidden = input.key(key, {}, unitCube);
        EXPECT_EQ(hidden.kind, Kind::ChangeLook) << key;
        EXPECT_EQ(shownOf(hidden, classes), std::string(classes.size(), '0')) << key;
    }
    const ViewerAction all = input.key('A', {}, unitCube);
    for (int c = 0; c < 256; ++c)
        EXPECT_TRUE(all.classes.isShown(static_cast<std::uint8_t>(c))) << c;
    EXPECT_EQ(all.classes.color(9), Math::Color(1, 2, 3)) << "colours stay as given";
}

// M and P start measuring; while measuring a click (not a drag, not a pick) asks for the point
// under it; Enter closes a polygon, Backspace and Escape drop points.
TEST(ViewerInput, MeasuringTakesClicksAndKeys)
{
    ViewerInput input = framed();
    using Mode = Tool::MeasuringTool::Mode;
    const auto click = [&](int x, int y) {
        input.press(x, y, ViewerInput::Button::Left, {}, nothing);
        return input.release(x + 2, y - 3);
    };
    EXPECT_EQ(click(10, 10).kind, Kind::Nothing) << "no measuring yet";
    EXPECT_EQ(input.key('M', {}, unitCube).kind, Kind::MeasureChanged);
    EXPECT_EQ(input.measuringTool().mode(), Mode::Line);
    const ViewerAction measure = click(30, 40);
    EXPECT_EQ(measure.kind, Kind::MeasurePoint);
    EXPECT_EQ(measure.x, 32);
    EXPECT_EQ(measure.y, 37);
    // A drag orbits and takes no point; a control-click picks.
    input.press(30, 40, ViewerInput::Button::Left, {}, nothing);
    EXPECT_EQ(input.move(80, 40, 600.0f).kind, Kind::MoveCamera);
    EXPECT_EQ(input.release(80, 40).kind, Kind::Nothing);
    EXPECT_EQ(input.press(5, 5, ViewerInput::Button::Left, {true, false}, nothing).kind, Kind::Pick);
    EXPECT_EQ(input.release(5, 5).kind, Kind::Nothing);
    input.press(5, 5, ViewerInput::Button::Right, {}, nothing);
    EXPECT_EQ(input.release(5, 5).kind, Kind::Nothing) << "only the left button measures";
    EXPECT_EQ(input.key('\r', {}, unitCube).kind, Kind::Nothing) << "a line does not close";

    EXPECT_EQ(input.key('P', {}, unitCube).kind, Kind::MeasureChanged);
    EXPECT_EQ(input.measuringTool().mode(), Mode::Polygon);
    EXPECT_EQ(input.key('\b', {}, unitCube).kind, Kind::Nothing) << "no point to drop";
    input.measuringTool().add({1, 2, 3});
    input.measuringTool().add({4, 5, 6});
    EXPECT_EQ(input.key('\b', {}, unitCube).kind, Kind::MeasureChanged);
    EXPECT_EQ(input.measuringTool().points().size(), 1u);
    EXPECT_EQ(input.key('\x1b', {}, unitCube).kind, Kind::MeasureChanged);
    EXPECT_TRUE(input.measuringTool().points().empty());
    EXPECT_EQ(input.key('\r', {}, unitCube).kind, Kind::MeasureClose);
    EXPECT_EQ(input.key('P', {}, unitCube).kind, Kind::MeasureChanged);
    EXPECT_EQ(input.measuringTool().mode(), Mode::Off);
    EXPECT_EQ(click(10, 10).kind, Kind::Nothing);
}

} // namespace
