#pragma once

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/math/Color.h>
#include <lumaro/measure/Profile.h>
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <cstddef>
#include <string>

namespace Tool {

// How a profile is drawn: the picture's size, how its points are coloured (rgb, intensity or
// elevation, as the renderer colours them), the colour map of elevation, and the background.
struct ProfileStyle {
    std::size_t width = 1600;
    std::size_t height = 600;
    Render::Coloring coloring = Render::Coloring::Rgb;
    Render::ColorMap colorMap = Render::ColorMap::Turbo;
    Math::Color background{255, 255, 255, 255};
};

// The smallest picture a profile is drawn in: room for the labels and some plot.
inline constexpr std::size_t smallestProfileWidth = 240;
inline constexpr std::size_t smallestProfileHeight = 120;

// Where a profile lies in its picture: distance along the line runs from left to right over the
// plot, height from bottom to top, each over its own range (the heights' range grown by a twentieth
// above and below), with grid lines at metric steps of 1, 2 or 5 times a power of ten.
class ProfileChart {
public:
    ProfileChart(const Measure::Profile& profile, std::size_t width, std::size_t height);

    // The plot's pixel bounds: columns left to right - 1, rows top to bottom - 1.
    int left() const { return mLeft; }
    int right() const { return mRight; }
    int top() const { return mTop; }
    int bottom() const { return mBottom; }

    double lowestHeight() const { return mLowest; }
    double highestHeight() const { return mHighest; }
    double length() const { return mLength; }
    double alongStep() const { return mAlongStep; }
    double heightStep() const { return mHeightStep; }

    // The pixel of a distance along the line and a height (column, row; may lie outside the plot).
    double column(double along) const;
    double row(double height) const;

    // How much the heights are stretched against the distances (1: true to scale).
    double exaggeration() const;

    // Throws std::invalid_argument for a picture smaller than the smallest profile picture.
    static void requireRoom(std::size_t width, std::size_t height);

private:
    int mLeft;
    int mRight;
    int mTop;
    int mBottom;
    double mLength;
    double mLowest;
    double mHighest;
    double mAlongStep;
    double mHeightStep;
};

// The smallest step of 1, 2 or 5 times a power of ten that splits `range` into at most `parts`.
double metricStep(double range, double parts);
// A grid value as its label: as many decimals as the step needs ("12.5", "-3", "0.02").
std::string gridLabel(double value, double step);

// The picture of a profile: its points over the grid, each a square of two by two pixels whose
// top-left pixel holds (column(along), row(height)), drawn from the far side of the line (the
// left, looking along it) to the near side so that nearer points cover farther ones; the labels
// of the grid lines, the axes' names and the vertical exaggeration in the built-in font.
Graphics::ColorImage drawProfile(const Measure::Profile& profile, const ProfileStyle& style);

} // namespace Tool
