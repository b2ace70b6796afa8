#include <lumaro/render/gpu/Boxes.h>

#include <lumaro/render/gpu/BufferByteWidth.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/InputLayouts.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <cstring>

namespace Render {

namespace {

constexpr UINT boxStride = sizeof(BoxWithColor);

// Runs before the delegated constructor compiles any shader, so an impossible count costs nothing.
D3D11_BUFFER_DESC instanceBufferDesc(std::size_t count, D3D11_USAGE usage, UINT cpuAccess)
{
    D3D11_BUFFER_DESC desc{};
    desc.ByteWidth = bufferByteWidth(count, boxStride, "boxes");
    desc.Usage = usage;
    desc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
    desc.CPUAccessFlags = cpuAccess;
    return desc;
}

} // namespace

Boxes::Boxes(const ComPtr<ID3D11Device>& device, const D3D11_BUFFER_DESC& desc, const void* initialBoxes,
             std::size_t capacity, std::size_t count)
    : mVertexShader(VertexShader::fromHlslResource(device, "shaders/box.hlsl", boxInputLayout())),
      mPixelShader(PixelShader::fromHlslResource(device, "shaders/box.hlsl")),
      mModelViewProjection(device.Get(), Eigen::Matrix4f::Identity()),
      mInstanceCapacity(capacity),
      mBoxCount(count)
{
    const D3D11_SUBRESOURCE_DATA initial{initialBoxes, 0, 0};
    throwIfFailed(device->CreateBuffer(&desc, initialBoxes ? &initial : nullptr, &mInstanceBuffer));
}

Boxes::Boxes(const ComPtr<ID3D11Device>& device, std::vector<BoxWithColor> boxes)
    : Boxes(device, instanceBufferDesc(boxes.size(), D3D11_USAGE_IMMUTABLE, 0), boxes.data(), boxes.size(),
            boxes.size())
{}

Boxes::Boxes(const ComPtr<ID3D11Device>& device, std::size_t capacity)
    : Boxes(device, instanceBufferDesc(capacity, D3D11_USAGE_DYNAMIC, D3D11_CPU_ACCESS_WRITE), nullptr, capacity, 0)
{}

Boxes::Boxes(const ComPtr<ID3D11Device>& device, const Math::NBoundingBox<float, 3>& box, const Math::Color& color)
    : Boxes(device, std::vector<BoxWithColor>{BoxWithColor{box.min(), box.max(), color}})
{}

Boxes::Boxes(Boxes&& other) noexcept
    : mVertexShader(std::move(other.mVertexShader)),
      mPixelShader(std::move(other.mPixelShader)),
      mModelViewProjection(std::move(other.mModelViewProjection)),
      mInstanceCapacity(other.mInstanceCapacity),
      mBoxCount(other.mBoxCount)
{
    mInstanceBuffer.Swap(other.mInstanceBuffer);
}

Boxes& Boxes::operator=(Boxes&& other) noexcept
{
    mVertexShader = std::move(other.mVertexShader);
    mPixelShader = std::move(other.mPixelShader);
    mModelViewProjection = std::move(other.mModelViewProjection);
    moveComPtr(mInstanceBuffer, other.mInstanceBuffer);
    mInstanceCapacity = other.mInstanceCapacity;
    mBoxCount = other.mBoxCount;
    return *this;
}

void Boxes::update(ID3D11DeviceContext* context, const std::vector<BoxWithColor>& boxes)
{
    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(context->Map(mInstanceBuffer.Get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped));
    if (!boxes.empty())
        std::memcpy(mapped.pData, boxes.data(), boxes.size() * boxStride);
    context->Unmap(mInstanceBuffer.Get(), 0);
    mBoxCount = boxes.size();
}

void Boxes::setModelViewProjection(const Eigen::Matrix4f& matrix)
{
    mModelViewProjection.set(matrix);
}

void Boxes::draw(ID3D11DeviceContext* context)
{
    mVertexShader.begin(context);
    mPixelShader.begin(context);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_LINELIST);
    mModelViewProjection.begin(context, ShaderConfiguration::Vertex, 0);
    ID3D11Buffer* buffer = mInstanceBuffer.Get();
    const UINT stride = boxStride;
    const UINT offset = 0;
    context->IASetVertexBuffers(0, 1, &buffer, &stride, &offset);
    context->DrawInstanced(24, static_cast<UINT>(mBoxCount), 0, 0);

    mVertexShader.end(context);
    mPixelShader.end(context);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_UNDEFINED);
    mModelViewProjection.end(context);
    context->IASetVertexBuffers(0, 0, nullptr, nullptr, nullptr);
}

} // namespace Render
