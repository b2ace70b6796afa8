// The colour library evaluated on the GPU: a test shader that includes
// "shaders/colorprocessing.hlsl" writes one result per pixel of a float render target, and each
// result is compared with a value worked out here from the formulas and tables of the maps.

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>

#include "HlslTestSupport.h"
#include "TestDevice.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Render::ColorMap;
using Render::Testing::GpuTest;
using Color = std::array<double, 4>;

// What the probe shader calls for a case.
enum class Function : std::int32_t {
    Colorize = 0,
    Jet,
    BlueGreenRed,
    Hot,
    Thermo,
    Hsv,
    CubeHelixDefault,
    CubeHelixRainbow,
    AdjustBrightnessContrast,
    ColorizeByNormal,
    ColorizeByDistance,
    PlaneDistance,
    NormalizeInRange,
    CubeHelix,
};

constexpr unsigned maxCases = 128;

const char* const probeSource = R"(
#include "shaders/colorprocessing.hlsl"

struct Case {
    float4 a; // the value (x, or a colour, a position, a distance with its range)
    float4 b; // limits, a plane, or brightness and contrast
    int4 c;   // function, colour map
};
cbuffer Cases : register(b0)
{
    Case cases[128];
};

float4 vs_main(uint id : SV_VertexID) : SV_Position
{
    float2 corner = float2((id << 1) & 2, id & 2);
    return float4(corner * float2(2.0, -2.0) + float2(-1.0, 1.0), 0.0, 1.0);
}

float4 evaluate(Case t)
{
    int f = t.c.x;
    if (f == 0) return colorize(t.c.y, t.a.x, t.b.x, t.b.y, t.b.z, t.b.w);
    if (f == 1) return jet(t.a.x);
    if (f == 2) return blue_green_red(t.a.x);
    if (f == 3) return hot(t.a.x);
    if (f == 4) return thermo(t.a.x);
    if (f == 5) return hsv(t.a.x);
    if (f == 6) return cubeHelixDefault(t.a.x);
    if (f == 7) return cubeHelixRainbow(t.a.x);
    if (f == 8) return adjustBrightnessContrast(t.a, t.b.x, t.b.y);
    if (f == 9) return colorizeByNormal(t.a.xyz);
    if (f == 10) return colorizeByDistance(t.a.x, t.a.y, t.a.z, t.c.y, t.b.x, t.b.y, t.b.z, t.b.w);
    if (f == 11) return float4(planeDistance(t.a.xyz, t.b), 0.0, 0.0, 1.0);
    if (f == 12) return float4(normalizeInRange(t.a.x, t.a.y, t.a.z), 0.0, 0.0, 1.0);
    if (f == 13) return cubeHelix(t.a.xyz);
    return float4(-7.0, -7.0, -7.0, -7.0);
}

float4 ps_main(float4 position : SV_Position) : SV_Target
{
    return evaluate(cases[(int)position.x]);
}
)";

// Mirrors `Case` of the probe: three 16-byte registers.
struct Case {
    std::array<float, 4> a{};
    std::array<float, 4> b{};
    std::array<std::int32_t, 4> c{};
};
static_assert(sizeof(Case) == 48);

struct Check {
    std::string label;
    Case input;
    Color expected;
    double tolerance = 1e-5;
};

Check map(ColorMap colorMap, float x, Color expected, double tolerance = 1e-5)
{
    Case input;
    input.a = {x, 0, 0, 0};
    input.c = {0, static_cast<std::int32_t>(colorMap), 0, 0};
    return {"map " + std::to_string(static_cast<int>(colorMap)) + " at " + std::to_string(x), input, expected,
            tolerance};
}

Check banded(ColorMap colorMap, float x, std::array<float, 4> limits, Color expected)
{
    Check check = map(colorMap, x, expected);
    check.input.b = limits;
    return check;
}

