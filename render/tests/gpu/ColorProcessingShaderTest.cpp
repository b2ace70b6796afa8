// The colour library evaluated on the GPU: a test shader that includes
// "shaders/colorprocessing.hlsl" writes one result per pixel of a float render target, and each
// result is compared with the math library's twin of the map or with a value worked out by hand.

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>
#include <lumaro/math/Spectrum.h>

#include <lumaro/testsupport/render/HlslTestSupport.h>
#include <lumaro/testsupport/render/TestDevice.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
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

Check call(Function function, std::array<float, 4> a, Color expected, std::array<float, 4> b = {},
           std::int32_t colorMap = 0, double tolerance = 1e-5)
{
    Case input;
    input.a = a;
    input.b = b;
    input.c = {static_cast<std::int32_t>(function), colorMap, 0, 0};
    return {"function " + std::to_string(static_cast<int>(function)) + " at " + std::to_string(a[0]), input, expected,
            tolerance};
}

// Runs the probe over the checks and compares every channel.
class ColorProbe {
public:
    explicit ColorProbe(const Render::Testing::TestDevice& gpu) : mGpu(gpu)
    {
        using namespace Render::Testing;
        mVertex =
            Render::VertexShader::fromCsoString(gpu.devicePtr(), compiledOrThrow(probeSource, "vs_main", "vs_5_0"), {});
        mPixel = Render::PixelShader::fromCsoString(gpu.devicePtr(), compiledOrThrow(probeSource, "ps_main", "ps_5_0"));
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
        std::vector<Case> cases(maxCases);
        for (std::size_t i = 0; i < checks.size(); ++i)
            cases[i] = checks[i].input;
        D3D11_BUFFER_DESC bufferDesc{};
        bufferDesc.ByteWidth = static_cast<UINT>(cases.size() * sizeof(Case));
        bufferDesc.Usage = D3D11_USAGE_IMMUTABLE;
        bufferDesc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
        const D3D11_SUBRESOURCE_DATA initial{cases.data(), 0, 0};
        Render::ComPtr<ID3D11Buffer> buffer;
        Render::throwIfFailed(mGpu.device()->CreateBuffer(&bufferDesc, &initial, &buffer));
        return mGpu.drawIntoFloatTargets(static_cast<unsigned>(checks.size()), 1, [&](ID3D11DeviceContext* context) {
            context->PSSetConstantBuffers(0, 1, buffer.GetAddressOf());
            context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
            mVertex.begin(context);
            mPixel.begin(context);
            context->Draw(3, 0);
            mPixel.end(context);
            mVertex.end(context);
        })[0];
    }

    const Render::Testing::TestDevice& mGpu;
    Render::VertexShader mVertex;
    Render::PixelShader mPixel;
};

class ColorProcessingShader : public GpuTest {
protected:
    ColorProbe probe{gpu};
};

// Inputs from below 0 to above 1, none on a band edge of the banded maps.
std::vector<float> sampleInputs()
{
    std::vector<float> inputs;
    for (int i = 0; i < 97; ++i)
        inputs.push_back(-0.25f + 1.5f * (static_cast<float>(i) + 0.5f) / 97.0f);
    return inputs;
}

// Each map of the shader library against its CPU twin in the math library, whose values are worked
// out by hand in its own tests. Unknown map numbers must fall back to Turbo, as spectrumName does.
TEST_F(ColorProcessingShader, EveryMapAgreesWithItsCpuTwin)
{
    const Math::Spectrum::Limits limits{0.2f, 0.8f, 0.35f, 0.65f};
    const std::array<float, 4> bands{limits.minPassFail, limits.maxPassFail, limits.minWarn, limits.maxWarn};
    const auto checksOf = [&](Function function, std::int32_t colorMap, Math::Spectrum::SpectrumNames name) {
        const Math::Spectrum spectrum(name, limits);
        std::vector<Check> checks;
        for (const float x : sampleInputs()) {
            const Math::Spectrum::Rgb rgb = spectrum(x);
            checks.push_back(call(function, {x, 0, 0, 0}, {rgb.r, rgb.g, rgb.b, 1}, bands, colorMap, 2e-4));
            checks.back().label += " (map " + std::to_string(colorMap) + ")";
        }
        return checks;
    };
    for (std::int32_t number = -1; number <= 14; ++number) {
        SCOPED_TRACE("colour map " + std::to_string(number));
        probe.verify(checksOf(Function::Colorize, number, Render::spectrumName(static_cast<ColorMap>(number))));
    }
    const std::pair<Function, Math::Spectrum::SpectrumNames> others[] = {
        {Function::Jet, Math::Spectrum::Jet},
        {Function::BlueGreenRed, Math::Spectrum::BlueGreenRed},
        {Function::Hot, Math::Spectrum::Hot},
        {Function::Thermo, Math::Spectrum::Thermo},
        {Function::Hsv, Math::Spectrum::Hsv},
        {Function::CubeHelixDefault, Math::Spectrum::CubeHelix},
        {Function::CubeHelixRainbow, Math::Spectrum::CubeHelixRainbow},
    };
    for (const auto& [function, name] : others) {
        SCOPED_TRACE("spectrum " + std::to_string(name));
        probe.verify(checksOf(function, 0, name));
    }
}

TEST_F(ColorProcessingShader, DistanceNormalAndBrightnessHelpers)
{
    const std::array<float, 4> defaultBands{-0.5f, 0.5f, -0.25f, 0.25f};
    const auto passFail = static_cast<std::int32_t>(ColorMap::PassFail);
    const auto trafficLight = static_cast<std::int32_t>(ColorMap::TrafficLight);
    const auto gray = static_cast<std::int32_t>(ColorMap::Gray);
    const Color red{1, 0, 0, 1}, darkGreen{0, 0.5, 0, 1}, yellow{1, 1, 0, 1};
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
