#pragma once

#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace Render::Testing {

// A real Direct3D 11 device for GPU tests (llvmpipe under Wine, any adapter on Windows).
class TestDevice {
public:
    TestDevice();

    ID3D11Device* device() const { return device_.Get(); }
    ID3D11DeviceContext* context() const { return context_.Get(); }
    const ComPtr<ID3D11Device>& devicePtr() const { return device_; }

    // Copies subresource 0 of a 2D texture into a staging texture and returns its rows tightly
    // packed (width × texel size bytes per row).
    std::vector<std::uint8_t> readBack(ID3D11Texture2D* texture, unsigned texelSize) const;

private:
    ComPtr<ID3D11Device> device_;
    ComPtr<ID3D11DeviceContext> context_;
};

// Fixture base: one device per test.
class GpuTest : public ::testing::Test {
protected:
    TestDevice gpu;
};

} // namespace Render::Testing