Check call(Function function, std::array<float, 4> a, Color expected, std::array<float, 4> b = {},
           std::int32_t colorMap = 0, double tolerance = 1e-5)
{
    Case input;
    input.a = a;
    input.b = b;
    input.c = {static_cast<std::int32_t>(function), colorMap, 0, 0};
    return {"function " + std::to_string(static_cast<int>(function)) + " at " + std::to_string(a[0]), input,
            expected, tolerance};
}

Check call(Function function, float x, Color expected, double tolerance = 1e-5)
{
    return call(function, {x, 0, 0, 0}, expected, {}, 0, tolerance);
}

// Runs the probe over the checks and compares every channel.
class ColorProbe {
public:
    explicit ColorProbe(const Render::Testing::TestDevice& gpu) : gpu_(gpu)
    {
        using namespace Render::Testing;
        vertex_ = Render::VertexShader::fromCsoString(gpu.devicePtr(),
                                                      compiledOrThrow(probeSource, "vs_main", "vs_5_0"), {});
        pixel_ = Render::PixelShader::fromCsoString(gpu.devicePtr(), compiledOrThrow(probeSource, "ps_main", "ps_5_0"));
    }

    void verify(const std::vector<Check>& checks) const
    {
        ASSERT_LE(checks.size(), maxCases);
        const std::vector<std::array<float, 4>> results = run(checks);
        for (std::size_t i = 0; i < checks.size(); ++i)
            for (int channel = 0; channel < 4; ++channel)
                EXPECT_NEAR(results[i][channel], checks[i].expected[channel], checks[i].tolerance)
                    << checks[i].label << ", channel " << channel;
    }

private:
    std::vector<std::array<float, 4>> run(const std::vector<Check>& checks) const
    {
        using Render::throwIfFailed;
        ID3D11Device* device = gpu_.device();
        ID3D11DeviceContext* context = gpu_.context();

        std::vector<Case> cases(maxCases);
        for (std::size_t i = 0; i < checks.size(); ++i)
            cases[i] = checks[i].input;
        D3D11_BUFFER_DESC bufferDesc{};
        bufferDesc.ByteWidth = static_cast<UINT>(cases.size() * sizeof(Case));
        bufferDesc.Usage = D3D11_USAGE_IMMUTABLE;
        bufferDesc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
        const D3D11_SUBRESOURCE_DATA initial{cases.data(), 0, 0};
        Render::ComPtr<ID3D11Buffer> buffer;
        throwIfFailed(device->CreateBuffer(&bufferDesc, &initial, &buffer));

        const auto width = static_cast<UINT>(checks.size());
        D3D11_TEXTURE2D_DESC targetDesc{};
        targetDesc.Width = width;
        targetDesc.Height = 1;
        targetDesc.MipLevels = 1;
        targetDesc.ArraySize = 1;
        targetDesc.Format = DXGI_FORMAT_R32G32B32A32_FLOAT;
        targetDesc.SampleDesc.Count = 1;
        targetDesc.Usage = D3D11_USAGE_DEFAULT;
        targetDesc.BindFlags = D3D11_BIND_RENDER_TARGET;
        Render::ComPtr<ID3D11Texture2D> target;
        throwIfFailed(device->CreateTexture2D(&targetDesc, nullptr, &target));
        Render::ComPtr<ID3D11RenderTargetView> view;
        throwIfFailed(device->CreateRenderTargetView(target.Get(), nullptr, &view));

        const D3D11_VIEWPORT viewport{0.0f, 0.0f, static_cast<float>(width), 1.0f, 0.0f, 1.0f};
        context->RSSetViewports(1, &viewport);
        context->OMSetRenderTargets(1, view.GetAddressOf(), nullptr);
        context->PSSetConstantBuffers(0, 1, buffer.GetAddressOf());
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
        vertex_.begin(context);
        pixel_.begin(context);
        context->Draw(3, 0);
        pixel_.end(context);
        vertex_.end(context);
        context->OMSetRenderTargets(0, nullptr, nullptr);

        const std::vector<std::uint8_t> bytes = gpu_.readBack(target.Get(), 16);
        std::vector<std::array<float, 4>> results(width);
        std::memcpy(results.data(), bytes.data(), bytes.size());
        return results;
    }

