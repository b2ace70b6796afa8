#include <lumaro/testsupport/render/HlslTestSupport.h>
#include <lumaro/testsupport/render/TestDevice.h>

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
    const std::string vsCode = Testing::compiledOrThrow(pointEchoShader, "vs_main", "vs_5_0");
    const std::string psCode = Testing::compiledOrThrow(pointEchoShader, "ps_main", "ps_5_0");
    ComPtr<ID3D11VertexShader> vs;
    ComPtr<ID3D11PixelShader> ps;
    ComPtr<ID3D11InputLayout> layout;
    throwIfFailed(device->CreateVertexShader(vsCode.data(), vsCode.size(), nullptr, &vs));
    throwIfFailed(device->CreatePixelShader(psCode.data(), psCode.size(), nullptr, &ps));
    const auto& elements = pointCloudInputLayout();
    throwIfFailed(device->CreateInputLayout(elements.data(), static_cast<UINT>(elements.size()), vsCode.data(),
                                            vsCode.size(), &layout));

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

    const UINT stride = sizeof(VertexPosColorIntensityClassIndexScanIndexDistance);
    const UINT offset = 0;
    const auto targets = gpu.drawIntoFloatTargets(2, 2, [&](ID3D11DeviceContext* context) {
        context->IASetVertexBuffers(0, 1, buffer.GetAddressOf(), &stride, &offset);
        context->IASetInputLayout(layout.Get());
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_POINTLIST);
        context->VSSetShader(vs.Get(), nullptr, 0);
        context->PSSetShader(ps.Get(), nullptr, 0);
        context->DrawInstanced(1, 2, 0, 0);
    });
    float colors[8];
    float attributes[8];
    std::memcpy(colors, targets[0].data(), sizeof colors);
    std::memcpy(attributes, targets[1].data(), sizeof attributes);

    // Colours arrive as r, g, b, a in 0..1 whatever their byte order in memory; intensity as unorm
    // (51 / 255 = 0.2) plus 1000 for the position's w of 1 and 10000 for its z, class and scan
    // indices as integers, the distance as stored.
    using testing::FloatNear;
    EXPECT_THAT(colors,
                testing::ElementsAre(FloatNear(1.f, 1e-6f), 0.f, FloatNear(0.2f, 1e-6f), FloatNear(0.4f, 1e-6f), 0.f,
                                     FloatNear(0.8f, 1e-6f), 1.f, 1.f));
    EXPECT_THAT(attributes,
                testing::ElementsAre(FloatNear(1000.2f, 1e-3f), 7.f, 65535.f, 2.5f, FloatNear(11001.f, 1e-3f), 200.f,
                                     3.f, -1.f));
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
