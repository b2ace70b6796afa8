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
    : m_coloring(coloring), m_colorMap(colorMap), m_budget(budget), m_look(std::move(look))
{
}

ViewerAction ViewerInput::press(int x, int y, Button button, Modifiers modifiers, const PointUnder& pointUnder)
{
    m_lastX = x;
    m_lastY = y;
    m_pressX = x;
    m_pressY = y;
    m_leftDown = button == Button::Left && !modifiers.control && !modifiers.shift;
    if (button == Button::Left && (modifiers.control || modifiers.shift)) {
        ViewerAction pick = action(modifiers.shift ? Kind::PickWithPlane : Kind::Pick);
        pick.x = x;
        pick.y = y;
        return pick;
    }
    m_drag = button == Button::Left ? Drag::Orbit : Drag::Pan;
    if (m_drag == Drag::Orbit)
        if (const std::optional<Math::Point<float, 3>> point = pointUnder(x, y))
            m_navigator.setPivot(*point);
    return {};
}

ViewerAction ViewerInput::move(int x, int y, float windowHeight)
{
    const auto dx = static_cast<float>(x - m_lastX);
    const auto dy = static_cast<float>(y - m_lastY);
    m_lastX = x;
    m_lastY = y;
    if (m_drag == Drag::Orbit)
        m_navigator.orbit(dx, dy, windowHeight);
    else if (m_drag == Drag::Pan)
        m_navigator.pan(dx, dy, windowHeight);
    else
        return {};
    return action(Kind::MoveCamera);
}

ViewerAction ViewerInput::release(int x, int y)
{
    m_drag = Drag::None;
    const bool click = m_leftDown && std::abs(x - m_pressX) <= clickSlack && std::abs(y - m_pressY) <= clickSlack;
    m_leftDown = false;
    if (!click || m_tool.mode() == MeasuringTool::Mode::Off)
        return {};
    ViewerAction measure = action(Kind::MeasurePoint);
    measure.x = x;
    measure.y = y;
    return measure;
}

ViewerAction ViewerInput::wheel(int x, int y, float notches, const PointUnder& pointUnder)
{
    m_navigator.zoomToward(pointUnder(x, y).value_or(m_navigator.pivot()), zoomPerNotch * notches);
    return action(Kind::MoveCamera);
}

ViewerAction ViewerInput::key(char key, Modifiers modifiers, const Math::NBoundingBox<float, 3>& scene)
{
    if (key == 'F') {
        m_navigator.frame(scene);
        return action(Kind::MoveCamera);
    }
    if (key == 'C') {
        m_colorMap = nextColorMap(m_colorMap);
        ViewerAction change = action(Kind::ChangeColorMap);
        change.colorMap = m_colorMap;
        return change;
    }
    if (key == 'M' || key == 'P') {
        m_tool.toggle(key == 'M' ? MeasuringTool::Mode::Line : MeasuringTool::Mode::Polygon);
        return action(Kind::MeasureChanged);
    }
    if (m_tool.mode() != MeasuringTool::Mode::Off) {
        if (key == '\x1b') {
            m_tool.cancel();
            return action(Kind::MeasureChanged);
        }
        if (key == '\b')
            return m_tool.undo() ? action(Kind::MeasureChanged) : ViewerAction{};
        if (key == '\r' && m_tool.mode() == MeasuringTool::Mode::Polygon)
            return action(Kind::MeasureClose);
    }
    if (key == '+' || key == '-') {
        const bool more = key == '+';
        if (modifiers.shift) {
            m_budget = more ? m_budget * 2 : std::max(m_budget / 2, smallestBudget);
            ViewerAction change = action(Kind::ChangeBudget);
            change.budget = m_budget;
            return change;
        }
        ViewerAction change = action(Kind::ChangePointSize);
        change.pointSizeStep = more ? 1.0f : -1.0f;
        return change;
    }
    if (key == 'E' || key == 'S' || key == 'A') {
        if (key == 'E')
            m_look.eyeDomeLighting.enabled = !m_look.eyeDomeLighting.enabled;
        else if (key == 'S')
            m_look.splats = m_look.splats == Render::SplatQuality::High ? Render::SplatQuality::Standard
                                                                         : Render::SplatQuality::High;
        else
            m_look.classes.setAllShown(true);
        return lookChanged();
    }
    for (const ClassKey& group : classKeys) {
        if (group.key == key) {
            const auto first = group.classes.begin();
            const auto last = first + static_cast<std::ptrdiff_t>(group.count);
            const bool allShown = std::all_of(first, last, [&](std::uint8_t c) { return m_look.classes.isShown(c); });
            std::for_each(first, last, [&](std::uint8_t c) { m_look.classes.setShown(c, !allShown); });
            return lookChanged();
        }
    }
    for (const auto& [pressed, coloring] : coloringKeys) {
        if (pressed == key) {
            m_coloring = coloring;
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
    change.eyeDomeLighting = m_look.eyeDomeLighting;
    change.splats = m_look.splats;
    change.classes = m_look.classes;
    return change;
}

} // namespace Tool
