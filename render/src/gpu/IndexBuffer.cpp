#include <lumaro/render/gpu/IndexBuffer.h>

#include <lumaro/render/gpu/BufferByteWidth.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

IndexBuffer::IndexBuffer(ID3D11Device* device, const unsigned int* indices, std::size_t count) : m_count(count)
{
    D3D11_BUFFER_DESC desc{};
    desc.ByteWidth = bufferByteWidth(count, sizeof(unsigned int), "indices");
    desc.Usage = D3D11_USAGE_IMMUTABLE;
    desc.BindFlags = D3D11_BIND_INDEX_BUFFER;
    D3D11_SUBRESOURCE_DATA initial{};
    initial.pSysMem = indices;
    throwIfFailed(device->CreateBuffer(&desc, &initial, &m_buffer));
}

IndexBuffer::IndexBuffer(ID3D11Device* device, const std::vector<unsigned int>& indices)
    : IndexBuffer(device, indices.data(), indices.size())
{
}

IndexBuffer::IndexBuffer(IndexBuffer&& other) noexcept : m_count(other.m_count), m_offset(other.m_offset)
{
    m_buffer.Swap(other.m_buffer);
}

IndexBuffer& IndexBuffer::operator=(IndexBuffer&& other) noexcept
{
    moveComPtr(m_buffer, other.m_buffer);
    m_count = other.m_count;
    m_offset = other.m_offset;
    return *this;
}

void IndexBuffer::begin(ID3D11DeviceContext* context, unsigned offset)
{
    m_offset = offset;
    context->IASetIndexBuffer(m_buffer.Get(), DXGI_FORMAT_R32_UINT, offset);
}

void IndexBuffer::end(ID3D11DeviceContext* context)
{
    context->IASetIndexBuffer(nullptr, DXGI_FORMAT_R32_UINT, m_offset);
    m_offset = 0;
}

} // namespace Render
