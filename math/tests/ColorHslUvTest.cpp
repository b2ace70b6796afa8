#include <lumaro/math/Color.h>

#include <Eigen/Dense>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

// The forward direction, sRGB to CIE LCh(uv), written out independently so that the converter can
// be checked against colours whose lightness and hue are known.
struct Lch {
    double lightness; // 0..100
    double chroma;
    double hueDegrees;
};

Eigen::Matrix3d rgbToXyz()
{
    Eigen::Matrix3d xyzToRgb;
    xyzToRgb << 3.240969941904521, -1.537383177570093, -0.498610760293, //
        -0.96924363628087, 1.87596750150772, 0.041555057407175, //
        0.055630079696993, -0.20397695888897, 1.056971514242878;
    return xyzToRgb.inverse();
}

double linearised(double c)
{
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

Lch lchOf(const Math::Color& color)
{
    const Eigen::Vector3d rgb(linearised(color.r() / 255.0), linearised(color.g() / 255.0),
                              linearised(color.b() / 255.0));
    const Eigen::Vector3d xyz = rgbToXyz() * rgb;
    const double y = xyz.y();
    const double lightness = y <= 0.0088564516 ? y * 903.2962962 : 116.0 * std::cbrt(y) - 16.0;
    const double denominator = xyz.x() + 15.0 * y + 3.0 * xyz.z();
    const double u = 13.0 * lightness * (4.0 * xyz.x() / denominator - 0.19783000664283);
    const double v = 13.0 * lightness * (9.0 * y / denominator - 0.46831999493879);
    double hue = std::atan2(v, u) * 180.0 / std::numbers::pi;
    if (hue < 0)
        hue += 360.0;
    return {lightness, std::hypot(u, v), hue};
}

void expectNear(const Math::Color& actual, const Math::Color& expected, int tolerance)
{
    EXPECT_NEAR(actual.r(), expected.r(), tolerance) << actual << " vs " << expected;
    EXPECT_NEAR(actual.g(), expected.g(), tolerance) << actual << " vs " << expected;
    EXPECT_NEAR(actual.b(), expected.b(), tolerance) << actual << " vs " << expected;
    EXPECT_EQ(actual.a(), expected.a());
}

TEST(ColorHslUvTest, FullySaturatedPrimariesAndSecondariesComeBack)
{
    // The sRGB corners lie on the gamut boundary, so at their own hue and lightness they are
    // exactly the colours of saturation 1.
    for (const Math::Color corner : {Math::Color(255, 0, 0), Math::Color(0, 255, 0), Math::Color(0, 0, 255),
                                     Math::Color(255, 255, 0), Math::Color(0, 255, 255), Math::Color(255, 0, 255)}) {
        const Lch lch = lchOf(corner);
        expectNear(Math::Color::fromHslUv(lch.hueDegrees, 1.0, lch.lightness / 100.0, 1.0), corner, 1);
    }
    // Well-known HSLuv coordinates of pure red: H 12.177, L 53.237.
    expectNear(Math::Color::fromHslUv(12.177050630061776, 1.0, 0.5323711559542933, 1.0), Math::Color(255, 0, 0), 1);
}

TEST(ColorHslUvTest, ZeroSaturationIsTheGreyOfTheLightness)
{
    for (const double lightness : {0.05, 0.3, 0.6, 0.95}) {
        const double l = lightness * 100.0;
        const double y = l <= 8.0 ? l / 903.2962962 : std::pow((l + 16.0) / 116.0, 3.0);
        const double srgb = y <= 0.0031308 ? 12.92 * y : 1.055 * std::pow(y, 1.0 / 2.4) - 0.055;
        const auto grey = static_cast<std::uint8_t>(std::lround(srgb * 255.0));
        for (const double hue : {0.0, 123.0, 359.0})
            expectNear(Math::Color::fromHslUv(hue, 0.0, lightness, 1.0), Math::Color::gray(grey), 1);
    }
    EXPECT_EQ(Math::Color::fromHslUv(0.0, 0.0, 0.6, 1.0), Math::Color::gray(145)); // worked by hand: 144.6
}

TEST(ColorHslUvTest, PaletteHuesShareTheirLightnessAndLookRight)
{
    for (double hue = 0.0; hue < 360.0; hue += 22.5) {
        const Math::Color color = Math::Color::fromHslUv(hue, 1.0, 0.6, 1.0);
        const Lch lch = lchOf(color);
        EXPECT_NEAR(lch.lightness, 60.0, 0.4) << "hue " << hue << ": " << color;
        EXPECT_NEAR(std::remainder(lch.hueDegrees - hue, 360.0), 0.0, 1.5) << "hue " << hue << ": " << color;
    }
    const Math::Color pinkRed = Math::Color::fromHslUv(0.0, 1.0, 0.6, 1.0);
    EXPECT_GT(pinkRed.r(), pinkRed.b());
    EXPECT_GT(pinkRed.b(), pinkRed.g());
    const Math::Color cyanGreen = Math::Color::fromHslUv(180.0, 1.0, 0.6, 1.0);
    EXPECT_GT(cyanGreen.g(), cyanGreen.r());
    EXPECT_GT(cyanGreen.b(), cyanGreen.r());
    EXPECT_EQ(Math::Color::fromHslUv(360.0 + 45.0, 1.0, 0.6, 1.0), Math::Color::fromHslUv(45.0, 1.0, 0.6, 1.0));
}

// The reverse direction, CIE LCh(uv) to linear sRGB, used to find the gamut boundary by bisection
// instead of by the converter's intersection of bounding lines.
Eigen::Vector3d linearRgbOf(double lightness, double chroma, double hueDegrees)
{
    const double hue = hueDegrees * std::numbers::pi / 180.0;
    const double u = chroma * std::cos(hue) / (13.0 * lightness) + 0.19783000664283;
    const double v = chroma * std::sin(hue) / (13.0 * lightness) + 0.46831999493879;
    const double y = lightness <= 8.0 ? lightness / 903.2962962 : std::pow((lightness + 16.0) / 116.0, 3.0);
    const Eigen::Vector3d xyz(9.0 * y * u / (4.0 * v), y, y * (12.0 - 3.0 * u - 20.0 * v) / (4.0 * v));
    return rgbToXyz().inverse() * xyz;
}

Math::Color mostSaturated(double lightness, double hueDegrees)
{
    const auto inGamut = [&](double chroma) {
        const Eigen::Vector3d rgb = linearRgbOf(lightness, chroma, hueDegrees);
        return rgb.minCoeff() >= 0.0 && rgb.maxCoeff() <= 1.0;
    };
    double inside = 0.0;
    double outside = 400.0;
    for (int step = 0; step < 60; ++step)
        (inGamut((inside + outside) / 2.0) ? inside : outside) = (inside + outside) / 2.0;
    const Eigen::Vector3d rgb = linearRgbOf(lightness, inside, hueDegrees);
    const auto channel = [](double c) {
        const double srgb = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1.0 / 2.4) - 0.055;
        return static_cast<std::uint8_t>(std::lround(srgb * 255.0));
    };
    return Math::Color(channel(rgb.x()), channel(rgb.y()), channel(rgb.z()));
}

