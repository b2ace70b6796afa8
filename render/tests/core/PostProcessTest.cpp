// The post-processing modes, seen through whole frames of a Renderer: a test renderable draws a
// known colour and known world positions into the left half of the scene pass and nothing into
// the right half; the finished picture is read back.
#include <lumaro/render/core/PostProcess.h>
#include <lumaro/render/core/Renderer.h>

#include <lumaro/graphics/ColorImage.h>

#include "../gpu/TestDevice.h"

#include <d3dcompiler.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>

namespace {

using Render::ComPtr;
using Render::RenderMode;

// Left half (x < 4) drawn with colour (0.2, 0.4, 0.6) and world position (x, y, x) at pixel (x, y),
// a plane rising along x; the right half left empty.
constexpr const char* patternShader = R"(
float4 vs_main(uint id : SV_VertexID) : SV_POSITION
{
    float2 uv = float2((id >> 1) & 1, id & 1);
    return float4(uv * 2.0 - 1.0, 0.5, 1.0);
}

struct Targets {
    float4 color : SV_TARGET0;
    float4 world : SV_TARGET1;
    float4 exact : SV_TARGET2;
};

Targets ps_main(float4 position : SV_POSITION)
{
    if (position.x > 4.0)
        discard;
    float2 pixel = floor(position.xy);
    Targets result;
    result.color = float4(0.2, 0.4, 0.6, 1.0);
    result.world = float4(pixel.x, pixel.y, pixel.x, 1.0);
    result.exact = result.world;
    return result;
}
)";

std::string compile(const char* entry, const char* profile)
{
    ComPtr<ID3DBlob> code;
    ComPtr<ID3DBlob> errors;
    const HRESULT result = D3DCompile(patternShader, std::strlen(patternShader), "pattern", nullptr, nullptr, entry,
                                      profile, 0, 0, &code, &errors);
    if (FAILED(result))
        throw std::runtime_error(errors ? static_cast<const char*>(errors->GetBufferPointer()) : "D3DCompile failed");
    return std::string(static_cast<const char*>(code->GetBufferPointer()), code->GetBufferSize());
}

class PatternRenderable : public Render::Renderable {
public:
    PatternRenderable() : Renderable("pattern") {}

    void init(std::size_t, std::shared_ptr<Render::Camera>, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override
    {
        context_ = context;
        const std::string vertexCode = compile("vs_main", "vs_5_0");
        const std::string pixelCode = compile("ps_main", "ps_5_0");
        Render::throwIfFailed(device->CreateVertexShader(vertexCode.data(), vertexCode.size(), nullptr, &vertexShader_));
        Render::throwIfFailed(device->CreatePixelShader(pixelCode.data(), pixelCode.size(), nullptr, &pixelShader_));
    }

    void render() override
    {
        ID3D11DeviceContext* context = context_.Get();
        context->IASetInputLayout(nullptr);
        context->VSSetShader(vertexShader_.Get(), nullptr, 0);
        context->PSSetShader(pixelShader_.Get(), nullptr, 0);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
        context->Draw(4, 0);
        context->VSSetShader(nullptr, nullptr, 0);
        context->PSSetShader(nullptr, nullptr, 0);
        Renderable::render();
    }

    Math::NBoundingBox<float, 3> boundingBox() override
    {
        return {Math::Point<float, 3>(0, 0, 0), Math::Point<float, 3>(4, 4, 4)};
    }

private:
    ComPtr<ID3D11DeviceContext> context_;
    ComPtr<ID3D11VertexShader> vertexShader_;
    ComPtr<ID3D11PixelShader> pixelShader_;
};

struct Rgba {
    int r, g, b, a;
};

std::ostream& operator<<(std::ostream& stream, const Rgba& c)
{
    return stream << "(" << c.r << ", " << c.g << ", " << c.b << ", " << c.a << ")";
}

// Channel values from 0..1 to bytes, as UNORM conversion does; exact halves may go either way.
Rgba bytes(double r, double g, double b, double a)
{
    return {int(std::lround(r * 255)), int(std::lround(g * 255)), int(std::lround(b * 255)),
            int(std::lround(a * 255))};
}

void expectColor(const Math::Color& actual, const Rgba& expected, const std::string& where)
{
    const Rgba got{actual.r(), actual.g(), actual.b(), actual.a()};
    const bool close = std::abs(got.r - expected.r) <= 1 && std::abs(got.g - expected.g) <= 1 &&
                       std::abs(got.b - expected.b) <= 1 && std::abs(got.a - expected.a) <= 1;
    EXPECT_TRUE(close) << where << ": got " << got << ", expected " << expected;
}

class PostProcessFrames : public ::testing::Test {
protected:
    PostProcessFrames()
    {
        renderer.setViewport(8, 4);
        renderer.setBackgroundColor(10, 20, 30, 255);
        renderer.setScene(std::make_shared<PatternRenderable>());
    }

