#pragma once

#include <lumaro/math/Spectrum.h>
#include <lumaro/render/Export.h>
#include <lumaro/render/core/Named.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace Render {

/// The colour maps of "shaders/colorprocessing.hlsl". Each value is the map number that the
/// shader's `colorize` switches on and is written unchanged into shader constants; numbers
/// outside 0..12 fall back to Turbo there.
enum class ColorMap : std::int32_t {
    Turbo = 0, ///< Google's Turbo rainbow, blue to red
    Inferno = 1, ///< matplotlib's inferno, black to yellow through red
    Magma = 2, ///< matplotlib's magma, black to white through purple
    Viridis = 3, ///< matplotlib's viridis, purple to yellow through green
    Plasma = 4, ///< matplotlib's plasma, blue to yellow through magenta
    Gray = 5, ///< black to white
    Bone = 6, ///< black to white through blue-grey
    RedWhiteBlue = 7, ///< diverging: low values red, the middle white, high values blue
    LevelOfAccuracy = 8, ///< the five USIBD level-of-accuracy classes, the range read as 0 to 150 mm
    PassFail = 9, ///< green within the pass-fail range, red outside
    TrafficLight = 10, ///< green within the warn range, yellow within pass-fail, red outside
    CoolWarm = 11, ///< Moreland's diverging cool-to-warm, blue through grey to red
    LevelOfAccuracyImperial = 12, ///< the same classes, the range read as 0 to 6 inches
};

/// The math library's spectrum for the same map (its enumeration is ordered differently); values
/// outside the enumeration give Turbo's, as the shader does.
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
