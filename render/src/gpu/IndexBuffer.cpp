#include <lumaro/render/gpu/IndexBuffer.h>

#include <lumaro/render/gpu/BufferByteWidth.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

IndexBuffer::IndexBuffer(ID3D11Device* device, const unsigned int* indices, std::size_t count) : mCount(count)
{
    D3D11_BUFFER_DESC desc{};
    desc.ByteWidth = bufferByteWidth(count, sizeof(unsigned int), "indices");
    desc.Usage = D3D11_USAGE_IMMUTABLE;
    desc.BindFlags = D3D11_BIND_INDEX_BUFFER;
    D3D11_SUBRESOURCE_DATA initial{};
    initial.pSysMem = indices;
    throwIfFailed(device->CreateBuffer(&desc, &initial, &mBuffer));
}

IndexBuffer::IndexBuffer(ID3D11Device* device, const std::vector<unsigned int>& indices)
    : IndexBuffer(device, indices.data(), indices.size())
{}

IndexBuffer::IndexBuffer(IndexBuffer&& other) noexcept : mCount(other.mCount), mOffset(other.mOffset)
{
    mBuffer.Swap(other.mBuffer);
}

IndexBuffer& IndexBuffer::operator=(IndexBuffer&& other) noexcept
{
    moveComPtr(mBuffer, other.mBuffer);
    mCount = other.mCount;
    mOffset = other.mOffset;
    return *this;
}

void IndexBuffer::begin(ID3D11DeviceContext* context, unsigned offset)
{
    mOffset = offset;
    context->IASetIndexBuffer(mBuffer.Get(), DXGI_FORMAT_R32_UINT, offset);
}

void IndexBuffer::end(ID3D11DeviceContext* context)
{
    context->IASetIndexBuffer(nullptr, DXGI_FORMAT_R32_UINT, mOffset);
    mOffset = 0;
}

} // namespace Render
