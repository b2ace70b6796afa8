#include "ProfilePicture.h"

#include "BitmapFont.h"

#include <lumaro/math/Spectrum.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace Tool {

namespace {

constexpr int marginLeft = 72;
constexpr int marginRight = 16;
constexpr int marginTop = 20;
constexpr int marginBottom = 40;
// Grid lines at least this far apart.
constexpr double alongSpacing = 90.0;
constexpr double heightSpacing = 40.0;

Math::Color mix(Math::Color a, Math::Color b, float toB)
{
    const auto channel = [&](std::uint8_t x, std::uint8_t y) {
        return static_cast<std::uint8_t>(std::lround(x + (float(y) - float(x)) * toB));
    };
    return Math::Color(channel(a.r(), b.r()), channel(a.g(), b.g()), channel(a.b(), b.b()), 255);
}

// The colour each point is drawn in.
class PointColors {
public:
    PointColors(const Measure::Profile& profile, const ProfileStyle& style)
        : mColoring(style.coloring), mSpectrum(Render::spectrumName(style.colorMap))
    {
        bool anyColor = false;
        std::uint16_t brightest = 0;
        std::vector<std::uint16_t> intensities;
        intensities.reserve(profile.points.size());
        mLowest = INFINITY;
        double highest = -INFINITY;
        for (const Measure::ProfilePoint& point : profile.points) {
            anyColor = anyColor || point.color != std::array<std::uint16_t, 3>{};
            brightest = std::max({brightest, point.color[0], point.color[1], point.color[2]});
            intensities.push_back(point.intensity);
            mLowest = std::min(mLowest, point.position[2]);
            highest = std::max(highest, point.position[2]);
        }
        // One decision for the whole picture, as the renderer decides once per store: 16-bit
        // colours when any channel goes beyond 8 bits; points without colours show their intensity.
        mColorShift = brightest > 255 ? 8 : 0;
        if (mColoring == Render::Coloring::Rgb && !anyColor)
            mColoring = Render::Coloring::Intensity;
        // Intensities stretched so that the 99th percentile is white.
        if (!intensities.empty()) {
            const std::size_t at = std::min(intensities.size() - 1, intensities.size() * 99 / 100);
            std::nth_element(intensities.begin(), intensities.begin() + static_cast<std::ptrdiff_t>(at),
                             intensities.end());
            mFullIntensity = std::max<double>(1.0, intensities[at]);
        }
        mHeightRange = std::max(highest - mLowest, 1e-9);
    }

    Math::Color operator()(const Measure::ProfilePoint& point) const
    {
        if (mColoring == Render::Coloring::Elevation)
            return mSpectrum.color(static_cast<float>((point.position[2] - mLowest) / mHeightRange));
        if (mColoring == Render::Coloring::Intensity) {
            const auto grey =
                static_cast<std::uint8_t>(std::lround(255.0 * std::min(1.0, point.intensity / mFullIntensity)));
            return Math::Color(grey, grey, grey, 255);
        }
        return Math::Color(static_cast<std::uint8_t>(point.color[0] >> mColorShift),
                           static_cast<std::uint8_t>(point.color[1] >> mColorShift),
                           static_cast<std::uint8_t>(point.color[2] >> mColorShift), 255);
    }

private:
    Render::Coloring mColoring;
    Math::Spectrum mSpectrum;
    int mColorShift = 0;
    double mFullIntensity = 65535.0;
    double mLowest = 0.0;
    double mHeightRange = 1.0;
};

void fillRect(Graphics::ColorImage& image, int x0, int y0, int x1, int y1, Math::Color color)
{
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min(x1, static_cast<int>(image.width()));
    y1 = std::min(y1, static_cast<int>(image.height()));
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            image.at(static_cast<std::size_t>(x), static_cast<std::size_t>(y)) = color;
}

// The multiples of `step` from `low` to `high`.
std::vector<double> gridValues(double low, double high, double step)
{
    std::vector<double> values;
    for (double k = std::ceil(low / step - 1e-9); k * step <= high + 1e-9 * step; k += 1.0)
        values.push_back(k * step);
    return values;
}

} // namespace

double metricStep(double range, double parts)
{
    const double rough = range / std::max(parts, 1.0);
    if (!(rough > 0.0) || !std::isfinite(rough))
        return 1.0;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0, 10.0})
        if (factor * power >= rough * (1.0 - 1e-12))
            return factor * power;
    return 10.0 * power;
}

std::string gridLabel(double value, double step)
{
    const int decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, std::abs(value) < step * 1e-6 ? 0.0 : value);
    return text;
}

void ProfileChart::requireRoom(std::size_t width, std::size_t height)
{
    if (width < smallestProfileWidth || height < smallestProfileHeight)
        throw std::invalid_argument("a profile picture needs at least " + std::to_string(smallestProfileWidth) + "x"
                                    + std::to_string(smallestProfileHeight) + " pixels, not " + std::to_string(width)
                                    + "x" + std::to_string(height));
}

