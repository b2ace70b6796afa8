// This program runs with Direct3D limited to shader model 4: ctest sets WINE_D3D_CONFIG, which
// Wine's Direct3D reads when the first device is made, so the hardware device is one of feature
// level 10.1. Where the variable does not take effect (on Windows), the test fails: it would prove
// nothing.

#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

D3D_FEATURE_LEVEL defaultDeviceLevel()
{
    Render::ComPtr<ID3D11Device> device;
    if (FAILED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION, &device,
                                 nullptr, nullptr)))
        return D3D_FEATURE_LEVEL_9_1;
    return device->GetFeatureLevel();
}

TEST(LowFeatureLevel, TheRendererRefusesADeviceBelowLevel11)
{
    const D3D_FEATURE_LEVEL level = defaultDeviceLevel();
    ASSERT_LT(level, D3D_FEATURE_LEVEL_11_0) << "the device was not limited (WINE_D3D_CONFIG took no effect)";
    ASSERT_GE(level, D3D_FEATURE_LEVEL_10_0) << "the limited device should still be a Direct3D 10 device";

    try {
        Render::Renderer renderer(false);
        FAIL() << "a renderer was made on a device of level " << std::hex << level;
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "needs at least a DirectX 11.0 graphics card");
    }
}

} // namespace
