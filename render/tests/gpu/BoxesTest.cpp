#include <lumaro/testsupport/render/TestDevice.h>

#include <lumaro/render/gpu/Boxes.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ConstantBuffer.h>

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace {

using namespace Render;

constexpr unsigned size = 64;

// Renders boxes into a 64 × 64 colour target (additive blending, so a pixel drawn twice shows
// twice the colour) and a float target that starts at 1 everywhere.
class BoxesTest : public Testing::GpuTest {
protected:
    BoxesTest()
    {
        auto* device = gpu.device();
        colorTexture =
            gpu.createTexture(Testing::textureDesc(size, size, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_BIND_RENDER_TARGET));
        positionTexture = gpu.createTexture(
            Testing::textureDesc(size, size, DXGI_FORMAT_R32G32B32A32_FLOAT, D3D11_BIND_RENDER_TARGET));
        throwIfFailed(device->CreateRenderTargetView(colorTexture.Get(), nullptr, &colorView));
        throwIfFailed(device->CreateRenderTargetView(positionTexture.Get(), nullptr, &positionView));
        D3D11_BLEND_DESC blend{};
        blend.IndependentBlendEnable = TRUE;
        blend.RenderTarget[0].BlendEnable = TRUE;
        blend.RenderTarget[0].SrcBlend = D3D11_BLEND_ONE;
        blend.RenderTarget[0].DestBlend = D3D11_BLEND_ONE;
        blend.RenderTarget[0].BlendOp = D3D11_BLEND_OP_ADD;
        blend.RenderTarget[0].SrcBlendAlpha = D3D11_BLEND_ONE;
        blend.RenderTarget[0].DestBlendAlpha = D3D11_BLEND_ONE;
        blend.RenderTarget[0].BlendOpAlpha = D3D11_BLEND_OP_ADD;
        blend.RenderTarget[0].RenderTargetWriteMask = D3D11_COLOR_WRITE_ENABLE_ALL;
        blend.RenderTarget[1].RenderTargetWriteMask = D3D11_COLOR_WRITE_ENABLE_ALL;
        throwIfFailed(device->CreateBlendState(&blend, &blendState));
    }

    void clear()
    {
        const float black[4] = {0, 0, 0, 0};
        const float ones[4] = {1, 1, 1, 1};
        gpu.context()->ClearRenderTargetView(colorView.Get(), black);
        gpu.context()->ClearRenderTargetView(positionView.Get(), ones);
    }

    void draw(Boxes& boxes)
    {
        auto* context = gpu.context();
        ID3D11RenderTargetView* views[2] = {colorView.Get(), positionView.Get()};
        context->OMSetRenderTargets(2, views, nullptr);
        context->OMSetBlendState(blendState.Get(), nullptr, 0xFFFFFFFF);
        const D3D11_VIEWPORT viewport{0, 0, float(size), float(size), 0, 1};
        context->RSSetViewports(1, &viewport);
        boxes.draw(context);
        colors = gpu.readBack(colorTexture.Get(), 4);
        const auto positionBytes = gpu.readBack(positionTexture.Get(), 16);
        positions.resize(positionBytes.size() / 4);
        std::memcpy(positions.data(), positionBytes.data(), positionBytes.size());
    }

    // Red channel of the colour target at a pixel (B8G8R8A8 in memory).
    int red(unsigned x, unsigned y) const { return colors[(y * size + x) * 4 + 2]; }
    std::array<float, 4> position(unsigned x, unsigned y) const
    {
        const auto* texel = &positions[(y * size + x) * 4];
        return {texel[0], texel[1], texel[2], texel[3]};
    }
    int litPixels() const
    {
        int count = 0;
        for (unsigned i = 0; i < size * size; ++i)
            count += colors[i * 4 + 2] != 0;
        return count;
    }

    // Maps box coordinates to pixels: column = 10.5 + 20x + 4z, row = 10.5 + 10y + 2z. The
    // z shear makes all 12 edges of a box visible apart from each other.
    static Eigen::Matrix4f pixelShear()
    {
        Eigen::Matrix4f toPixels;
        toPixels << 20, 0, 4, 10.5f, //
            0, 10, 2, 10.5f, //
            0, 0, 0, 0.5f, //
            0, 0, 0, 1;
        Eigen::Matrix4f pixelsToClip;
        pixelsToClip << 2.f / size, 0, 0, -1, //
            0, -2.f / size, 0, 1, //
            0, 0, 1, 0, //
            0, 0, 0, 1;
        return pixelsToClip * toPixels;
    }

    ComPtr<ID3D11Texture2D> colorTexture;
    ComPtr<ID3D11Texture2D> positionTexture;
    ComPtr<ID3D11RenderTargetView> colorView;
    ComPtr<ID3D11RenderTargetView> positionView;
    ComPtr<ID3D11BlendState> blendState;
    std::vector<std::uint8_t> colors;
    std::vector<float> positions;
};

TEST_F(BoxesTest, EveryEdgeOfABoxIsDrawnExactlyOnce)
{
    Boxes boxes(gpu.devicePtr(), {BoxWithColor{{0.f, 0.f, 0.f}, {1.f, 2.f, 3.f}, Math::Color(64, 0, 0, 64)}});
    boxes.setModelViewProjection(pixelShear());
    clear();
    draw(boxes);

    // Corners in pixels: front face (z = 0) columns 10.5 and 30.5, rows 10.5 and 30.5; the back
    // face (z = 3) is shifted by (12, 6). The midpoints of the 12 edges:
    const std::array<std::array<unsigned, 2>, 12> midpoints{{
        {20, 10},
        {20, 30},
        {10, 20},
        {30, 20}, // front face
        {32, 16},
        {32, 36},
        {22, 26},
        {42, 26}, // back face
        {16, 13},
        {36, 13},
        {16, 33},
        {36, 33}, // edges along z
    }};
    for (const auto& [x, y] : midpoints) {
        EXPECT_EQ(red(x, y), 64) << "edge midpoint at pixel " << x << ", " << y;
        EXPECT_EQ(position(x, y), (std::array<float, 4>{0, 0, 0, 0})) << "world position at pixel " << x << ", " << y;
    }
    // Face centres and the background stay empty.
    EXPECT_EQ(red(20, 20), 0);
    EXPECT_EQ(red(32, 26), 0);
    EXPECT_EQ(red(60, 60), 0);
    EXPECT_EQ(position(60, 60), (std::array<float, 4>{1, 1, 1, 1}));
}

TEST_F(BoxesTest, AnUpdatableSetDrawsWhatTheLastUpdateGave)
{
    Boxes boxes(gpu.devicePtr(), std::size_t{10});
    EXPECT_EQ(boxes.instanceCapacity(), 10u);
    EXPECT_EQ(boxes.boxCount(), 0u);
    boxes.setModelViewProjection(pixelShear());
    clear();
    draw(boxes);
    EXPECT_EQ(litPixels(), 0);

    // Three boxes ten rows apart.
    const Math::Color color(64, 0, 0, 255);
    boxes.update(gpu.context(),
                 {BoxWithColor{{0.f, 0.f, 0.f}, {0.5f, 0.5f, 1.f}, color},
                  BoxWithColor{{0.f, 1.f, 0.f}, {0.5f, 1.5f, 1.f}, color},
                  BoxWithColor{{0.f, 2.f, 0.f}, {0.5f, 2.5f, 1.f}, color}});
    EXPECT_EQ(boxes.boxCount(), 3u);
    clear();
    draw(boxes);
    // The top front edge of each box: rows 10.5, 20.5 and 30.5, from column 10.5 to 20.5.
    EXPECT_EQ(red(15, 10), 64);
    EXPECT_EQ(red(15, 20), 64);
    EXPECT_EQ(red(15, 30), 64);
    EXPECT_EQ(red(15, 40), 0);

    boxes.update(gpu.context(), {});
    EXPECT_EQ(boxes.boxCount(), 0u);
    clear();
    draw(boxes);
    EXPECT_EQ(litPixels(), 0);
}

TEST_F(BoxesTest, ABufferWiderThan32BitsIsRefusedBeforeAnythingIsCreated)
{
    // 153391690 × 28 bytes = 2^32 + 24: a wrapped width would give a 24-byte buffer for them all.
    EXPECT_THAT([&] { Boxes(gpu.devicePtr(), std::size_t{153391690}); },
                testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr("153391690 boxes")));
    EXPECT_THROW(Boxes(gpu.devicePtr(), std::numeric_limits<std::size_t>::max()), std::invalid_argument);
}

} // namespace