    const Render::Testing::TestDevice& gpu_;
    Render::VertexShader vertex_;
    Render::PixelShader pixel_;
};

// The polynomial maps, written out as sums of c_k x^k from their coefficient tables.
using Coefficients = std::vector<std::array<double, 3>>;

const Coefficients turboCoefficients{
    {0.13572138, 0.09140261, 0.10667330},       {4.61539260, 2.19418839, 12.64194608},
    {-42.66032258, 4.84296658, -60.58204836},   {132.13108234, -14.18503333, 110.36276771},
    {-152.94239396, 4.27729857, -89.90310912},  {59.28637943, 2.82956604, 27.34824973},
};
const Coefficients infernoCoefficients{
    {0.0002189403691192265, 0.001651004631001012, -0.01948089843709184},
    {0.1065134194856116, 0.5639564367884091, 3.932712388889277},
    {11.60249308247187, -3.972853965665698, -15.9423941062914},
    {-41.70399613139459, 17.43639888205313, 44.35414519872813},
    {77.162935699427, -33.40235894210092, -81.80730925738993},
    {-71.31942824499214, 32.62606426397723, 73.20951985803202},
    {25.13112622477341, -12.24266895238567, -23.07032500287172},
};
const Coefficients magmaCoefficients{
    {-0.002136485053939582, -0.000749655052795221, -0.005386127855323933},
    {0.2516605407371642, 0.6775232436837668, 2.494026599312351},
    {8.353717279216625, -3.577719514958484, 0.3144679030132573},
    {-27.66873308576866, 14.26473078096533, -13.64921318813922},
    {52.17613981234068, -27.94360607168351, 12.94416944238394},
    {-50.76852536473588, 29.04658282127291, 4.23415299384598},
    {18.65570506591883, -11.48977351997711, -5.601961508734096},
};
const Coefficients viridisCoefficients{
    {0.2777273272234177, 0.005407344544966578, 0.3340998053353061},
    {0.1050930431085774, 1.404613529898575, 1.384590162594685},
    {-0.3308618287255563, 0.214847559468213, 0.09509516302823659},
    {-4.634230498983486, -5.799100973351585, -19.33244095627987},
    {6.228269936347081, 14.17993336680509, 56.69055260068105},
    {4.776384997670288, -13.74514537774601, -65.35303263337234},
    {-5.435455855934631, 4.645852612178535, 26.3124352495832},
};
const Coefficients plasmaCoefficients{
    {0.05873234392399702, 0.02333670892565664, 0.5433401826748754},
    {2.176514634195958, 0.2383834171260182, 0.7539604599784036},
    {-2.689460476458034, -7.455851135738909, 3.110799939717086},
    {6.130348345893603, 42.3461881477227, -28.51885465332158},
    {-11.10743619062271, -82.66631109428045, 60.13984767418263},
    {10.02306557647065, 71.41361770095349, -54.07218655560067},
    {-3.658713842777788, -22.93153465461149, 18.19190778539828},
};

Color polynomial(const Coefficients& coefficients, double x)
{
    Color color{0, 0, 0, 1};
    for (std::size_t k = 0; k < coefficients.size(); ++k)
        for (int channel = 0; channel < 3; ++channel)
            color[channel] += coefficients[k][channel] * std::pow(x, static_cast<double>(k));
    return color;
}

// Cubehelix written from its definition: angle, saturation, lightness.
Color cubeHelix(double angle, double saturation, double lightness)
{
    const double pi = 3.14159265358979;
    const double amplitude = saturation * lightness * (1 - lightness);
    const double h = angle + pi / 2;
    return {lightness + amplitude * (1.78277 * std::sin(h) - 0.14861 * std::cos(h)),
            lightness - amplitude * (0.29227 * std::cos(h) + 0.90649 * std::sin(h)),
            lightness + amplitude * 1.97294 * std::cos(h), 1};
}

