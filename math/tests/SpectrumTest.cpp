#include <lumaro/math/Spectrum.h>

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

using Math::Spectrum;

void expectRgb(Spectrum::SpectrumNames name, float x, float r, float g, float b, float tolerance = 1e-5F)
{
    const Spectrum::Rgb rgb = Spectrum(name)(x);
    EXPECT_NEAR(rgb.r, r, tolerance) << "map " << name << " at " << x;
    EXPECT_NEAR(rgb.g, g, tolerance) << "map " << name << " at " << x;
    EXPECT_NEAR(rgb.b, b, tolerance) << "map " << name << " at " << x;
}

TEST(SpectrumTest, PiecewiseLinearMapsAtWorkedPoints)
{
    expectRgb(Spectrum::Gray, 1.5F, 1.5F, 1.5F, 1.5F); // the one map that does not clamp
    expectRgb(Spectrum::Gray, 0.25F, 0.25F, 0.25F, 0.25F);
    expectRgb(Spectrum::Jet, 0.0F, 0.0F, 0.0F, 0.5F);
    expectRgb(Spectrum::Jet, 0.25F, 0.0F, 0.5F, 1.0F);
    expectRgb(Spectrum::Jet, 0.5F, 0.5F, 1.0F, 0.5F);
    expectRgb(Spectrum::Jet, 1.0F, 0.5F, 0.0F, 0.0F);
    expectRgb(Spectrum::Jet, 2.0F, 0.5F, 0.0F, 0.0F); // clamped to 1
    expectRgb(Spectrum::Bone, 0.25F, 0.21875F, 0.21875F, 29.0F / 96.0F);
    expectRgb(Spectrum::Bone, 0.5F, 0.4375F, 29.0F / 48.0F - 0.125F, 0.5625F);
    expectRgb(Spectrum::Bone, 1.0F, 1.0F, 1.0F, 1.0F);
    expectRgb(Spectrum::Hot, 0.5F, 1.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::Hot, 0.9F, 1.0F, 1.0F, 0.7F);
    expectRgb(Spectrum::Thermo, 0.5F, 0.0F, 1.0F, 0.5F);
    expectRgb(Spectrum::Thermo, 0.9F, 1.0F, 0.3F, 0.3F);
    expectRgb(Spectrum::Thermo, 0.2F, 0.6F, 0.0F, 1.0F);
    expectRgb(Spectrum::Hsv, 0.1F, 1.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::Hsv, 0.5F, 0.0F, 1.0F, 0.5F);
    expectRgb(Spectrum::Hsv, 0.9F, 0.5F, 0.0F, 0.5F);
    expectRgb(Spectrum::BlueGreenRed, 0.25F, 0.0F, 0.5F, 0.5F);
    expectRgb(Spectrum::BlueGreenRed, 0.75F, 0.5F, 0.5F, 0.0F);
    expectRgb(Spectrum::RedWhiteBlue, 0.25F, 1.0F, 0.5F, 0.5F);
    expectRgb(Spectrum::RedWhiteBlue, 0.5F, 1.0F, 1.0F, 1.0F);
    expectRgb(Spectrum::RedWhiteBlue, 0.75F, 0.5F, 0.5F, 1.0F);
}

TEST(SpectrumTest, AccuracyClassesStartAtTheirThresholds)
{
    expectRgb(Spectrum::LevelOfAccuracy, 0.5F / 150, 0.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracy, 1.0F / 150, 0.0F, 1.0F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracy, 10.0F / 150, 1.0F, 1.0F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracy, 15.0F / 150, 1.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracy, 50.0F / 150, 1.0F, 0.0F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracy, -1.0F, 0.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracyImperial, 0.5F / 96, 0.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracyImperial, 2.0F / 96, 0.0F, 1.0F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracyImperial, 4.0F / 96, 1.0F, 1.0F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracyImperial, 20.0F / 96, 1.0F, 0.5F, 0.0F);
    expectRgb(Spectrum::LevelOfAccuracyImperial, 40.0F / 96, 1.0F, 0.0F, 0.0F);
}

TEST(SpectrumTest, PassFailAndTrafficLightUseTheirLimits)
{
    const Spectrum passFail(Spectrum::PassFail, {0.2F, 0.8F, 0.0F, 1.0F});
    EXPECT_EQ(passFail(0.5F), (Spectrum::Rgb{0.0F, 0.5F, 0.0F}));
    EXPECT_EQ(passFail(0.9F), (Spectrum::Rgb{1.0F, 0.0F, 0.0F}));
    EXPECT_EQ(passFail(-5.0F), (Spectrum::Rgb{1.0F, 0.0F, 0.0F})); // x clamps to 0, below 0.2
    // Limits beyond 0..1 are kept: every clamped x passes.
    EXPECT_EQ(Spectrum(Spectrum::PassFail, {-1.0F, 2.0F})(7.0F), (Spectrum::Rgb{0.0F, 0.5F, 0.0F}));

    const Spectrum light(Spectrum::TrafficLight, {0.1F, 0.9F, 0.3F, 0.7F});
    EXPECT_EQ(light(0.25F), (Spectrum::Rgb{1.0F, 1.0F, 0.0F}));
    EXPECT_EQ(light(0.75F), (Spectrum::Rgb{1.0F, 1.0F, 0.0F}));
    EXPECT_EQ(light(0.5F), (Spectrum::Rgb{0.0F, 0.5F, 0.0F}));
    EXPECT_EQ(light(0.05F), (Spectrum::Rgb{1.0F, 0.0F, 0.0F}));
    EXPECT_EQ(light(0.95F), (Spectrum::Rgb{1.0F, 0.0F, 0.0F}));
}

