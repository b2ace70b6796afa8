#pragma once

#include <lumaro/math/Color.h>

namespace Math {

// Colour maps from a scalar in 0..1 to RGB: the CPU twins of the shader library's maps, for
// legends, thumbnails and tests. The numbers of SpectrumNames are stable identifiers shared with
// the renderer's ColorMap translation and must not be renumbered.
class Spectrum {
public:
    enum SpectrumNames : int {
        Gray = 0,
        Jet = 1,
        Bone = 2,
        Hot = 3,
        Thermo = 4,
        Hsv = 5,
        BlueGreenRed = 6,
        CubeHelix = 7,
        Turbo = 8,
        Inferno = 9,
        Plasma = 10,
        Magma = 11,
        Viridis = 12,
        RedWhiteBlue = 13,
        LevelOfAccuracy = 14,
        PassFail = 15,
        TrafficLight = 16,
        CoolWarm = 17,
        LevelOfAccuracyImperial = 18,
        CubeHelixRainbow = 19,
    };

    struct Rgb {
        float r = 0;
        float g = 0;
        float b = 0;
        friend bool operator==(const Rgb&, const Rgb&) = default;
    };

    // Limits of PassFail and TrafficLight, on the same 0..1 scale as the input. They are not
    // clamped: a limit beyond 0..1 simply never separates anything.
    struct Limits {
        float minPassFail = 0.0F;
        float maxPassFail = 1.0F;
        float minWarn = 0.0F;
        float maxWarn = 1.0F;
    };

    // Throws std::invalid_argument for a value that names no map.
    explicit Spectrum(SpectrumNames name);
    Spectrum(SpectrumNames name, const Limits& limits);

    SpectrumNames name() const { return mName; }
    const Limits& limits() const { return mLimits; }

    // Every map except Gray clamps x to 0..1 first; the polynomial and helix maps may leave
    // 0..1 slightly at their ends, as their shader versions do.
    Rgb operator()(float x) const;

    // The same, clamped and rounded to opaque 8-bit channels.
    Color color(float x) const;

private:
    SpectrumNames mName;
    Limits mLimits;
};

} // namespace Math