const Color red{1, 0, 0, 1};
const Color darkGreen{0, 0.5, 0, 1};
const Color green{0, 1, 0, 1};
const Color yellow{1, 1, 0, 1};
const Color orange{1, 0.5, 0, 1};

class ColorProcessingShader : public GpuTest {
protected:
    ColorProbe probe{gpu};
};

TEST_F(ColorProcessingShader, PolynomialMapsFollowTheirCoefficientTables)
{
    std::vector<Check> checks;
    const std::pair<ColorMap, const Coefficients*> maps[] = {{ColorMap::Turbo, &turboCoefficients},
                                                             {ColorMap::Inferno, &infernoCoefficients},
                                                             {ColorMap::Magma, &magmaCoefficients},
                                                             {ColorMap::Viridis, &viridisCoefficients},
                                                             {ColorMap::Plasma, &plasmaCoefficients}};
    for (const auto& [colorMap, coefficients] : maps) {
        for (const float x : {0.0f, 0.25f, 0.5f, 0.8f, 1.0f})
            checks.push_back(map(colorMap, x, polynomial(*coefficients, x), 2e-4));
        // The input is saturated, the result is not.
        checks.push_back(map(colorMap, -3.0f, polynomial(*coefficients, 0.0), 2e-4));
        checks.push_back(map(colorMap, 4.0f, polynomial(*coefficients, 1.0), 2e-4));
    }
    // Worked by hand: at 0 only c0 remains, and inferno's blue c0 is below zero.
    checks.push_back(map(ColorMap::Turbo, 0.0f, {0.13572138, 0.09140261, 0.10667330, 1}));
    checks.push_back(map(ColorMap::Inferno, 0.0f, {0.0002189403691192265, 0.001651004631001012, -0.01948089843709184, 1}));
    probe.verify(checks);
}

TEST_F(ColorProcessingShader, PiecewiseLinearMapsOfColorize)
{
    probe.verify({
        // gray alone is not clamped.
        map(ColorMap::Gray, 0.25f, {0.25, 0.25, 0.25, 1}),
        map(ColorMap::Gray, 1.5f, {1.5, 1.5, 1.5, 1}),
        map(ColorMap::Gray, -0.5f, {-0.5, -0.5, -0.5, 1}),
        // bone: 7/8 x and 29/24 x below 3/8; the middle green segment; 11/8 x - 3/8 above 3/4.
        map(ColorMap::Bone, 0.2f, {0.175, 0.175, 0.2416667, 1}),
        map(ColorMap::Bone, 0.5f, {0.4375, 0.4791667, 0.5625, 1}),
        map(ColorMap::Bone, 0.8f, {0.725, 0.825, 0.825, 1}),
        map(ColorMap::Bone, 1.0f, {1, 1, 1, 1}),
        map(ColorMap::Bone, 2.0f, {1, 1, 1, 1}),
        // red, white, blue.
        map(ColorMap::RedWhiteBlue, 0.0f, {1, 0, 0, 1}),
        map(ColorMap::RedWhiteBlue, 0.25f, {1, 0.5, 0.5, 1}),
        map(ColorMap::RedWhiteBlue, 0.5f, {1, 1, 1, 1}),
        map(ColorMap::RedWhiteBlue, 0.75f, {0.5, 0.5, 1, 1}),
        map(ColorMap::RedWhiteBlue, 1.0f, {0, 0, 1, 1}),
        map(ColorMap::RedWhiteBlue, -1.0f, {1, 0, 0, 1}),
    });
}