    // The finished picture at a drawn pixel (2, 2) and an empty one (6, 2).
    std::pair<Math::Color, Math::Color> frame()
    {
        renderer.render();
        Graphics::ColorImage image;
        renderer.getColorImage(image);
        EXPECT_EQ(image.width(), 8u);
        EXPECT_EQ(image.height(), 4u);
        return {image.at(2, 2), image.at(6, 2)};
    }

    Render::Renderer renderer{false};
    const Rgba background{10, 20, 30, 255};
    const Rgba sceneColor = bytes(0.2, 0.4, 0.6, 1.0);
};

TEST_F(PostProcessFrames, DefaultModeAppliesBrightnessAndContrastToDrawnPixelsOnly)
{
    auto [drawn, empty] = frame();
    expectColor(drawn, sceneColor, "unadjusted");
    expectColor(empty, background, "clear colour");

    // contrast · (c + brightness − 0.5) + 0.5 with 0.05 and 2: 2c − 0.4.
    renderer.setBrightness(0.05f);
    renderer.setContrast(2.0f);
    std::tie(drawn, empty) = frame();
    expectColor(drawn, bytes(0.0, 0.4, 0.8, 1.0), "adjusted");
    expectColor(empty, background, "clear colour is not adjusted");
}

TEST_F(PostProcessFrames, TomographicLooks)
{
    renderer.setRenderMode(RenderMode::TomographicDark);
    auto [drawn, empty] = frame();
    // rgb = 1 − c = (0.8, 0.6, 0.4), alpha = 1 − mean = 0.4; colour 1 − 2 · (1 − rgb), alpha 2 · 0.4.
    expectColor(drawn, bytes(0.6, 0.2, 0.0, 0.8), "dark contours");
    expectColor(empty, {255, 255, 255, 0}, "dark contours, empty");

    renderer.setRenderMode(RenderMode::TomographicBright);
    std::tie(drawn, empty) = frame();
    // 2c clamped = (0.4, 0.8, 1.0); alpha 2 · mean(c) = 0.8.
    expectColor(drawn, bytes(0.4, 0.8, 1.0, 0.8), "bright contours");
    expectColor(empty, {0, 0, 0, 0}, "bright contours, empty");
}

TEST_F(PostProcessFrames, NormalModeShadesByTheNormalOfTheWorldPositions)
{
    renderer.setRenderMode(RenderMode::Normal);
    auto [drawn, empty] = frame();
    // p(x, y) = (x, y, x): p − p_left = (1, 0, 1), p − p_top = (0, 1, 0); their cross product
    // (−1, 0, 1) normalised, mapped from −1..1 to 0..1.
    const double half = 0.5 / std::sqrt(2.0);
    expectColor(drawn, bytes(0.5 - half, 0.5, 0.5 + half, 1.0), "normal");
    expectColor(empty, background, "normal, empty");
}

TEST_F(PostProcessFrames, ColouringModesOfThePointShaderPassTheSceneThrough)
{
    renderer.setBrightness(0.05f);
    renderer.setContrast(2.0f);
    for (const RenderMode mode : {RenderMode::PlaneDistance, RenderMode::Intensity, RenderMode::UniformColor,
                                  RenderMode::MeshDistance}) {
        renderer.setRenderMode(mode);
        const auto [drawn, empty] = frame();
        const std::string name = "mode " + std::to_string(static_cast<int>(mode));
        expectColor(drawn, sceneColor, name);
        expectColor(empty, background, name + ", empty");
    }
}

TEST_F(PostProcessFrames, OpacityHalvesEveryAlpha)
{
    renderer.setOpacity(0.5f);
    auto [drawn, empty] = frame();
    expectColor(drawn, {sceneColor.r, sceneColor.g, sceneColor.b, 128}, "default");
    expectColor(empty, {10, 20, 30, 128}, "default, empty");

    renderer.setRenderMode(RenderMode::TomographicDark);
    std::tie(drawn, empty) = frame();
    expectColor(drawn, bytes(0.6, 0.2, 0.0, 0.4), "dark contours");
    expectColor(empty, {255, 255, 255, 0}, "dark contours, empty");
}

TEST_F(PostProcessFrames, ChangedConstantsReachTheNextFrameAndRepeatedFramesAreStable)
{
    renderer.setBrightness(0.05f);
    renderer.setContrast(2.0f);
    const Rgba adjusted = bytes(0.0, 0.4, 0.8, 1.0);
    for (int repeat = 0; repeat < 3; ++repeat)
        expectColor(frame().first, adjusted, "frame " + std::to_string(repeat));
    renderer.setContrast(1.0f);
    // c + 0.05: (0.25, 0.45, 0.65).
    expectColor(frame().first, bytes(0.25, 0.45, 0.65, 1.0), "after the change");
}

TEST(PostProcess, StoresItsSettingsAsShaderConstants)
{
    Render::PostProcess stage;
    const Render::PostProcess::Constants initial = stage.constants();
    EXPECT_EQ(initial.width, 640.0f);
    EXPECT_EQ(initial.height, 480.0f);
    EXPECT_EQ(initial.brightness, 0.0f);
    EXPECT_EQ(initial.contrast, 1.0f);
    EXPECT_EQ(initial.backgroundColor, (std::array<float, 4>{1, 1, 1, 1}));
    EXPECT_EQ(initial.opacity, 1.0f);
    EXPECT_EQ(initial.renderMode, 0);

    stage.setViewport(Render::Viewport(320, 200));
    stage.setBackgroundColor(Math::Color(255, 0, 51, 102));
    stage.setRenderMode(RenderMode::Normal);
    stage.setOpacity(0.25f);
    const Render::PostProcess::Constants& changed = stage.constants();
    EXPECT_EQ(changed.width, 320.0f);
    EXPECT_EQ(changed.height, 200.0f);
    EXPECT_EQ(changed.backgroundColor, (std::array<float, 4>{1.0f, 0.0f, 0.2f, 0.4f}));
    EXPECT_EQ(changed.renderMode, 3);
    EXPECT_EQ(stage.renderMode(), RenderMode::Normal);
    EXPECT_EQ(stage.opacity(), 0.25f);
}

class PostProcessDraw : public Render::Testing::GpuTest {};

TEST_F(PostProcessDraw, UploadsConstantsOnlyAfterAChangeAndLeavesNothingBound)
{
    Render::PostProcess stage(gpu.devicePtr());
    ID3D11DeviceContext* context = gpu.context();
    EXPECT_TRUE(stage.constantsDirty());
    stage.draw(context);
    EXPECT_FALSE(stage.constantsDirty());
    stage.draw(context);
    EXPECT_FALSE(stage.constantsDirty()) << "nothing changed, nothing to upload";

    stage.setContrast(2.0f);
    EXPECT_TRUE(stage.constantsDirty());
    stage.draw(context);
    EXPECT_FALSE(stage.constantsDirty());

    ComPtr<ID3D11Buffer> constants;
    context->PSGetConstantBuffers(0, 1, &constants);
    EXPECT_EQ(constants, nullptr);
    ComPtr<ID3D11VertexShader> vertexShader;
    context->VSGetShader(&vertexShader, nullptr, nullptr);
    EXPECT_EQ(vertexShader, nullptr);
    ComPtr<ID3D11PixelShader> pixelShader;
    context->PSGetShader(&pixelShader, nullptr, nullptr);
    EXPECT_EQ(pixelShader, nullptr);
}

} // namespace
