#include <lumaro/render/gpu/ColorMap.h>

namespace Render {

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
