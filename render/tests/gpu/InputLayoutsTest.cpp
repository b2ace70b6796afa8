#include "HlslTestSupport.h"
#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/IndexBuffer.h>
#include <lumaro/render/gpu/InputLayouts.h>
#include <lumaro/render/gpu/VertexRecords.h>

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace {

using namespace Render;
using Render::Testing::GpuTest;

// Draws one point per instance of the point-cloud layout at pixel (instance, 0) and writes what the
// vertex shader received into two float targets, so the byte layout is checked as the GPU reads it.
const char* pointEchoShader = R"(
struct Input {
    float4 position : POS;
    float4 color : COL;
    float intensity : INTENSITY;
    uint classIndex : CLASSINDEX;
    uint scanIndex : SCANINDEX;
    float distance : DISTANCE;
    uint instance : SV_InstanceID;
};
struct Output {
    float4 position : SV_Position;
    nointerpolation float4 color : COLOR0;
    nointerpolation float4 attributes : COLOR1;
};
Output vs_main(Input input) {
    Output output;
    output.position = float4((input.instance + 0.5) / 2.0 * 2.0 - 1.0, 0.0, 0.5, 1.0);
    output.color = input.color;
    output.attributes = float4(input.intensity, input.classIndex, input.scanIndex, input.distance);
    output.attributes.x += input.position.w * 1000.0 + input.position.z * 10000.0;
    return output;
}
struct Targets { float4 color : SV_Target0; float4 attributes : SV_Target1; };
Targets ps_main(Output input) {
    Targets targets;
    targets.color = input.color;
    targets.attributes = input.attributes;
    return targets;
}
)";

TEST_F(GpuTest, PointCloudLayoutDeliversEveryFieldAtItsOffset)
{
    auto* device = gpu.device();
    auto* context = gpu.context();
    const std::string vsCode = Testing::compiledOrThrow(pointEchoShader, "vs_main", "vs_5_0");
    const std::string psCode = Testing::compiledOrThrow(pointEchoShader, "ps_main", "ps_5_0");
    ComPtr<ID3D11VertexShader> vs;
    ComPtr<ID3D11PixelShader> ps;
    ComPtr<ID3D11InputLayout> layout;
    throwIfFailed(device->CreateVertexShader(vsCode.data(), vsCode.size(), nullptr, &vs));
    throwIfFailed(device->CreatePixelShader(psCode.data(), psCode.size(), nullptr, &ps));
    const auto& elements = pointCloudInputLayout();
    throwIfFailed(device->CreateInputLayout(elements.data(), static_cast<UINT>(elements.size()),
                                            vsCode.data(), vsCode.size(), &layout));

    const VertexPosColorIntensityClassIndexScanIndexDistance points[2] = {
        {Math::Point<float, 3>(0.f, 0.f, 0.f), Math::Color(255, 0, 51, 102), 51, 7, 65535, 2.5f},
        {Math::Point<float, 3>(0.f, 0.f, 1.f), Math::Color(0, 204, 255, 255), 255, 200, 3, -1.f},
    };
    D3D11_BUFFER_DESC bufferDesc{};
    bufferDesc.ByteWidth = sizeof points;
    bufferDesc.Usage = D3D11_USAGE_IMMUTABLE;
    bufferDesc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
    D3D11_SUBRESOURCE_DATA initial{points, 0, 0};
    ComPtr<ID3D11Buffer> buffer;
    throwIfFailed(device->CreateBuffer(&bufferDesc, &initial, &buffer));

    const auto targetDesc = Testing::textureDesc(2, 1, DXGI_FORMAT_R32G32B32A32_FLOAT, D3D11_BIND_RENDER_TARGET);
    auto colorTarget = gpu.createTexture(targetDesc);
    auto attributeTarget = gpu.createTexture(targetDesc);
    ComPtr<ID3D11RenderTargetView> views[2];
    throwIfFailed(device->CreateRenderTargetView(colorTarget.Get(), nullptr, &views[0]));
    throwIfFailed(device->CreateRenderTargetView(attributeTarget.Get(), nullptr, &views[1]));
    ID3D11RenderTargetView* rawViews[2] = {views[0].Get(), views[1].Get()};
    const float clear[4] = {-1, -1, -1, -1};
    context->ClearRenderTargetView(rawViews[0], clear);
    context->ClearRenderTargetView(rawViews[1], clear);
    context->OMSetRenderTargets(2, rawViews, nullptr);
    const D3D11_VIEWPORT viewport{0, 0, 2, 1, 0, 1};
    context->RSSetViewports(1, &viewport);
    const UINT stride = sizeof(VertexPosColorIntensityClassIndexScanIndexDistance);
    const UINT offset = 0;
    ID3D11Buffer* rawBuffer = buffer.Get();
    context->IASetVertexBuffers(0, 1, &rawBuffer, &stride, &offset);
    context->IASetInputLayout(layout.Get());
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_POINTLIST);
    context->VSSetShader(vs.Get(), nullptr, 0);
    context->PSSetShader(ps.Get(), nullptr, 0);
    context->DrawInstanced(1, 2, 0, 0);

    float colors[8];
    float attributes[8];
    std::memcpy(colors, gpu.readBack(colorTarget.Get(), 16).data(), sizeof colors);
    std::memcpy(attributes, gpu.readBack(attributeTarget.Get(), 16).data(), sizeof attributes);

    // Colours arrive as r, g, b, a in 0..1 whatever their byte order in memory.
    EXPECT_FLOAT_EQ(colors[0], 1.f);
    EXPECT_FLOAT_EQ(colors[1], 0.f);
    EXPECT_FLOAT_EQ(colors[2], 0.2f);
    EXPECT_FLOAT_EQ(colors[3], 0.4f);
    EXPECT_FLOAT_EQ(colors[4], 0.f);
    EXPECT_FLOAT_EQ(colors[5], 0.8f);
    EXPECT_FLOAT_EQ(colors[6], 1.f);
    EXPECT_FLOAT_EQ(colors[7], 1.f);
    // Intensity as unorm (51 / 255 = 0.2) plus 1000 for the position's w of 1, class and scan
    // indices as integers, the distance as stored.
    EXPECT_NEAR(attributes[0], 1000.2f, 1e-3f);
    EXPECT_EQ(attributes[1], 7.f);
    EXPECT_EQ(attributes[2], 65535.f);
    EXPECT_EQ(attributes[3], 2.5f);
    EXPECT_NEAR(attributes[4], 11001.f, 1e-3f);
    EXPECT_EQ(attributes[5], 200.f);
    EXPECT_EQ(attributes[6], 3.f);
    EXPECT_EQ(attributes[7], -1.f);
}