TEST_F(ColorProcessingShader, CoolWarmInterpolatesItsTable)
{
    probe.verify({
        map(ColorMap::CoolWarm, 0.0f, {0.2314, 0.2980, 0.7529, 1}),
        // x = 1 reads the repeated last pair.
        map(ColorMap::CoolWarm, 1.0f, {0.7059, 0.0, 0.1490, 1}),
        map(ColorMap::CoolWarm, 5.0f, {0.7059, 0.0, 0.1490, 1}),
        map(ColorMap::CoolWarm, 0.5f, {0.8667, 0.8667, 0.8667, 1}),
        map(ColorMap::CoolWarm, 0.75f, {0.9569, 0.6039, 0.4824, 1}),
        // Half-way between entries 0 and 1, and between 16 and 17.
        map(ColorMap::CoolWarm, 1.0f / 64.0f, {0.24905, 0.32545, 0.77645, 1}),
        map(ColorMap::CoolWarm, 33.0f / 64.0f, {0.88235, 0.8569, 0.84315, 1}),
        // A quarter of the way from entry 31 to 32.
        map(ColorMap::CoolWarm, 31.25f / 32.0f, {0.74115, 0.117675, 0.1784, 1}),
    });
}

TEST_F(ColorProcessingShader, LevelOfAccuracyClassesStartAtTheirThresholds)
{
    probe.verify({
        map(ColorMap::LevelOfAccuracy, 0.0f, darkGreen),
        map(ColorMap::LevelOfAccuracy, 0.5f / 150.0f, darkGreen),
        map(ColorMap::LevelOfAccuracy, 1.0f / 150.0f, green),
        map(ColorMap::LevelOfAccuracy, 4.9f / 150.0f, green),
        map(ColorMap::LevelOfAccuracy, 5.1f / 150.0f, yellow),
        map(ColorMap::LevelOfAccuracy, 14.9f / 150.0f, yellow),
        map(ColorMap::LevelOfAccuracy, 15.1f / 150.0f, orange),
        map(ColorMap::LevelOfAccuracy, 49.9f / 150.0f, orange),
        map(ColorMap::LevelOfAccuracy, 50.1f / 150.0f, red),
        map(ColorMap::LevelOfAccuracy, 1.0f, red),
        map(ColorMap::LevelOfAccuracy, -1.0f, darkGreen),
        // Sixteenths of an inch over 96.
        map(ColorMap::LevelOfAccuracyImperial, 0.5f / 96.0f, darkGreen),
        map(ColorMap::LevelOfAccuracyImperial, 1.0f / 96.0f, green),
        map(ColorMap::LevelOfAccuracyImperial, 3.9f / 96.0f, green),
        map(ColorMap::LevelOfAccuracyImperial, 4.1f / 96.0f, yellow),
        map(ColorMap::LevelOfAccuracyImperial, 9.9f / 96.0f, yellow),
        map(ColorMap::LevelOfAccuracyImperial, 10.1f / 96.0f, orange),
        map(ColorMap::LevelOfAccuracyImperial, 31.9f / 96.0f, orange),
        map(ColorMap::LevelOfAccuracyImperial, 32.1f / 96.0f, red),
        map(ColorMap::LevelOfAccuracyImperial, 2.0f, red),
    });
}

