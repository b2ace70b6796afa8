#pragma once

#include "MeasuringTool.h"
#include "OrbitNavigator.h"

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/EyeDomeLighting.h>
#include <lumaro/render/core/PointClasses.h>
#include <lumaro/render/core/SplatQuality.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <cstddef>
#include <functional>
#include <optional>

namespace Tool {

// What an input asks the viewer to do. The camera moves in the navigator itself; the other
// actions are the window's to carry out on the scene.
struct ViewerAction {
    enum class Kind {
        Nothing,
        MoveCamera, // the navigator moved: show its eye and pivot
        Pick, // report the point under (x, y)
        PickWithPlane, // ... and the plane fitted around it
        Recolor, // show `coloring`
        ChangeColorMap, // show `colorMap`
        ChangeBudget, // load within `budget` points
        ChangePointSize, // make the points `pointSizeStep` pixels larger (or smaller)
        ChangeLook, // show the points with `eyeDomeLighting`, `splats` and `classes`
        MeasurePoint, // the measuring tool takes the point under (x, y)
        MeasureClose, // the measuring tool closes its polygon
        MeasureChanged, // the measuring tool changed its mode or dropped points: show it
    };
    Kind kind = Kind::Nothing;
    int x = 0;
    int y = 0;
    Render::Coloring coloring = Render::Coloring::Rgb;
    Render::ColorMap colorMap = Render::ColorMap::Turbo;
    std::size_t budget = 0;
    float pointSizeStep = 0.0f;
    Render::EyeDomeLighting eyeDomeLighting;
    Render::SplatQuality splats = Render::SplatQuality::Standard;
    Render::PointClasses classes;
};

// How the viewer shows points beyond their colouring, which keys switch.
struct PointLook {
    Render::EyeDomeLighting eyeDomeLighting;
    Render::SplatQuality splats = Render::SplatQuality::Standard;
    Render::PointClasses classes;
};

// The input of an interactive viewer, without a window: mouse buttons and drags, the wheel and
// keys become camera moves of an OrbitNavigator and actions for the window. Left drag orbits
// around the point under the cursor, right or middle drag pans, the wheel zooms toward the point
// under the cursor; Ctrl+click picks, Shift+click picks with a plane. Keys: 1-7 colourings (rgb,
// intensity, elevation, normal, uniform, tomographic, classification), C the next colour map, F
// frames the scene, + and - the point size, with Shift the budget (doubled or halved, at least
// 1000 points), E eye-dome lighting on and off, S high-quality splats on and off. Keys for groups
// of classes hide the group, or show it where any of it is hidden: U unclassified (0, 1), G
// ground (2), V vegetation (3-5), B buildings (6), W water (9), N noise (7, 18); A shows every
// class. Measuring: M measures lines, P a polygon (the same key again stops); while measuring, a
// left click (pressed and released within a few pixels) takes the point under it, Enter closes
// the polygon, Backspace drops the last point and Escape all of them.
class ViewerInput {
public:
    enum class Button {
        Left,
        Right,
        Middle
    };
    struct Modifiers {
        bool control = false;
        bool shift = false;
    };
    // The drawn point under a pixel, in scene coordinates, if there is one.
    using PointUnder = std::function<std::optional<Math::Point<float, 3>>(int x, int y)>;

    ViewerInput(Render::Coloring coloring, Render::ColorMap colorMap, std::size_t budget, PointLook look = {});

    OrbitNavigator& navigator() { return mNavigator; }
    const OrbitNavigator& navigator() const { return mNavigator; }
    Render::Coloring coloring() const { return mColoring; }
    Render::ColorMap colorMap() const { return mColorMap; }
    std::size_t budget() const { return mBudget; }
    const PointLook& look() const { return mLook; }
    MeasuringTool& measuringTool() { return mTool; }
    const MeasuringTool& measuringTool() const { return mTool; }

    ViewerAction press(int x, int y, Button button, Modifiers modifiers, const PointUnder& pointUnder);
    ViewerAction move(int x, int y, float windowHeight);
    // The end of a press: a click while measuring asks for the point under (x, y).
    ViewerAction release(int x, int y);
    // `notches` of the wheel: positive away from the user, toward the scene.
    ViewerAction wheel(int x, int y, float notches, const PointUnder& pointUnder);
    // `key` is an upper-case letter, a digit, '+', '-', or '\r', '\b' and '\x1b' for Enter,
    // Backspace and Escape. `scene` is the box F frames.
    ViewerAction key(char key, Modifiers modifiers, const Math::NBoundingBox<float, 3>& scene);

private:
    enum class Drag {
        None,
        Orbit,
        Pan
    };

    ViewerAction lookChanged() const;

    OrbitNavigator mNavigator;
    MeasuringTool mTool;
    Render::Coloring mColoring;
    Render::ColorMap mColorMap;
    std::size_t mBudget;
    PointLook mLook;
    Drag mDrag = Drag::None;
    int mLastX = 0;
    int mLastY = 0;
    int mPressX = 0;
    int mPressY = 0;
    bool mLeftDown = false;
};

} // namespace Tool
