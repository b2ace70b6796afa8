#pragma once

#include <lumaro/math/Spectrum.h>
#include <lumaro/render/Export.h>

#include <cstdint>

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

} // namespace Render
