#include "TestDevice.h"

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
        colorTexture = gpu.createTexture(
            Testing::textureDesc(size, size, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_BIND_RENDER_TARGET));
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
            0, 10, 2, 10.5f,          //
            0, 0, 0, 0.5f,            //
            0, 0, 0, 1;
        Eigen::Matrix4f pixelsToClip;
        pixelsToClip << 2.f / size, 0, 0, -1, //
            0, -2.f / size, 0, 1,             //
            0, 0, 1, 0,                       //
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
        {20, 10}, {20, 30}, {10, 20}, {30, 20},  // front face
        {32, 16}, {32, 36}, {22, 26}, {42, 26},  // back face
        {16, 13}, {36, 13}, {16, 33}, {36, 33},  // edges along z
    }};
    for (const auto& [x, y] : midpoints) {
        EXPECT_EQ(red(x, y), 64) << "edge midpoint at pixel " << x << ", " << y;
        EXPECT_EQ(position(x, y), (std::array<float, 4>{0, 0, 0, 0}))
            << "world position at pixel " << x << ", " << y;
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
    boxes.update(gpu.context(), {BoxWithColor{{0.f, 0.f, 0.f}, {0.5f, 0.5f, 1.f}, color},
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

TEST_F(BoxesTest, AFixedSetCannotBeUpdated)
{
    Boxes boxes(gpu.devicePtr(), Math::NBoundingBox<float, 3>({0.f, 0.f, 0.f}, {1.f, 1.f, 1.f}), Math::Color(1, 2, 3));
    EXPECT_EQ(boxes.boxCount(), 1u);
    D3D11_BUFFER_DESC desc{};
    boxes.instanceBuffer()->GetDesc(&desc);
    EXPECT_EQ(desc.ByteWidth, 28u);
    EXPECT_EQ(desc.Usage, D3D11_USAGE_IMMUTABLE);
    EXPECT_THROW(boxes.update(gpu.context(), {BoxWithColor{}}), ComException);
    EXPECT_THROW(Boxes(gpu.devicePtr(), std::vector<BoxWithColor>{}), ComException);
}

TEST_F(BoxesTest, ABufferWiderThan32BitsIsRefusedBeforeAnythingIsCreated)
{
    // 153391690 × 28 bytes = 2^32 + 24: a wrapped width would give a 24-byte buffer for them all.
    EXPECT_THAT([&] { Boxes(gpu.devicePtr(), std::size_t{153391690}); },
                testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr("153391690 boxes")));
    EXPECT_THROW(Boxes(gpu.devicePtr(), std::numeric_limits<std::size_t>::max()), std::invalid_argument);
}

TEST_F(BoxesTest, DrawLeavesNothingBound)
{
    Boxes boxes(gpu.devicePtr(), std::size_t{1});
    clear();
    draw(boxes);
    auto* context = gpu.context();
    ComPtr<ID3D11VertexShader> vs;
    ComPtr<ID3D11PixelShader> ps;
    ComPtr<ID3D11InputLayout> layout;
    ComPtr<ID3D11Buffer> constants;
    ComPtr<ID3D11Buffer> vertices;
    UINT stride = 0;
    UINT offset = 0;
    D3D11_PRIMITIVE_TOPOLOGY topology{};
    context->VSGetShader(&vs, nullptr, nullptr);
    context->PSGetShader(&ps, nullptr, nullptr);
    context->IAGetInputLayout(&layout);
    context->VSGetConstantBuffers(0, 1, &constants);
    context->IAGetVertexBuffers(0, 1, &vertices, &stride, &offset);
    context->IAGetPrimitiveTopology(&topology);
    EXPECT_EQ(vs.Get(), nullptr);
    EXPECT_EQ(ps.Get(), nullptr);
    EXPECT_EQ(layout.Get(), nullptr);
    EXPECT_EQ(constants.Get(), nullptr);
    EXPECT_EQ(topology, D3D11_PRIMITIVE_TOPOLOGY_UNDEFINED);
}

struct alignas(16) Constants {
    float values[4];
};

// Writes `content` into a dynamic buffer directly, as the wrapper's own upload would.
void overwrite(Testing::TestDevice& gpu, ID3D11Buffer* buffer, const std::array<float, 4>& content)
{
    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(gpu.context()->Map(buffer, 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped));
    std::memcpy(mapped.pData, content.data(), sizeof content);
    gpu.context()->Unmap(buffer, 0);
}

std::array<float, 4> contentOf(Testing::TestDevice& gpu, ID3D11Buffer* buffer)
{
    D3D11_BUFFER_DESC desc{};
    buffer->GetDesc(&desc);
    desc.Usage = D3D11_USAGE_STAGING;
    desc.BindFlags = 0;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    ComPtr<ID3D11Buffer> staging;
    throwIfFailed(gpu.device()->CreateBuffer(&desc, nullptr, &staging));
    gpu.context()->CopyResource(staging.Get(), buffer);
    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(gpu.context()->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped));
    std::array<float, 4> content{};
    std::memcpy(content.data(), mapped.pData, sizeof content);
    gpu.context()->Unmap(staging.Get(), 0);
    return content;
}

TEST_F(BoxesTest, ConstantBufferUploadsOnlyWhatChangedAtBegin)
{
    ConstantBuffer<Constants> constants(gpu.device(), Constants{{1, 2, 3, 4}});
    EXPECT_TRUE(constants.dirty());
    EXPECT_EQ(contentOf(gpu, constants.get()), (std::array<float, 4>{1, 2, 3, 4}));

    constants.set(Constants{{5, 6, 7, 8}});
    constants.set(Constants{{9, 10, 11, 12}});
    EXPECT_EQ(contentOf(gpu, constants.get()), (std::array<float, 4>{1, 2, 3, 4})) << "uploaded before begin";
    constants.begin(gpu.context(), ShaderConfiguration::Vertex | ShaderConfiguration::Pixel, 3);
    EXPECT_FALSE(constants.dirty());
    EXPECT_EQ(contentOf(gpu, constants.get()), (std::array<float, 4>{9, 10, 11, 12}));

    ComPtr<ID3D11Buffer> bound;
    gpu.context()->PSGetConstantBuffers(3, 1, &bound);
    EXPECT_EQ(bound.Get(), constants.get());
    bound.Reset();
    try {
        constants.begin(gpu.context(), ShaderConfiguration::Vertex, 0);
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Error: end call is missing");
    }
    constants.end(gpu.context());
    gpu.context()->VSGetConstantBuffers(3, 1, &bound);
    EXPECT_EQ(bound.Get(), nullptr);
    EXPECT_EQ(constants.stages(), ShaderConfiguration{});
    try {
        constants.end(gpu.context());
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Error: begin call is missing");
    }

    // A begin with nothing changed must leave the buffer alone, even when it no longer matches the
    // CPU copy; the next change is uploaded again.
    overwrite(gpu, constants.get(), {13, 14, 15, 16});
    constants.begin(gpu.context(), ShaderConfiguration::Pixel, 0);
    constants.end(gpu.context());
    EXPECT_EQ(contentOf(gpu, constants.get()), (std::array<float, 4>{13, 14, 15, 16})) << "uploaded although clean";
    constants.modify().values[0] = 20;
    constants.begin(gpu.context(), ShaderConfiguration::Pixel, 0);
    constants.end(gpu.context());
    EXPECT_EQ(contentOf(gpu, constants.get()), (std::array<float, 4>{20, 10, 11, 12}));
}

} // namespace
