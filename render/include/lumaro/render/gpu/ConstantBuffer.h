#pragma once

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/MoveComPtr.h>
#include <lumaro/render/gpu/ShaderConfiguration.h>
#include <lumaro/render/gpu/StageBinding.h>

#include <d3d11.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Render {

// One dynamic constant buffer with its CPU copy: the copy is uploaded (write-discard) at the next
// begin after it changed, so unchanged constants cost nothing per draw.
template <class T>
class ConstantBuffer {
    static_assert(sizeof(T) % 16 == 0, "constant buffers are made of whole 16-byte registers");

public:
    ConstantBuffer() = default;
    ConstantBuffer(ID3D11Device* device, const T& initial) : m_data(initial)
    {
        D3D11_BUFFER_DESC desc{};
        desc.ByteWidth = sizeof(T);
        desc.Usage = D3D11_USAGE_DYNAMIC;
        desc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
        desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
        D3D11_SUBRESOURCE_DATA data{};
        data.pSysMem = &m_data;
        throwIfFailed(device->CreateBuffer(&desc, &data, &m_buffer));
    }

    ConstantBuffer(const ConstantBuffer&) = delete;
    ConstantBuffer& operator=(const ConstantBuffer&) = delete;
    ConstantBuffer(ConstantBuffer&& other) noexcept
        : m_data(other.m_data), m_dirty(other.m_dirty), m_binding(other.m_binding)
    {
        m_buffer.Swap(other.m_buffer);
    }
    ConstantBuffer& operator=(ConstantBuffer&& other) noexcept
    {
        moveComPtr(m_buffer, other.m_buffer);
        m_data = other.m_data;
        m_dirty = other.m_dirty;
        m_binding = other.m_binding;
        return *this;
    }

    const T& data() const { return m_data; }
    // Write access marks the copy for upload.
    T& modify()
    {
        m_dirty = true;
        return m_data;
    }
    void set(const T& data)
    {
        m_data = data;
        m_dirty = true;
    }
    bool dirty() const { return m_dirty; }

    void begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
    {
        // Check the pairing first, record the binding only after a successful upload: a failed
        // map must not leave the buffer marked as bound.
        requireUnbound(m_binding.stages());
        if (m_dirty) {
            D3D11_MAPPED_SUBRESOURCE mapped{};
            throwIfFailed(context->Map(m_buffer.Get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped));
            std::memcpy(mapped.pData, &m_data, sizeof(T));
            context->Unmap(m_buffer.Get(), 0);
            m_dirty = false;
        }
        m_binding.bind(stages, slot);
        m_binding.apply(context, setters, m_buffer.Get());
    }

    void end(ID3D11DeviceContext* context) { m_binding.end(context, setters); }

    ShaderConfiguration stages() const { return m_binding.stages(); }
    std::uint32_t slot() const { return m_binding.slot(); }
    ID3D11Buffer* get() const { return m_buffer.Get(); }

private:
    static constexpr StageSetters<ID3D11Buffer> setters{
        &ID3D11DeviceContext::VSSetConstantBuffers, &ID3D11DeviceContext::PSSetConstantBuffers,
        &ID3D11DeviceContext::GSSetConstantBuffers, &ID3D11DeviceContext::CSSetConstantBuffers};

    T m_data{};
    ComPtr<ID3D11Buffer> m_buffer;
    bool m_dirty = true;
    StageBinding m_binding;
};

} // namespace Render
