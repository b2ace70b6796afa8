#include <lumaro/render/core/RenderPass.h>

#include <lumaro/testsupport/render/TestDevice.h>

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

namespace {

using Render::RenderPass;
using Render::ShaderConfiguration;
using Render::Testing::GpuTest;

class RenderPassTest : public GpuTest {
protected:
    RenderPass makePass(unsigned width, unsigned height)
    {
        RenderPass pass(gpu.devicePtr(), width, height);
        pass.addDepthBuffer(D3D11_CLEAR_DEPTH, 0.25f, 0);
        EXPECT_EQ(pass.addRenderTarget("color", DXGI_FORMAT_B8G8R8A8_UNORM), 0u);
        EXPECT_EQ(pass.addRenderTarget("position", DXGI_FORMAT_R32G32B32A32_FLOAT), 1u);
        return pass;
    }

    // The bound render-target views and depth view of the context, released at once.
    std::pair<unsigned, bool> boundOutputs()
    {
        ID3D11RenderTargetView* views[D3D11_SIMULTANEOUS_RENDER_TARGET_COUNT] = {};
        ID3D11DepthStencilView* depth = nullptr;
        gpu.context()->OMGetRenderTargets(D3D11_SIMULTANEOUS_RENDER_TARGET_COUNT, views, &depth);
        unsigned count = 0;
        for (ID3D11RenderTargetView* view : views) {
            if (view) {
                ++count;
                view->Release();
            }
        }
        if (depth)
            depth->Release();
        return {count, depth != nullptr};
    }
};

TEST_F(RenderPassTest, ClearsEachTargetWithItsOwnValueAndTheDepthOnlyWhenAsked)
{
    RenderPass pass = makePass(3, 2);
    ID3D11DeviceContext* context = gpu.context();
    pass.setClearValue("color", Math::Color(255, 51, 0, 102));
    pass.setClearValue("position", 1.5f, -2.0f, 3.25f, 1.0f);

    pass.clearAllRenderTargets(context, false);
    const auto color = gpu.readBack(pass.texture("color").get(), 4);
    ASSERT_EQ(color.size(), 3u * 2u * 4u);
    for (std::size_t texel = 0; texel < 6; ++texel) {
        // B8G8R8A8 bytes: blue, green, red, alpha.
        EXPECT_EQ(color[texel * 4 + 0], 0);
        EXPECT_EQ(color[texel * 4 + 1], 51);
        EXPECT_EQ(color[texel * 4 + 2], 255);
        EXPECT_EQ(color[texel * 4 + 3], 102);
    }
    const auto position = gpu.readBack(pass.texture("position").get(), 16);
    float last[4];
    std::memcpy(last, position.data() + position.size() - 16, 16);
    EXPECT_EQ(last[0], 1.5f);
    EXPECT_EQ(last[1], -2.0f);
    EXPECT_EQ(last[2], 3.25f);
    EXPECT_EQ(last[3], 1.0f);

    // The depth buffer is created uncleared; only clearing with depth writes its clear value.
    pass.clearAllRenderTargets(context, true);
    float depth = 0.0f;
    std::memcpy(&depth, gpu.readBack(pass.depthTexture().get(), 4).data(), 4);
    EXPECT_EQ(depth, 0.25f);
    pass.setDepthStencilClearValues(D3D11_CLEAR_DEPTH, 0.75f, 0);
    pass.clearAllRenderTargets(context, false);
    std::memcpy(&depth, gpu.readBack(pass.depthTexture().get(), 4).data(), 4);
    EXPECT_EQ(depth, 0.25f);
    pass.clearAllRenderTargets(context, true);
    std::memcpy(&depth, gpu.readBack(pass.depthTexture().get(), 4).data(), 4);
    EXPECT_EQ(depth, 0.75f);
}

TEST_F(RenderPassTest, ResizingRecreatesEveryTextureAndKeepsFormatsAndClearValues)
{
    RenderPass pass = makePass(4, 4);
    pass.setClearValue("color", Math::Color(1, 2, 3, 4));
    pass.setViewport(7, 5);
    EXPECT_EQ(pass.width(), 7u);
    EXPECT_EQ(pass.height(), 5u);

    for (const auto& [texture, format] : {std::pair{pass.texture("color").get(), DXGI_FORMAT_B8G8R8A8_UNORM},
                                          std::pair{pass.texture("position").get(), DXGI_FORMAT_R32G32B32A32_FLOAT},
                                          std::pair{pass.depthTexture().get(), DXGI_FORMAT_R32_TYPELESS}}) {
        D3D11_TEXTURE2D_DESC desc{};
        texture->GetDesc(&desc);
        EXPECT_EQ(desc.Width, 7u);
        EXPECT_EQ(desc.Height, 5u);
        EXPECT_EQ(desc.Format, format);
    }

    pass.begin(gpu.context());
    EXPECT_EQ(boundOutputs(), std::make_pair(2u, true)) << "the views follow the new textures";
    pass.end(gpu.context());
    pass.clear(gpu.context(), "color");
    const auto color = gpu.readBack(pass.texture("color").get(), 4);
    EXPECT_EQ(color[0], 3);
    EXPECT_EQ(color[2], 1);
    EXPECT_EQ(color[3], 4);

    // A zero size leaves the pass without textures; binding and clearing it still work.
    pass.setViewport(0, 5);
    EXPECT_EQ(pass.texture("color").get(), nullptr);
    pass.begin(gpu.context());
    pass.clearAllRenderTargets(gpu.context(), true);
    pass.end(gpu.context());
    pass.setViewport(2, 2);
    EXPECT_NE(pass.texture("color").get(), nullptr);
}

} // namespace