TEST(SpectrumTest, CoolWarmInterpolatesItsTable)
{
    expectRgb(Spectrum::CoolWarm, 0.0F, 0.2314F, 0.2980F, 0.7529F);
    expectRgb(Spectrum::CoolWarm, 1.0F, 0.7059F, 0.0F, 0.1490F);
    expectRgb(Spectrum::CoolWarm, 0.5F, 0.8667F, 0.8667F, 0.8667F);
    // Halfway between entries 0 and 1.
    expectRgb(Spectrum::CoolWarm, 1.0F / 64, (0.2314F + 0.2667F) / 2, (0.2980F + 0.3529F) / 2, (0.7529F + 0.8000F) / 2);
    expectRgb(Spectrum::CoolWarm, std::nanf(""), 0.2314F, 0.2980F, 0.7529F);
}

TEST(SpectrumTest, PolynomialMapsMatchTheirCoefficientsAndTheReferenceMaps)
{
    // At 0 only c0 remains; at 1 every coefficient counts once.
    expectRgb(Spectrum::Turbo, 0.0F, 0.13572138F, 0.09140261F, 0.10667330F);
    expectRgb(Spectrum::Turbo, 1.0F, 0.56585921F, 0.05038886F, -0.02552066F, 1e-4F);
    expectRgb(Spectrum::Inferno, 0.0F, 0.0002189404F, 0.001651005F, -0.01948090F);
    // The fits stay within 0.02 of the published matplotlib tables.
    constexpr float fit = 0.02F;
    expectRgb(Spectrum::Inferno, 1.0F, 0.988362F, 0.998364F, 0.644924F, fit);
    expectRgb(Spectrum::Inferno, 0.5F, 0.735683F, 0.215906F, 0.330245F, fit);
    expectRgb(Spectrum::Magma, 0.0F, 0.001462F, 0.000466F, 0.013866F, fit);
    expectRgb(Spectrum::Magma, 1.0F, 0.987053F, 0.991438F, 0.749504F, fit);
    expectRgb(Spectrum::Viridis, 0.0F, 0.267004F, 0.004874F, 0.329415F, fit);
    expectRgb(Spectrum::Viridis, 0.5F, 0.127568F, 0.566949F, 0.550556F, fit);
    expectRgb(Spectrum::Viridis, 1.0F, 0.993248F, 0.906157F, 0.143936F, fit);
    expectRgb(Spectrum::Plasma, 0.0F, 0.050383F, 0.029803F, 0.527975F, fit);
    expectRgb(Spectrum::Plasma, 1.0F, 0.940015F, 0.975158F, 0.131326F, fit);
}

TEST(SpectrumTest, CubeHelixRunsFromBlackToWhiteAroundTheGreyAxis)
{
    expectRgb(Spectrum::CubeHelix, 0.0F, 0.0F, 0.0F, 0.0F);
    expectRgb(Spectrum::CubeHelix, 1.0F, 1.0F, 1.0F, 1.0F);
    // At 0.5: angle 30 degrees, amplitude 0.125, h = 120 degrees.
    expectRgb(Spectrum::CubeHelix, 0.5F, 0.702279F, 0.420137F, 0.376691F, 1e-4F);
    // The rainbow helix at 0.5: angle 80 degrees, saturation 1.5, lightness 0.8, amplitude 0.24.
    const double h = (80.0 + 90.0) * 3.14159265358979 / 180.0;
    expectRgb(Spectrum::CubeHelixRainbow, 0.5F, float(0.8 + 0.24 * (1.78277 * std::sin(h) - 0.14861 * std::cos(h))),
              float(0.8 - 0.24 * (0.29227 * std::cos(h) + 0.90649 * std::sin(h))),
              float(0.8 + 0.24 * 1.97294 * std::cos(h)), 1e-4F);
}

TEST(SpectrumTest, ColorClampsAndRoundsToOpaqueBytes)
{
    EXPECT_EQ(Spectrum(Spectrum::RedWhiteBlue).color(0.25F), Math::Color(255, 128, 128, 255)); // 127.5 up
    EXPECT_EQ(Spectrum(Spectrum::Gray).color(1.5F), Math::Color(255, 255, 255, 255));
    EXPECT_EQ(Spectrum(Spectrum::Gray).color(-1.0F), Math::Color(0, 0, 0, 255));
    EXPECT_EQ(Spectrum(Spectrum::Gray).color(std::nanf("")), Math::Color(0, 0, 0, 255));
    EXPECT_EQ(Spectrum(Spectrum::Turbo).color(1.0F), Math::Color(144, 13, 0, 255)); // 0.5659*255, 0.0504*255, <0
}

} // namespace
