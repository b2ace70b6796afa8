#pragma once

#include <lumaro/math/Color.h>
#include <lumaro/octree/Location.h>

#include <deque>
#include <utility>

namespace Render {

// The colour of a store in the uniform-colour mode, the same for every view of it while the
// process lives. Stores get hues in the order they are first seen, each halving the largest gap
// left on the hue circle (0, 180, 90, 270, 45, 135, ...), so that clouds shown together stay
// distinguishable; all at the same HSLuv lightness, so that none looks brighter than the others.
Math::Color locationColor(const Octree::Location& location);

// The hues of the palette in degrees: each the midpoint of the oldest interval of the hue circle
// not yet split, whose two halves queue up behind the others.
class HueSequence {
public:
    double next();

private:
    std::deque<std::pair<double, double>> mIntervals;
};

} // namespace Render