TEST_F(ColorProcessingShader, PassFailAndTrafficLightBands)
{
    const std::array<float, 4> bands{0.1f, 0.9f, 0.3f, 0.7f};
    probe.verify({
        banded(ColorMap::PassFail, 0.5f, {0.2f, 0.8f, 0, 0}, darkGreen),
        banded(ColorMap::PassFail, 0.9f, {0.2f, 0.8f, 0, 0}, red),
        banded(ColorMap::PassFail, 0.1f, {0.2f, 0.8f, 0, 0}, red),
        banded(ColorMap::PassFail, 0.8f, {0.2f, 0.8f, 0, 0}, darkGreen),
        // x is saturated, the limits are not: -1 becomes 0, inside (-0.5, 0.5); 1.5 becomes 1.
        banded(ColorMap::PassFail, -1.0f, {-0.5f, 0.5f, 0, 0}, darkGreen),
        banded(ColorMap::PassFail, 1.5f, {0.2f, 1.2f, 0, 0}, darkGreen),
        banded(ColorMap::PassFail, 1.5f, {0.2f, 0.99f, 0, 0}, red),
        banded(ColorMap::TrafficLight, 0.25f, bands, yellow),
        banded(ColorMap::TrafficLight, 0.5f, bands, darkGreen),
        banded(ColorMap::TrafficLight, 0.3f, bands, darkGreen),
        banded(ColorMap::TrafficLight, 0.8f, bands, yellow),
        banded(ColorMap::TrafficLight, 0.05f, bands, red),
        banded(ColorMap::TrafficLight, 0.95f, bands, red),
        banded(ColorMap::TrafficLight, 2.0f, bands, red),
        // The other maps ignore the limits.
        banded(ColorMap::Gray, 0.95f, bands, {0.95, 0.95, 0.95, 1}),
    });
}

TEST_F(ColorProcessingShader, UnknownMapNumbersFallBackToTurbo)
{
    const Color turboAt03 = polynomial(turboCoefficients, 0.3);
    probe.verify({
        map(static_cast<ColorMap>(13), 0.3f, turboAt03, 2e-4),
        map(static_cast<ColorMap>(-1), 0.3f, turboAt03, 2e-4),
        map(static_cast<ColorMap>(1000), 0.3f, turboAt03, 2e-4),
    });
}

TEST_F(ColorProcessingShader, MapsOutsideColorize)
{
    probe.verify({
        call(Function::Jet, 0.0f, {0, 0, 0.5, 1}),
        call(Function::Jet, 0.25f, {0, 0.5, 1, 1}),
        call(Function::Jet, 0.5f, {0.5, 1, 0.5, 1}),
        call(Function::Jet, 0.75f, {1, 0.5, 0, 1}),
        call(Function::Jet, 1.0f, {0.5, 0, 0, 1}),
        call(Function::BlueGreenRed, 0.0f, {0, 0, 1, 1}),
        call(Function::BlueGreenRed, 0.25f, {0, 0.5, 0.5, 1}),
        call(Function::BlueGreenRed, 0.75f, {0.5, 0.5, 0, 1}),
        call(Function::BlueGreenRed, 1.0f, {1, 0, 0, 1}),
        call(Function::Hot, 0.2f, {0.6, 0, 0, 1}),
        call(Function::Hot, 0.5f, {1, 0.5, 0, 1}),
        call(Function::Hot, 0.9f, {1, 1, 0.7, 1}),
        call(Function::Thermo, 0.1f, {0.7, 0, 0.7, 1}),
        call(Function::Thermo, 0.2f, {0.6, 0, 1, 1}),
        call(Function::Thermo, 0.35f, {0, 0.45, 1, 1}),
        call(Function::Thermo, 0.5f, {0, 1, 0.5, 1}),
        call(Function::Thermo, 0.65f, {0.55, 1, 0, 1}),
        call(Function::Thermo, 0.8f, {1, 0.4, 0, 1}),
        call(Function::Thermo, 0.95f, {1, 0.65, 0.65, 1}),
        call(Function::Hsv, 0.1f, {1, 0.5, 0, 1}),
        call(Function::Hsv, 0.3f, {0.5, 1, 0, 1}),
        call(Function::Hsv, 0.5f, {0, 1, 0.5, 1}),
        call(Function::Hsv, 0.7f, {0, 0.5, 1, 1}),
        call(Function::Hsv, 0.9f, {0.5, 0, 0.5, 1}),
        // Lightness 0 and 1 leave no room for hue.
        call(Function::CubeHelixDefault, 0.0f, {0, 0, 0, 1}),
        call(Function::CubeHelixDefault, 1.0f, {1, 1, 1, 1}),
        call(Function::CubeHelixDefault, 0.5f, cubeHelix(3.14159265358979 / 6, 0.5, 0.5), 1e-4),
        call(Function::CubeHelixRainbow, 0.5f, cubeHelix(4 * 3.14159265358979 / 9, 1.5, 0.8), 1e-4),
        call(Function::CubeHelixRainbow, 0.0f, cubeHelix(-100.0 / 180 * 3.14159265358979, 0.75, 0.35), 1e-4),
        call(Function::CubeHelix, {1.0f, 2.0f, 0.25f, 0}, cubeHelix(1.0, 2.0, 0.25), {}, 0, 1e-4),
    });
}