TEST_F(GpuTest, BoxAndMeshLayoutsHaveTheirSemanticsAndOffsets)
{
    const auto& box = boxInputLayout();
    ASSERT_EQ(box.size(), 3u);
    EXPECT_STREQ(box[0].SemanticName, "POS_MIN");
    EXPECT_STREQ(box[1].SemanticName, "POS_MAX");
    EXPECT_STREQ(box[2].SemanticName, "COL");
    EXPECT_EQ(box[2].Format, DXGI_FORMAT_B8G8R8A8_UNORM);
    for (const auto& element : box) {
        EXPECT_EQ(element.InputSlotClass, D3D11_INPUT_PER_INSTANCE_DATA);
        EXPECT_EQ(element.InstanceDataStepRate, 1u);
    }

    const auto& mesh = meshInputLayout();
    ASSERT_EQ(mesh.size(), 4u);
    const UINT offsets[4] = {0, 12, 24, 32};
    const char* semantics[4] = {"POS", "NML", "UV", "COL"};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_STREQ(mesh[i].SemanticName, semantics[i]);
        EXPECT_EQ(mesh[i].AlignedByteOffset, offsets[i]);
        EXPECT_EQ(mesh[i].InputSlotClass, D3D11_INPUT_PER_VERTEX_DATA);
        EXPECT_EQ(mesh[i].InstanceDataStepRate, 0u);
    }
    EXPECT_EQ(mesh[2].Format, DXGI_FORMAT_R32G32_FLOAT);
}

TEST_F(GpuTest, IndexBufferIsImmutableAndRemembersItsOffset)
{
    const std::vector<unsigned int> indices{0, 1, 2, 2, 1, 3};
    IndexBuffer buffer(gpu.device(), indices);
    EXPECT_EQ(buffer.count(), 6u);
    D3D11_BUFFER_DESC desc{};
    buffer.get()->GetDesc(&desc);
    EXPECT_EQ(desc.ByteWidth, 24u);
    EXPECT_EQ(desc.Usage, D3D11_USAGE_IMMUTABLE);
    EXPECT_EQ(desc.BindFlags, static_cast<UINT>(D3D11_BIND_INDEX_BUFFER));
    EXPECT_EQ(desc.CPUAccessFlags, 0u);

    buffer.begin(gpu.context(), 8);
    ComPtr<ID3D11Buffer> bound;
    DXGI_FORMAT format{};
    UINT offset = 0;
    gpu.context()->IAGetIndexBuffer(&bound, &format, &offset);
    EXPECT_EQ(bound.Get(), buffer.get());
    EXPECT_EQ(format, DXGI_FORMAT_R32_UINT);
    EXPECT_EQ(offset, 8u);
    EXPECT_EQ(buffer.offset(), 8u);
    bound.Reset();

    buffer.end(gpu.context());
    format = DXGI_FORMAT_UNKNOWN;
    offset = 0;
    gpu.context()->IAGetIndexBuffer(&bound, &format, &offset);
    EXPECT_EQ(bound.Get(), nullptr);
    // end clears the buffer with the format and offset of the last begin.
    EXPECT_EQ(format, DXGI_FORMAT_R32_UINT);
    EXPECT_EQ(offset, 8u);
    EXPECT_EQ(buffer.offset(), 0u);

    IndexBuffer moved = std::move(buffer);
    EXPECT_EQ(buffer.get(), nullptr);
    EXPECT_EQ(moved.count(), 6u);
    EXPECT_EQ(Testing::referenceCount(moved.get()), 1u);
}

TEST_F(GpuTest, EmptyIndexBufferIsRefusedByTheDevice)
{
    EXPECT_THROW(IndexBuffer(gpu.device(), std::vector<unsigned int>{}), ComException);
}

TEST_F(GpuTest, IndexBufferWiderThan32BitsIsRefusedBeforeTheDeviceIsAsked)
{
    // 1073741825 × 4 bytes = 2^32 + 4: a wrapped width would give a one-index buffer. Only the
    // first index exists; nothing may read further.
    const unsigned int first = 0;
    EXPECT_THAT([&] { IndexBuffer(gpu.device(), &first, std::size_t{1073741825}); },
                testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr("1073741825 indices")));
    EXPECT_THROW(IndexBuffer(gpu.device(), &first, std::size_t{1073741824}), std::invalid_argument);
}

} // namespace
