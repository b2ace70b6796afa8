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
    ConstantBuffer(ID3D11Device* device, const T& initial) : mData(initial)
    {
        D3D11_BUFFER_DESC desc{};
        desc.ByteWidth = sizeof(T);
        desc.Usage = D3D11_USAGE_DYNAMIC;
        desc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
        desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
        D3D11_SUBRESOURCE_DATA data{};
        data.pSysMem = &mData;
        throwIfFailed(device->CreateBuffer(&desc, &data, &mBuffer));
    }

    ConstantBuffer(const ConstantBuffer&) = delete;
    ConstantBuffer& operator=(const ConstantBuffer&) = delete;
    ConstantBuffer(ConstantBuffer&& other) noexcept : mData(other.mData), mDirty(other.mDirty), mBinding(other.mBinding)
    {
        mBuffer.Swap(other.mBuffer);
    }
    ConstantBuffer& operator=(ConstantBuffer&& other) noexcept
    {
        moveComPtr(mBuffer, other.mBuffer);
        mData = other.mData;
        mDirty = other.mDirty;
        mBinding = other.mBinding;
        return *this;
    }

    const T& data() const { return mData; }
    // Write access marks the copy for upload.
    T& modify()
    {
        mDirty = true;
        return mData;
    }
    void set(const T& data)
    {
        mData = data;
        mDirty = true;
    }
    bool dirty() const { return mDirty; }

    void begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
    {
        // Check the pairing first, record the binding only after a successful upload: a failed
        // map must not leave the buffer marked as bound.
        requireUnbound(mBinding.stages());
        if (mDirty) {
            D3D11_MAPPED_SUBRESOURCE mapped{};
            throwIfFailed(context->Map(mBuffer.Get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped));
            std::memcpy(mapped.pData, &mData, sizeof(T));
            context->Unmap(mBuffer.Get(), 0);
            mDirty = false;
        }
        mBinding.bind(stages, slot);
        mBinding.apply(context, setters, mBuffer.Get());
    }

    void end(ID3D11DeviceContext* context) { mBinding.end(context, setters); }

    ShaderConfiguration stages() const { return mBinding.stages(); }
    std::uint32_t slot() const { return mBinding.slot(); }
    ID3D11Buffer* get() const { return mBuffer.Get(); }

private:
    static constexpr StageSetters<ID3D11Buffer> setters{
        &ID3D11DeviceContext::VSSetConstantBuffers, &ID3D11DeviceContext::PSSetConstantBuffers,
        &ID3D11DeviceContext::GSSetConstantBuffers, &ID3D11DeviceContext::CSSetConstantBuffers};

    T mData{};
    ComPtr<ID3D11Buffer> mBuffer;
    bool mDirty = true;
    StageBinding mBinding;
};

} // namespace Render