TEST_F(ColorProcessingShader, DistanceNormalAndBrightnessHelpers)
{
    const std::array<float, 4> defaultBands{-0.5f, 0.5f, -0.25f, 0.25f};
    const auto passFail = static_cast<std::int32_t>(ColorMap::PassFail);
    const auto trafficLight = static_cast<std::int32_t>(ColorMap::TrafficLight);
    const auto gray = static_cast<std::int32_t>(ColorMap::Gray);
    probe.verify({
        call(Function::AdjustBrightnessContrast, {0.2f, 0.4f, 0.6f, 0.5f}, {0, 0.3, 0.7, 0.5}, {0, 2, 0, 0}),
        call(Function::AdjustBrightnessContrast, {0.2f, 0.4f, 0.6f, 0.5f}, {0.2, 0.4, 0.6, 0.5}, {0, 1, 0, 0}),
        call(Function::AdjustBrightnessContrast, {0.2f, 0.4f, 0.6f, 0.5f}, {0.3, 0.5, 0.7, 0.5}, {0.1f, 1, 0, 0}),
        call(Function::AdjustBrightnessContrast, {0.2f, 0.4f, 0.6f, 0.25f}, {0.8, 1, 1, 0.25}, {0.6f, 1, 0, 0}),
        call(Function::AdjustBrightnessContrast, {0.2f, 0.4f, 0.6f, 1}, {0.5, 0.5, 0.5, 1}, {0, 0, 0, 0}),
        call(Function::ColorizeByNormal, {0, 0, 1, 0}, {0.5, 0.5, 1, 1}),
        call(Function::ColorizeByNormal, {-1, 0.5f, 0, 0}, {0, 0.75, 0.5, 1}),
        call(Function::NormalizeInRange, {5, 2, 10, 0}, {0.375, 0, 0, 1}),
        call(Function::NormalizeInRange, {-1, 2, 10, 0}, {-0.375, 0, 0, 1}),
        call(Function::PlaneDistance, {1, 2, 3, 0}, {5, 0, 0, 1}, {0, 0, 2, -1}),
        call(Function::PlaneDistance, {1, 1, 1, 0}, {10, 0, 0, 1}, {1, 2, 3, 4}),
        call(Function::PlaneDistance, {0, -4, 0, 0}, {-3, 0, 0, 1}, {0, 1, 0, 1}),
        // Distance 0.3 in -1..1 is 0.65; the bands become 0.25..0.75 and 0.375..0.625.
        call(Function::ColorizeByDistance, {0.3f, -1, 1, 0}, darkGreen, defaultBands, passFail),
        call(Function::ColorizeByDistance, {0.3f, -1, 1, 0}, yellow, defaultBands, trafficLight),
        call(Function::ColorizeByDistance, {0.1f, -1, 1, 0}, darkGreen, defaultBands, trafficLight),
        call(Function::ColorizeByDistance, {0.6f, -1, 1, 0}, red, defaultBands, trafficLight),
        call(Function::ColorizeByDistance, {0.3f, -1, 1, 0}, {0.65, 0.65, 0.65, 1}, defaultBands, gray),
        call(Function::ColorizeByDistance, {3, 1, 5, 0}, {0.5, 0.5, 0.5, 1}, defaultBands, gray),
    });
}

} // namespace
