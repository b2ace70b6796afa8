#pragma once

#include <lumaro/math/Spectrum.h>
#include <lumaro/render/Export.h>
#include <lumaro/render/core/Named.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace Render {

// The colour maps of "shaders/colorprocessing.hlsl". Each value is the map number that the
// shader's `colorize` switches on and is written unchanged into shader constants; numbers
// outside 0..12 fall back to Turbo there.
enum class ColorMap : std::int32_t {
    Turbo = 0,
    Inferno = 1,
    Magma = 2,
    Viridis = 3,
    Plasma = 4,
    Gray = 5,
    Bone = 6,
    RedWhiteBlue = 7,
    LevelOfAccuracy = 8,
    PassFail = 9,
    TrafficLight = 10,
    CoolWarm = 11,
    LevelOfAccuracyImperial = 12,
};

// The math library's spectrum for the same map (its enumeration is ordered differently); values
// outside the enumeration give Turbo's, as the shader does.
LUMARO_RENDER_API Math::Spectrum::SpectrumNames spectrumName(const ColorMap& colorMap);

/// Every colour map by its name, in the order of the enumeration: turbo, inferno, magma, viridis,
/// plasma, gray, bone, red-white-blue, level-of-accuracy, pass-fail, traffic-light, cool-warm,
/// level-of-accuracy-imperial.
LUMARO_RENDER_API std::span<const Named<ColorMap>> colorMapNames();
/// The colour map of that name. Throws std::invalid_argument naming the known ones.
LUMARO_RENDER_API ColorMap colorMapNamed(std::string_view name);
/// The name of a colour map ("turbo" for a number outside the enumeration, as the shader draws it).
LUMARO_RENDER_API std::string_view nameOf(ColorMap colorMap);

} // namespace Render
