// The post-processing modes, seen through whole frames of a Renderer: a test renderable draws a
// known colour and known world positions into the left half of the scene pass and nothing into
// the right half; the finished picture is read back.
#include <lumaro/render/core/PostProcess.h>
#include <lumaro/render/core/Renderer.h>

#include <lumaro/graphics/ColorImage.h>

#include <lumaro/testsupport/render/HlslTestSupport.h>

#include <gtest/gtest.h>

#include <cmath>
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

class PatternRenderable : public Render::Renderable {
public:
    PatternRenderable() : Renderable("pattern") {}

    void init(std::size_t, std::shared_ptr<Render::Camera>, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override
    {
        mContext = context;
        const std::string vertexCode = Render::Testing::compiledOrThrow(patternShader, "vs_main", "vs_5_0");
        const std::string pixelCode = Render::Testing::compiledOrThrow(patternShader, "ps_main", "ps_5_0");
        Render::throwIfFailed(
            device->CreateVertexShader(vertexCode.data(), vertexCode.size(), nullptr, &mVertexShader));
        Render::throwIfFailed(device->CreatePixelShader(pixelCode.data(), pixelCode.size(), nullptr, &mPixelShader));
    }

    void render() override
    {
        ID3D11DeviceContext* context = mContext.Get();
        context->IASetInputLayout(nullptr);
        context->VSSetShader(mVertexShader.Get(), nullptr, 0);
        context->PSSetShader(mPixelShader.Get(), nullptr, 0);
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
    ComPtr<ID3D11DeviceContext> mContext;
    ComPtr<ID3D11VertexShader> mVertexShader;
    ComPtr<ID3D11PixelShader> mPixelShader;
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
    return {int(std::lround(r * 255)), int(std::lround(g * 255)), int(std::lround(b * 255)), int(std::lround(a * 255))};
}

void expectColor(const Math::Color& actual, const Rgba& expected, const std::string& where)
{
    const Rgba got{actual.r(), actual.g(), actual.b(), actual.a()};
    const bool close = std::abs(got.r - expected.r) <= 1 && std::abs(got.g - expected.g) <= 1
        && std::abs(got.b - expected.b) <= 1 && std::abs(got.a - expected.a) <= 1;
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

// Each mode's formula on the drawn pixel and on the empty one, frame after frame: every case
// changes some constants, which must reach the very next frame, and a repeated frame is the same.
TEST_F(PostProcessFrames, EachModeFinishesTheSceneByItsFormula)
{
    struct Case {
        const char* what;
        RenderMode mode;
        float brightness, contrast, opacity;
        Rgba drawn, empty;
    };
    const Rgba scene = sceneColor;
    const double half = 0.5 / std::sqrt(2.0);
    const Case cases[] = {
        {"default", RenderMode::Default, 0.0f, 1.0f, 1.0f, scene, background},
        // contrast · (c + brightness − 0.5) + 0.5 with 0.05 and 2 is 2c − 0.4; the clear colour stays.
        {"default, adjusted", RenderMode::Default, 0.05f, 2.0f, 1.0f, bytes(0.0, 0.4, 0.8, 1.0), background},
        // c + 0.05.
        {"default, brighter", RenderMode::Default, 0.05f, 1.0f, 1.0f, bytes(0.25, 0.45, 0.65, 1.0), background},
        // rgb = 1 − c = (0.8, 0.6, 0.4), alpha = 1 − mean = 0.4; colour 1 − 2 · (1 − rgb), alpha 2 · 0.4.
        {"dark contours", RenderMode::TomographicDark, 0.0f, 1.0f, 1.0f, bytes(0.6, 0.2, 0.0, 0.8), {255, 255, 255, 0}},
        // 2c clamped = (0.4, 0.8, 1.0); alpha 2 · mean(c) = 0.8.
        {"bright contours", RenderMode::TomographicBright, 0.0f, 1.0f, 1.0f, bytes(0.4, 0.8, 1.0, 0.8), {0, 0, 0, 0}},
        // p(x, y) = (x, y, x): p − p_left = (1, 0, 1), p − p_top = (0, 1, 0); their cross product
        // (−1, 0, 1) normalised, mapped from −1..1 to 0..1.
        {"normal", RenderMode::Normal, 0.0f, 1.0f, 1.0f, bytes(0.5 - half, 0.5, 0.5 + half, 1.0), background},
        // Modes coloured by the point shader pass the scene through, brightness and contrast too.
        {"plane distance", RenderMode::PlaneDistance, 0.05f, 2.0f, 1.0f, scene, background},
        {"intensity", RenderMode::Intensity, 0.05f, 2.0f, 1.0f, scene, background},
        {"uniform colour", RenderMode::UniformColor, 0.05f, 2.0f, 1.0f, scene, background},
        {"mesh distance", RenderMode::MeshDistance, 0.05f, 2.0f, 1.0f, scene, background},
        // Opacity halves every alpha.
        {"default, half opaque",
         RenderMode::Default,
         0.0f,
         1.0f,
         0.5f,
         {scene.r, scene.g, scene.b, 128},
         {10, 20, 30, 128}},
        {"dark contours, half opaque",
         RenderMode::TomographicDark,
         0.0f,
         1.0f,
         0.5f,
         bytes(0.6, 0.2, 0.0, 0.4),
         {255, 255, 255, 0}},
    };
    for (const Case& c : cases) {
        renderer.setRenderMode(c.mode);
        renderer.setBrightness(c.brightness);
        renderer.setContrast(c.contrast);
        renderer.setOpacity(c.opacity);
        for (int repeat = 0; repeat < 2; ++repeat) {
            const auto [drawn, empty] = frame();
            expectColor(drawn, c.drawn, c.what);
            expectColor(empty, c.empty, std::string(c.what) + ", empty");
        }
    }
}

} // namespace
