#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/RenderTargetView.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

using Render::RenderTargetView;
using Render::Testing::textureDesc;

class RenderTargetViewTest : public Render::Testing::GpuTest {
protected:
    Render::ComPtr<ID3D11Texture2D> texture =
        gpu.createTexture(textureDesc(3, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_RENDER_TARGET));

    // Every texel after a clear, as R, G, B, A bytes.
    std::vector<std::uint8_t> clearedTexels(const RenderTargetView& view)
    {
        view.clear(gpu.context());
        return gpu.readBack(texture.Get(), 4);
    }

    static std::vector<std::uint8_t> repeated(std::array<std::uint8_t, 4> texel)
    {
        std::vector<std::uint8_t> texels(6 * texel.size());
        for (std::size_t i = 0; i < texels.size(); ++i)
            texels[i] = texel[i % texel.size()];
        return texels;
    }
};

TEST_F(RenderTargetViewTest, ViewsTheResourceInItsOwnFormatAndClearsToItsValue)
{
    RenderTargetView view(gpu.device(), texture.Get(), {1.0f, 0.0f, 0.0f, 1.0f});
    D3D11_RENDER_TARGET_VIEW_DESC desc{};
    view.get()->GetDesc(&desc);
    EXPECT_EQ(desc.Format, DXGI_FORMAT_R8G8B8A8_UNORM);
    EXPECT_EQ(desc.ViewDimension, D3D11_RTV_DIMENSION_TEXTURE2D);
    EXPECT_EQ(desc.Texture2D.MipSlice, 0u);

    EXPECT_EQ(view.clearValue(), (std::array<float, 4>{1.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(clearedTexels(view), repeated({255, 0, 0, 255}));
}

TEST_F(RenderTargetViewTest, ClearValueSettersFillAllFourComponents)
{
    RenderTargetView view(gpu.device(), texture.Get(), {});

    // 0..255 becomes 0..1: 51 / 255 = 0.2, 128 / 255 ≈ 0.50196.
    view.setClearValue(Math::Color(0, 128, 255, 51));
    EXPECT_FLOAT_EQ(view.clearValue()[0], 0.0f);
    EXPECT_FLOAT_EQ(view.clearValue()[1], 128.0f / 255.0f);
    EXPECT_FLOAT_EQ(view.clearValue()[2], 1.0f);
    EXPECT_FLOAT_EQ(view.clearValue()[3], 0.2f);
    EXPECT_EQ(clearedTexels(view), repeated({0, 128, 255, 51}));

    view.setClearValue(0.0f, 1.0f, 0.0f, 0.0f);
    EXPECT_EQ(view.clearValue(), (std::array<float, 4>{0.0f, 1.0f, 0.0f, 0.0f}));
    EXPECT_EQ(clearedTexels(view), repeated({0, 255, 0, 0}));

    view.setClearValue(std::array<float, 4>{0.0f, 0.0f, 1.0f, 1.0f});
    EXPECT_EQ(clearedTexels(view), repeated({0, 0, 255, 255}));

    view.setClearValue(1.0f);
    EXPECT_EQ(view.clearValue(), (std::array<float, 4>{1.0f, 1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(clearedTexels(view), repeated({255, 255, 255, 255}));
}

TEST_F(RenderTargetViewTest, MovingCarriesTheClearValue)
{
    RenderTargetView source(gpu.device(), texture.Get(), {0.25f, 0.5f, 0.75f, 1.0f});
    const RenderTargetView constructed(std::move(source));
    EXPECT_EQ(constructed.clearValue(), (std::array<float, 4>{0.25f, 0.5f, 0.75f, 1.0f}));

    RenderTargetView assigned;
    source = RenderTargetView(gpu.device(), texture.Get(), {0.5f, 0.5f, 0.5f, 0.5f});
    assigned = std::move(source);
    EXPECT_EQ(assigned.clearValue(), (std::array<float, 4>{0.5f, 0.5f, 0.5f, 0.5f}));
    EXPECT_EQ(RenderTargetView().clearValue(), (std::array<float, 4>{}));
}

TEST_F(RenderTargetViewTest, ResourceThatCannotBeATargetThrows)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine makes render-target views of any texture";
    const auto plain = gpu.createTexture(textureDesc(3, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE));
    EXPECT_THROW(RenderTargetView(gpu.device(), plain.Get(), {}), Render::ComException);
}

} // namespace
