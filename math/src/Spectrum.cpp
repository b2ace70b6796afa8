#include <lumaro/math/Spectrum.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>

namespace Math {

namespace {

using Rgb = Spectrum::Rgb;

constexpr float pi = 3.14159265F;
constexpr Rgb red{1.0F, 0.0F, 0.0F};
constexpr Rgb yellow{1.0F, 1.0F, 0.0F};
constexpr Rgb green{0.0F, 1.0F, 0.0F};
constexpr Rgb orange{1.0F, 0.5F, 0.0F};
constexpr Rgb darkGreen{0.0F, 0.5F, 0.0F};

// Like HLSL's saturate, NaN becomes 0, which also keeps table lookups in range.
float saturate(float x)
{
    return x > 0.0F ? std::min(x, 1.0F) : 0.0F;
}

Rgb jet(float x)
{
    Rgb c;
    if (x >= 3.0F / 8 && x < 5.0F / 8)
        c.r = 4 * x - 1.5F;
    if (x >= 5.0F / 8 && x < 7.0F / 8)
        c.r = 1;
    if (x >= 7.0F / 8)
        c.r += -4 * x + 4.5F;
    if (x >= 1.0F / 8 && x < 3.0F / 8)
        c.g = 4 * x - 0.5F;
    if (x >= 3.0F / 8 && x < 5.0F / 8)
        c.g = 1;
    if (x >= 5.0F / 8 && x < 7.0F / 8)
        c.g += -4 * x + 3.5F;
    if (x < 1.0F / 8)
        c.b = 4 * x + 0.5F;
    if (x >= 1.0F / 8 && x < 3.0F / 8)
        c.b = 1;
    if (x >= 3.0F / 8 && x < 5.0F / 8)
        c.b += -4 * x + 2.5F;
    return c;
}

Rgb blueGreenRed(float x)
{
    if (x >= 0.5F)
        return {2 * x - 1, 2 - 2 * x, 0};
    return {0, 2 * x, 1 - 2 * x};
}

Rgb bone(float x)
{
    Rgb c;
    c.r = x < 3.0F / 4 ? 7.0F / 8 * x : 11.0F / 8 * x - 3.0F / 8;
    c.g = x < 3.0F / 8 ? 7.0F / 8 * x : x < 3.0F / 4 ? 29.0F / 24 * x - 1.0F / 8 : 7.0F / 8 * x + 1.0F / 8;
    c.b = x < 3.0F / 8 ? 29.0F / 24 * x : 7.0F / 8 * x + 1.0F / 8;
    return c;
}

Rgb hot(float x)
{
    Rgb c;
    c.r = x <= 1.0F / 3 ? 3 * x : 1;
    c.g = x >= 2.0F / 3 ? 1 : x > 1.0F / 3 ? 3 * x - 1 : 0;
    c.b = x >= 2.0F / 3 ? 3 * x - 2 : 0;
    return c;
}

// In sevenths: black, magenta, blue, cyan, green, yellow, red, white.
Rgb thermo(float x)
{
    Rgb c;
    if (x <= 1.0F / 7)
        c.r = 7 * x;
    else if (x <= 2.0F / 7)
        c.r = -7 * x + 2;
    else if (x > 4.0F / 7 && x <= 5.0F / 7)
        c.r = 7 * x - 4;
    else if (x > 5.0F / 7)
        c.r = 1;
    if (x >= 2.0F / 7 && x <= 3.0F / 7)
        c.g = 7 * x - 2;
    else if (x > 3.0F / 7 && x <= 5.0F / 7)
        c.g = 1;
    else if (x > 5.0F / 7 && x <= 6.0F / 7)
        c.g = -7 * x + 6;
    else if (x > 6.0F / 7)
        c.g = 7 * x - 6;
    if (x <= 1.0F / 7)
        c.b = 7 * x;
    else if (x <= 3.0F / 7)
        c.b = 1;
    else if (x <= 4.0F / 7)
        c.b = -7 * x + 4;
    else if (x > 6.0F / 7)
        c.b = 7 * x - 6;
    return c;
}

Rgb hsv(float x)
{
    Rgb c;
    if (x <= 1.0F / 5)
        c.r = 1;
    else if (x <= 2.0F / 5)
        c.r = -5 * x + 2;
    else if (x > 4.0F / 5)
        c.r = 5 * x - 4;
    if (x <= 1.0F / 5)
        c.g = 5 * x;
    else if (x <= 3.0F / 5)
        c.g = 1;
    else if (x <= 4.0F / 5)
        c.g = -5 * x + 4;
    if (x > 2.0F / 5 && x <= 3.0F / 5)
        c.b = 5 * x - 2;
    else if (x > 3.0F / 5 && x <= 4.0F / 5)
        c.b = 1;
    else if (x > 4.0F / 5)
        c.b = -5 * x + 5;
    return c;
}

Rgb redWhiteBlue(float x)
{
    if (x >= 0.5F)
        return {2 - 2 * x, 2 - 2 * x, 1};
    return {1, 2 * x, 2 * x};
}

// Accuracy classes: each threshold belongs to the class above it.
Rgb accuracyClass(float x, float scale, const std::array<float, 4>& thresholds)
{
    static constexpr std::array<Rgb, 5> classes{darkGreen, green, yellow, orange, red};
    for (std::size_t i = 0; i < thresholds.size(); ++i)
        if (x < thresholds[i] / scale)
            return classes[i];
    return classes.back();
}

Rgb passFail(float x, const Spectrum::Limits& limits)
{
    return x < limits.minPassFail || x > limits.maxPassFail ? red : darkGreen;
}

Rgb trafficLight(float x, const Spectrum::Limits& limits)
{
    if (x < limits.minPassFail || x > limits.maxPassFail)
        return red;
    if (x < limits.minWarn || x > limits.maxWarn)
        return yellow;
    return darkGreen;
}

// Moreland's diverging cool-warm map in 32 steps; the last entry is repeated so that x = 1 still
// finds a pair to interpolate.
constexpr std::array<Rgb, 34> coolWarmTable{{
    {0.2314F, 0.2980F, 0.7529F}, {0.2667F, 0.3529F, 0.8000F}, {0.3020F, 0.4078F, 0.8431F}, {0.3412F, 0.4588F, 0.8824F},
    {0.3843F, 0.5098F, 0.9176F}, {0.4235F, 0.5569F, 0.9451F}, {0.4667F, 0.6039F, 0.9686F}, {0.5098F, 0.6471F, 0.9843F},
    {0.5529F, 0.6902F, 0.9961F}, {0.5961F, 0.7255F, 1.0000F}, {0.6392F, 0.7608F, 1.0000F}, {0.6824F, 0.7882F, 0.9922F},
    {0.7216F, 0.8157F, 0.9765F}, {0.7608F, 0.8353F, 0.9569F}, {0.8000F, 0.8510F, 0.9333F}, {0.8353F, 0.8588F, 0.9020F},
    {0.8667F, 0.8667F, 0.8667F}, {0.8980F, 0.8471F, 0.8196F}, {0.9255F, 0.8275F, 0.7725F}, {0.9451F, 0.8000F, 0.7255F},
    {0.9608F, 0.7686F, 0.6784F}, {0.9686F, 0.7333F, 0.6275F}, {0.9686F, 0.6941F, 0.5804F}, {0.9686F, 0.6510F, 0.5294F},
    {0.9569F, 0.6039F, 0.4824F}, {0.9451F, 0.5529F, 0.4353F}, {0.9255F, 0.4980F, 0.3882F}, {0.8980F, 0.4392F, 0.3451F},
    {0.8706F, 0.3765F, 0.3020F}, {0.8353F, 0.3137F, 0.2588F}, {0.7961F, 0.2431F, 0.2196F}, {0.7529F, 0.1569F, 0.1882F},
    {0.7059F, 0.0000F, 0.1490F}, {0.7059F, 0.0000F, 0.1490F},
}};

Rgb coolWarm(float x)
{
    const float t = 32 * x;
    const auto i = static_cast<std::size_t>(std::floor(t));
    const float f = t - static_cast<float>(i);
    const Rgb& a = coolWarmTable[i];
    const Rgb& b = coolWarmTable[i + 1];
    return {a.r + (b.r - a.r) * f, a.g + (b.g - a.g) * f, a.b + (b.b - a.b) * f};
}

// Green's cubehelix: a helix around the grey diagonal of the RGB cube.
Rgb cubeHelix(float angle, float saturation, float lightness)
{
    const float a = saturation * lightness * (1 - lightness);
    const float h = angle + pi / 2;
    const float cosH = std::cos(h);
    const float sinH = std::sin(h);
    return {lightness + a * (1.78277F * sinH - 0.14861F * cosH), lightness - a * (0.29227F * cosH + 0.90649F * sinH),
            lightness + a * 1.97294F * cosH};
}

Rgb cubeHelixDefault(float x)
{
    const float start = 300.0F / 180 * pi;
    const float end = -240.0F / 180 * pi;
    return cubeHelix(start + (end - start) * x, 0.5F, x);
}

Rgb cubeHelixRainbow(float x)
{
    const float xs = std::abs(x - 0.5F);
    return cubeHelix((360 * x - 100) / 180 * pi, 1.5F - 1.5F * xs, 0.8F - 0.9F * xs);
}

Rgb turbo(float x)
{
    const float x2 = x * x;
    const float x3 = x2 * x;
    const float x4 = x3 * x;
    const float x5 = x4 * x;
    const auto channel = [&](const std::array<float, 6>& c) {
        return c[0] + c[1] * x + c[2] * x2 + c[3] * x3 + c[4] * x4 + c[5] * x5;
    };
    return {channel({0.13572138F, 4.61539260F, -42.66032258F, 132.13108234F, -152.94239396F, 59.28637943F}),
            channel({0.09140261F, 2.19418839F, 4.84296658F, -14.18503333F, 4.27729857F, 2.82956604F}),
            channel({0.10667330F, 12.64194608F, -60.58204836F, 110.36276771F, -89.90310912F, 27.34824973F})};
}

// Degree-6 fits of the matplotlib perceptual maps, coefficients c0..c6 per channel.
using Polynomial = std::array<Rgb, 7>;

Rgb horner(const Polynomial& c, float x)
{
    Rgb result = c[6];
    for (std::size_t i = 6; i-- > 0;)
        result = {c[i].r + x * result.r, c[i].g + x * result.g, c[i].b + x * result.b};
    return result;
}

constexpr Polynomial infernoCoefficients{{
    {0.0002189403691192265F, 0.001651004631001012F, -0.01948089843709184F},
    {0.1065134194856116F, 0.5639564367884091F, 3.932712388889277F},
    {11.60249308247187F, -3.972853965665698F, -15.9423941062914F},
    {-41.70399613139459F, 17.43639888205313F, 44.35414519872813F},
    {77.162935699427F, -33.40235894210092F, -81.80730925738993F},
    {-71.31942824499214F, 32.62606426397723F, 73.20951985803202F},
    {25.13112622477341F, -12.24266895238567F, -23.07032500287172F},
}};

constexpr Polynomial magmaCoefficients{{
    {-0.002136485053939582F, -0.000749655052795221F, -0.005386127855323933F},
    {0.2516605407371642F, 0.6775232436837668F, 2.494026599312351F},
    {8.353717279216625F, -3.577719514958484F, 0.3144679030132573F},
    {-27.66873308576866F, 14.26473078096533F, -13.64921318813922F},
    {52.17613981234068F, -27.94360607168351F, 12.94416944238394F},
    {-50.76852536473588F, 29.04658282127291F, 4.23415299384598F},
    {18.65570506591883F, -11.48977351997711F, -5.601961508734096F},
}};

constexpr Polynomial viridisCoefficients{{
    {0.2777273272234177F, 0.005407344544966578F, 0.3340998053353061F},
    {0.1050930431085774F, 1.404613529898575F, 1.384590162594685F},
    {-0.3308618287255563F, 0.214847559468213F, 0.09509516302823659F},
    {-4.634230498983486F, -5.799100973351585F, -19.33244095627987F},
    {6.228269936347081F, 14.17993336680509F, 56.69055260068105F},
    {4.776384997670288F, -13.74514537774601F, -65.35303263337234F},
    {-5.435455855934631F, 4.645852612178535F, 26.3124352495832F},
}};

constexpr Polynomial plasmaCoefficients{{
    {0.05873234392399702F, 0.02333670892565664F, 0.5433401826748754F},
    {2.176514634195958F, 0.2383834171260182F, 0.7539604599784036F},
    {-2.689460476458034F, -7.455851135738909F, 3.110799939717086F},
    {6.130348345893603F, 42.3461881477227F, -28.51885465332158F},
    {-11.10743619062271F, -82.66631109428045F, 60.13984767418263F},
    {10.02306557647065F, 71.41361770095349F, -54.07218655560067F},
    {-3.658713842777788F, -22.93153465461149F, 18.19190778539828F},
}};

std::uint8_t toByte(float unit)
{
    // NaN input (and so NaN output) must not reach the conversion.
    if (!(unit > 0.0F))
        return 0;
    return static_cast<std::uint8_t>(std::lround(std::min(unit, 1.0F) * 255.0F));
}

} // namespace

Spectrum::Spectrum(SpectrumNames name) : Spectrum(name, Limits{}) {}

Spectrum::Spectrum(SpectrumNames name, const Limits& limits) : mName(name), mLimits(limits)
{
    if (name < Gray || name > CubeHelixRainbow)
        throw std::invalid_argument("Unknown spectrum number " + std::to_string(static_cast<int>(name)));
}

Spectrum::Rgb Spectrum::operator()(float input) const
{
    if (mName == Gray)
        return {input, input, input};
    const float x = saturate(input);
    switch (mName) {
    case Gray: break;
    case Jet: return jet(x);
    case Bone: return bone(x);
    case Hot: return hot(x);
    case Thermo: return thermo(x);
    case Hsv: return hsv(x);
    case BlueGreenRed: return blueGreenRed(x);
    case CubeHelix: return cubeHelixDefault(x);
    case Turbo: return turbo(x);
    case Inferno: return horner(infernoCoefficients, x);
    case Plasma: return horner(plasmaCoefficients, x);
    case Magma: return horner(magmaCoefficients, x);
    case Viridis: return horner(viridisCoefficients, x);
    case RedWhiteBlue: return redWhiteBlue(x);
    case LevelOfAccuracy: return accuracyClass(x, 150.0F, {1.0F, 5.0F, 15.0F, 50.0F});
    case PassFail: return passFail(x, mLimits);
    case TrafficLight: return trafficLight(x, mLimits);
    case CoolWarm: return coolWarm(x);
    case LevelOfAccuracyImperial: return accuracyClass(x, 96.0F, {1.0F, 4.0F, 10.0F, 32.0F});
    case CubeHelixRainbow: return cubeHelixRainbow(x);
    }
    return turbo(x);
}

Color Spectrum::color(float x) const
{
    const Rgb rgb = (*this)(x);
    return {toByte(rgb.r), toByte(rgb.g), toByte(rgb.b), 255};
}

} // namespace Math
