#pragma once

#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace Render::Testing {

// A real Direct3D 11 device for GPU tests (llvmpipe under Wine, any adapter on Windows).
class TestDevice {
public:
    TestDevice();

    ID3D11Device* device() const { return mDevice.Get(); }
    ID3D11DeviceContext* context() const { return mContext.Get(); }
    const ComPtr<ID3D11Device>& devicePtr() const { return mDevice; }

    // A texture made directly through the device, without initial data.
    ComPtr<ID3D11Texture2D> createTexture(const D3D11_TEXTURE2D_DESC& desc) const;

    // Binds `targets` float RGBA render targets of width x 1 (cleared to -1) and a viewport over
    // them, runs `draw`, and returns each target's texels: for shaders under test that write what
    // they computed, one result per pixel.
    std::vector<std::vector<std::array<float, 4>>>
    drawIntoFloatTargets(unsigned width, unsigned targets, const std::function<void(ID3D11DeviceContext*)>& draw) const;

    // Copies a subresource of the top mip level (by default the first) of a 2D texture into a
    // staging texture and returns its rows tightly packed (width × texel size bytes per row).
    std::vector<std::uint8_t> readBack(ID3D11Texture2D* texture, unsigned texelSize, unsigned subresource = 0) const;

private:
    ComPtr<ID3D11Device> mDevice;
    ComPtr<ID3D11DeviceContext> mContext;
};

// A single-level, single-sample 2D texture description.
inline D3D11_TEXTURE2D_DESC textureDesc(unsigned width, unsigned height, DXGI_FORMAT format, unsigned bindFlags,
                                        D3D11_USAGE usage = D3D11_USAGE_DEFAULT, unsigned cpuAccess = 0)
{
    D3D11_TEXTURE2D_DESC desc{};
    desc.Width = width;
    desc.Height = height;
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    desc.Format = format;
    desc.SampleDesc.Count = 1;
    desc.Usage = usage;
    desc.BindFlags = bindFlags;
    desc.CPUAccessFlags = cpuAccess;
    return desc;
}

// The number of references `object` holds right now (AddRef and Release report the new count).
inline unsigned long referenceCount(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

// Fixture base: one device per test.
class GpuTest : public ::testing::Test {
protected:
    TestDevice gpu;
};

} // namespace Render::Testing