TEST(ColorHslUvTest, FullSaturationReachesTheGamutBoundaryAtDarkAndLightLevels)
{
    // Lightness below 8 takes the linear branch of the bounds; the others the cubic one.
    for (const double lightness : {2.0, 5.0, 7.5, 30.0, 85.0}) {
        for (const double hue : {0.0, 40.0, 130.0, 250.0, 300.0})
            expectNear(Math::Color::fromHslUv(hue, 1.0, lightness / 100.0, 1.0), mostSaturated(lightness, hue), 1);
    }
}

TEST(ColorHslUvTest, ExtremesAlphaAndBadInput)
{
    EXPECT_EQ(Math::Color::fromHslUv(200.0, 1.0, 1.0, 1.0), Math::Color(255, 255, 255, 255));
    EXPECT_EQ(Math::Color::fromHslUv(200.0, 1.0, 0.0, 1.0), Math::Color(0, 0, 0, 255));
    EXPECT_EQ(Math::Color::fromHslUv(200.0, 1.0, 1.0, 0.5).a(), 128); // 127.5 rounds up
    EXPECT_EQ(Math::Color::fromHslUv(200.0, 1.0, 1.0, 0.0).a(), 0);
    EXPECT_EQ(Math::Color::fromHslUv(200.0, 1.0, 1.0, 7.0).a(), 255);
    EXPECT_THROW(Math::Color::fromHslUv(std::nan(""), 1.0, 0.5, 1.0), std::invalid_argument);
    EXPECT_THROW(Math::Color::fromHslUv(0.0, 1.0, 0.5, INFINITY), std::invalid_argument);
}

} // namespace
