#include <lumaro/math/Color.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>
#include <stdexcept>
#include <string>

namespace Math {

namespace {

// HSLuv's constants: the XYZ to linear sRGB matrix, the D65 white point in u'v', and the CIE
// lightness constants.
constexpr std::array<std::array<double, 3>, 3> xyzToRgb{{
    {3.240969941904521, -1.537383177570093, -0.498610760293},
    {-0.96924363628087, 1.87596750150772, 0.041555057407175},
    {0.055630079696993, -0.20397695888897, 1.056971514242878},
}};
constexpr double refY = 1.0;
constexpr double refU = 0.19783000664283;
constexpr double refV = 0.46831999493879;
constexpr double kappa = 903.2962962;
constexpr double epsilon = 0.0088564516;

struct Line {
    double slope;
    double intercept;
};

// The six lines in the (U, V) chroma plane where one sRGB channel reaches 0 or 1 at lightness L.
std::array<Line, 6> gamutBounds(double lightness)
{
    const double sub1 = std::pow(lightness + 16.0, 3.0) / 1560896.0;
    const double sub2 = sub1 > epsilon ? sub1 : lightness / kappa;
    std::array<Line, 6> lines{};
    std::size_t index = 0;
    for (const auto& row : xyzToRgb) {
        const double m1 = row[0];
        const double m2 = row[1];
        const double m3 = row[2];
        for (const double t : {0.0, 1.0}) {
            const double top1 = (284517.0 * m1 - 94839.0 * m3) * sub2;
            const double top2 =
                (838422.0 * m3 + 769860.0 * m2 + 731718.0 * m1) * lightness * sub2 - 769860.0 * t * lightness;
            const double bottom = (632260.0 * m3 - 126452.0 * m2) * sub2 + 126452.0 * t;
            lines[index++] = {top1 / bottom, top2 / bottom};
        }
    }
    return lines;
}

double maxChroma(double lightness, double hueRadians)
{
    const double sinHue = std::sin(hueRadians);
    const double cosHue = std::cos(hueRadians);
    double chroma = std::numeric_limits<double>::max();
    for (const Line& line : gamutBounds(lightness)) {
        const double length = line.intercept / (sinHue - line.slope * cosHue);
        if (length >= 0.0)
            chroma = std::min(chroma, length);
    }
    return chroma;
}

double companded(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

std::uint8_t toByte(double unit)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(unit, 0.0, 1.0) * 255.0));
}

void requireFinite(double value, const char* name)
{
    if (!std::isfinite(value))
        throw std::invalid_argument(std::string("Color::fromHslUv: ") + name + " must be finite, got "
                                    + std::to_string(value));
}

} // namespace

Color Color::fromHslUv(double hue, double saturation, double lightness, double alpha)
{
    requireFinite(hue, "hue");
    requireFinite(saturation, "saturation");
    requireFinite(lightness, "lightness");
    requireFinite(alpha, "alpha");
    const std::uint8_t alphaByte = toByte(alpha);
    const double l = std::clamp(lightness, 0.0, 1.0) * 100.0;
    const double s = std::clamp(saturation, 0.0, 1.0) * 100.0;
    if (l > 99.9999999)
        return white(alphaByte);
    if (l < 1e-8)
        return black(alphaByte);

    const double hueRadians = std::fmod(hue, 360.0) * std::numbers::pi / 180.0;
    const double chroma = maxChroma(l, hueRadians) / 100.0 * s;
    const double u = std::cos(hueRadians) * chroma;
    const double v = std::sin(hueRadians) * chroma;

    const double varU = u / (13.0 * l) + refU;
    const double varV = v / (13.0 * l) + refV;
    const double y = l <= 8.0 ? refY * l / kappa : refY * std::pow((l + 16.0) / 116.0, 3.0);
    const double x = 0.0 - (9.0 * y * varU) / ((varU - 4.0) * varV - varU * varV);
    const double z = (9.0 * y - 15.0 * varV * y - varV * x) / (3.0 * varV);

    std::array<std::uint8_t, 3> rgb{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const auto& row = xyzToRgb[channel];
        rgb[channel] = toByte(companded(row[0] * x + row[1] * y + row[2] * z));
    }
    return {rgb[0], rgb[1], rgb[2], alphaByte};
}

std::ostream& operator<<(std::ostream& stream, const Color& color)
{
    return stream << "Color(" << int(color.r()) << ", " << int(color.g()) << ", " << int(color.b()) << ", "
                  << int(color.a()) << ")";
}

} // namespace Math
