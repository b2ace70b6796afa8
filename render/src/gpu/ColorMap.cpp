#include <lumaro/render/gpu/ColorMap.h>

#include <array>

namespace Render {

namespace {

constexpr std::array<Named<ColorMap>, 13> colorMaps{{
    {"turbo", ColorMap::Turbo},
    {"inferno", ColorMap::Inferno},
    {"magma", ColorMap::Magma},
    {"viridis", ColorMap::Viridis},
    {"plasma", ColorMap::Plasma},
    {"gray", ColorMap::Gray},
    {"bone", ColorMap::Bone},
    {"red-white-blue", ColorMap::RedWhiteBlue},
    {"level-of-accuracy", ColorMap::LevelOfAccuracy},
    {"pass-fail", ColorMap::PassFail},
    {"traffic-light", ColorMap::TrafficLight},
    {"cool-warm", ColorMap::CoolWarm},
    {"level-of-accuracy-imperial", ColorMap::LevelOfAccuracyImperial},
}};

} // namespace

std::span<const Named<ColorMap>> colorMapNames()
{
    return colorMaps;
}

ColorMap colorMapNamed(std::string_view name)
{
    return valueNamed(colorMapNames(), name, "colour map");
}

std::string_view nameOf(ColorMap colorMap)
{
    const std::string_view name = nameIn(colorMapNames(), colorMap);
    return name.empty() ? colorMaps.front().name : name;
}

Math::Spectrum::SpectrumNames spectrumName(const ColorMap& colorMap)
{
    using Names = Math::Spectrum::SpectrumNames;
    switch (colorMap) {
    case ColorMap::Turbo: return Names::Turbo;
    case ColorMap::Inferno: return Names::Inferno;
    case ColorMap::Magma: return Names::Magma;
    case ColorMap::Viridis: return Names::Viridis;
    case ColorMap::Plasma: return Names::Plasma;
    case ColorMap::Gray: return Names::Gray;
    case ColorMap::Bone: return Names::Bone;
    case ColorMap::RedWhiteBlue: return Names::RedWhiteBlue;
    case ColorMap::LevelOfAccuracy: return Names::LevelOfAccuracy;
    case ColorMap::PassFail: return Names::PassFail;
    case ColorMap::TrafficLight: return Names::TrafficLight;
    case ColorMap::CoolWarm: return Names::CoolWarm;
    case ColorMap::LevelOfAccuracyImperial: return Names::LevelOfAccuracyImperial;
    }
    return Names::Turbo;
}

} // namespace Render