ProfileChart::ProfileChart(const Measure::Profile& profile, std::size_t width, std::size_t height)
    : mLeft(marginLeft),
      mRight(static_cast<int>(width) - marginRight),
      mTop(marginTop),
      mBottom(static_cast<int>(height) - marginBottom),
      mLength(profile.length)
{
    requireRoom(width, height);
    double lowest = INFINITY;
    double highest = -INFINITY;
    for (const Measure::ProfilePoint& point : profile.points) {
        lowest = std::min(lowest, point.position[2]);
        highest = std::max(highest, point.position[2]);
    }
    if (profile.points.empty()) {
        lowest = 0.0;
        highest = 1.0;
    }
    const double range = std::max(highest - lowest, 1e-3);
    mLowest = lowest - range / 20.0;
    mHighest = highest + range / 20.0;
    mAlongStep = metricStep(mLength, (mRight - mLeft) / alongSpacing);
    mHeightStep = metricStep(mHighest - mLowest, (mBottom - mTop) / heightSpacing);
}

double ProfileChart::column(double along) const
{
    return mLeft + along / mLength * (mRight - 1 - mLeft);
}

double ProfileChart::row(double height) const
{
    return mBottom - 1 - (height - mLowest) / (mHighest - mLowest) * (mBottom - 1 - mTop);
}

double ProfileChart::exaggeration() const
{
    const double alongScale = (mRight - 1 - mLeft) / mLength;
    const double heightScale = (mBottom - 1 - mTop) / (mHighest - mLowest);
    return heightScale / alongScale;
}

Graphics::ColorImage drawProfile(const Measure::Profile& profile, const ProfileStyle& style)
{
    const ProfileChart chart(profile, style.width, style.height);
    Graphics::ColorImage image(style.width, style.height);
    image.fill(style.background);
    const bool dark = style.background.r() + style.background.g() + style.background.b() < 3 * 128;
    const Math::Color ink = dark ? Math::Color(255, 255, 255, 255) : Math::Color(0, 0, 0, 255);
    const Math::Color gridColor = mix(style.background, ink, 0.2f);

    // The grid, then the plot's frame.
    const auto along = gridValues(0.0, chart.length(), chart.alongStep());
    const auto heights = gridValues(chart.lowestHeight(), chart.highestHeight(), chart.heightStep());
    for (const double value : along) {
        const int x = static_cast<int>(std::lround(chart.column(value)));
        fillRect(image, x, chart.top(), x + 1, chart.bottom(), gridColor);
    }
    for (const double value : heights) {
        const int y = static_cast<int>(std::lround(chart.row(value)));
        fillRect(image, chart.left(), y, chart.right(), y + 1, gridColor);
    }

    // Far side first, so that the points nearest the viewer (on the right of the line) end on top.
    std::vector<std::size_t> order(profile.points.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return profile.points[a].across > profile.points[b].across; });
    const PointColors colorOf(profile, style);
    for (const std::size_t i : order) {
        const Measure::ProfilePoint& point = profile.points[i];
        const int x = static_cast<int>(std::floor(chart.column(point.along)));
        const int y = static_cast<int>(std::floor(chart.row(point.position[2])));
        fillRect(image, std::max(x, chart.left()), std::max(y, chart.top()), std::min(x + 2, chart.right()),
                 std::min(y + 2, chart.bottom()), colorOf(point));
    }

    fillRect(image, chart.left(), chart.top(), chart.right(), chart.top() + 1, ink);
    fillRect(image, chart.left(), chart.bottom() - 1, chart.right(), chart.bottom(), ink);
    fillRect(image, chart.left(), chart.top(), chart.left() + 1, chart.bottom(), ink);
    fillRect(image, chart.right() - 1, chart.top(), chart.right(), chart.bottom(), ink);

    // Labels: distances under the plot, heights left of it, the axes' names and the exaggeration.
    for (const double value : along) {
        const std::string label = gridLabel(value, chart.alongStep());
        const int x = static_cast<int>(std::lround(chart.column(value))) - BitmapFont::width(label) / 2;
        BitmapFont::draw(image, std::clamp(x, 0, static_cast<int>(style.width) - BitmapFont::width(label)),
                         chart.bottom() + 4, label, ink);
    }
    for (const double value : heights) {
        const std::string label = gridLabel(value, chart.heightStep());
        const int y = static_cast<int>(std::lround(chart.row(value))) - BitmapFont::glyphHeight / 2;
        BitmapFont::draw(image, chart.left() - 4 - BitmapFont::width(label), y, label, ink);
    }
    const std::string alongName = "distance along the line";
    BitmapFont::draw(image, (chart.left() + chart.right() - BitmapFont::width(alongName)) / 2, chart.bottom() + 20,
                     alongName, ink);
    BitmapFont::draw(image, 4, 6, "height", ink);
    char exaggeration[64];
    std::snprintf(exaggeration, sizeof exaggeration, "vertical scale x%.3g", chart.exaggeration());
    BitmapFont::draw(image, chart.right() - BitmapFont::width(exaggeration), 6, exaggeration, ink);
    return image;
}

} // namespace Tool
