#include "ViewerInput.h"

#include <algorithm>
#include <cstdlib>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Tool {

namespace {

using Kind = ViewerAction::Kind;

constexpr std::array<std::pair<char, Render::Coloring>, 7> coloringKeys{{
    {'1', Render::Coloring::Rgb},
    {'2', Render::Coloring::Intensity},
    {'3', Render::Coloring::Elevation},
    {'4', Render::Coloring::Normal},
    {'5', Render::Coloring::Uniform},
    {'6', Render::Coloring::Tomographic},
    {'7', Render::Coloring::Classification},
}};

// A key that hides or shows a group of LAS classes.
struct ClassKey {
    char key;
    std::array<std::uint8_t, 3> classes;
    std::size_t count;
};

constexpr std::array<ClassKey, 6> classKeys{{
    {'U', {0, 1}, 2},
    {'G', {2}, 1},
    {'V', {3, 4, 5}, 3},
    {'B', {6}, 1},
    {'W', {9}, 1},
    {'N', {7, 18}, 2},
}};

constexpr std::size_t smallestBudget = 1000;
// A press and release this close together (in pixels, along each axis) is a click, not a drag.
constexpr int clickSlack = 3;
// A wheel notch moves a fifth of the way to the point under the cursor.
constexpr float zoomPerNotch = 0.2f;

ViewerAction action(Kind kind)
{
    ViewerAction result;
    result.kind = kind;
    return result;
}

// The colour map after `map`, from the last back to the first.
Render::ColorMap nextColorMap(Render::ColorMap map)
{
    const auto maps = Render::colorMapNames();
    const auto current = std::find_if(maps.begin(), maps.end(), [&](const auto& named) { return named.value == map; });
    return current == maps.end() || current + 1 == maps.end() ? maps.front().value : (current + 1)->value;
}

} // namespace

ViewerInput::ViewerInput(Render::Coloring coloring, Render::ColorMap colorMap, std::size_t budget, PointLook look)
    : mColoring(coloring), mColorMap(colorMap), mBudget(budget), mLook(look)
{}

ViewerAction ViewerInput::press(int x, int y, Button button, Modifiers modifiers, const PointUnder& pointUnder)
{
    mLastX = x;
    mLastY = y;
    mPressX = x;
    mPressY = y;
    mLeftDown = button == Button::Left && !modifiers.control && !modifiers.shift;
    if (button == Button::Left && (modifiers.control || modifiers.shift)) {
        ViewerAction pick = action(modifiers.shift ? Kind::PickWithPlane : Kind::Pick);
        pick.x = x;
        pick.y = y;
        return pick;
    }
    mDrag = button == Button::Left ? Drag::Orbit : Drag::Pan;
    if (mDrag == Drag::Orbit)
        if (const std::optional<Math::Point<float, 3>> point = pointUnder(x, y))
            mNavigator.setPivot(*point);
    return {};
}

ViewerAction ViewerInput::move(int x, int y, float windowHeight)
{
    const auto dx = static_cast<float>(x - mLastX);
    const auto dy = static_cast<float>(y - mLastY);
    mLastX = x;
    mLastY = y;
    if (mDrag == Drag::Orbit)
        mNavigator.orbit(dx, dy, windowHeight);
    else if (mDrag == Drag::Pan)
        mNavigator.pan(dx, dy, windowHeight);
    else
        return {};
    return action(Kind::MoveCamera);
}

ViewerAction ViewerInput::release(int x, int y)
{
    mDrag = Drag::None;
    const bool click = mLeftDown && std::abs(x - mPressX) <= clickSlack && std::abs(y - mPressY) <= clickSlack;
    mLeftDown = false;
    if (!click || mTool.mode() == MeasuringTool::Mode::Off)
        return {};
    ViewerAction measure = action(Kind::MeasurePoint);
    measure.x = x;
    measure.y = y;
    return measure;
}

ViewerAction ViewerInput::wheel(int x, int y, float notches, const PointUnder& pointUnder)
{
    mNavigator.zoomToward(pointUnder(x, y).value_or(mNavigator.pivot()), zoomPerNotch * notches);
    return action(Kind::MoveCamera);
}

ViewerAction ViewerInput::key(char key, Modifiers modifiers, const Math::NBoundingBox<float, 3>& scene)
{
    if (key == 'F') {
        mNavigator.frame(scene);
        return action(Kind::MoveCamera);
    }
    if (key == 'C') {
        mColorMap = nextColorMap(mColorMap);
        ViewerAction change = action(Kind::ChangeColorMap);
        change.colorMap = mColorMap;
        return change;
    }
    if (key == 'M' || key == 'P') {
        mTool.toggle(key == 'M' ? MeasuringTool::Mode::Line : MeasuringTool::Mode::Polygon);
        return action(Kind::MeasureChanged);
    }
    if (mTool.mode() != MeasuringTool::Mode::Off) {
        if (key == '\x1b') {
            mTool.cancel();
            return action(Kind::MeasureChanged);
        }
        if (key == '\b')
            return mTool.undo() ? action(Kind::MeasureChanged) : ViewerAction{};
        if (key == '\r' && mTool.mode() == MeasuringTool::Mode::Polygon)
            return action(Kind::MeasureClose);
    }
    if (key == '+' || key == '-') {
        const bool more = key == '+';
        if (modifiers.shift) {
            mBudget = more ? mBudget * 2 : std::max(mBudget / 2, smallestBudget);
            ViewerAction change = action(Kind::ChangeBudget);
            change.budget = mBudget;
            return change;
        }
        ViewerAction change = action(Kind::ChangePointSize);
        change.pointSizeStep = more ? 1.0f : -1.0f;
        return change;
    }
    if (key == 'E' || key == 'S' || key == 'A') {
        if (key == 'E')
            mLook.eyeDomeLighting.enabled = !mLook.eyeDomeLighting.enabled;
        else if (key == 'S')
            mLook.splats = mLook.splats == Render::SplatQuality::High ? Render::SplatQuality::Standard
                                                                      : Render::SplatQuality::High;
        else
            mLook.classes.setAllShown(true);
        return lookChanged();
    }
    for (const ClassKey& group : classKeys) {
        if (group.key == key) {
            const auto first = group.classes.begin();
            const auto last = first + static_cast<std::ptrdiff_t>(group.count);
            const bool allShown = std::all_of(first, last, [&](std::uint8_t c) { return mLook.classes.isShown(c); });
            std::for_each(first, last, [&](std::uint8_t c) { mLook.classes.setShown(c, !allShown); });
            return lookChanged();
        }
    }
    for (const auto& [pressed, coloring] : coloringKeys) {
        if (pressed == key) {
            mColoring = coloring;
            ViewerAction change = action(Kind::Recolor);
            change.coloring = coloring;
            return change;
        }
    }
    return {};
}

ViewerAction ViewerInput::lookChanged() const
{
    ViewerAction change = action(Kind::ChangeLook);
    change.eyeDomeLighting = mLook.eyeDomeLighting;
    change.splats = mLook.splats;
    change.classes = mLook.classes;
    return change;
}

} // namespace Tool
