#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/DepthStencilView.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Render::DepthStencilView;
using Render::Testing::textureDesc;

class DepthStencilViewTest : public Render::Testing::GpuTest {
protected:
    std::vector<float> depths(ID3D11Texture2D* texture)
    {
        const auto bytes = gpu.readBack(texture, 4);
        std::vector<float> values(bytes.size() / 4);
        std::memcpy(values.data(), bytes.data(), bytes.size());
        return values;
    }
};

TEST_F(DepthStencilViewTest, IsAFloatDepthViewOfTheFirstMip)
{
    // A typeless texture, as used for depth that is also read by shaders: the view decides the format.
    const auto texture = gpu.createTexture(
        textureDesc(4, 2, DXGI_FORMAT_R32_TYPELESS, D3D11_BIND_DEPTH_STENCIL | D3D11_BIND_SHADER_RESOURCE));
    const DepthStencilView view(gpu.device(), texture.Get(), D3D11_CLEAR_DEPTH, 0.25f, 7);

    D3D11_DEPTH_STENCIL_VIEW_DESC desc{};
    view.get()->GetDesc(&desc);
    EXPECT_EQ(desc.Format, DXGI_FORMAT_D32_FLOAT);
    EXPECT_EQ(desc.ViewDimension, D3D11_DSV_DIMENSION_TEXTURE2D);
    EXPECT_EQ(desc.Flags, 0u);
    EXPECT_EQ(desc.Texture2D.MipSlice, 0u);

    EXPECT_EQ(view.clearFlags(), static_cast<unsigned>(D3D11_CLEAR_DEPTH));
    EXPECT_EQ(view.depthClearValue(), 0.25f);
    EXPECT_EQ(view.stencilClearValue(), 7);
}

TEST_F(DepthStencilViewTest, ClearsWithItsFlagsAndValues)
{
    const auto texture = gpu.createTexture(textureDesc(4, 2, DXGI_FORMAT_D32_FLOAT, D3D11_BIND_DEPTH_STENCIL));
    DepthStencilView view(gpu.device(), texture.Get(), D3D11_CLEAR_DEPTH, 0.25f, 0);
    view.clear(gpu.context());
    EXPECT_EQ(depths(texture.Get()), std::vector<float>(8, 0.25f));

    view.setClearValues(D3D11_CLEAR_DEPTH | D3D11_CLEAR_STENCIL, 0.75f, 200);
    EXPECT_EQ(view.clearFlags(), static_cast<unsigned>(D3D11_CLEAR_DEPTH | D3D11_CLEAR_STENCIL));
    EXPECT_EQ(view.depthClearValue(), 0.75f);
    EXPECT_EQ(view.stencilClearValue(), 200);
    view.clear(gpu.context());
    EXPECT_EQ(depths(texture.Get()), std::vector<float>(8, 0.75f));

    // Without the depth flag the depth is left as it is.
    view.setClearValues(D3D11_CLEAR_STENCIL, 0.5f, 0);
    view.clear(gpu.context());
    EXPECT_EQ(depths(texture.Get()), std::vector<float>(8, 0.75f));
}

TEST_F(DepthStencilViewTest, MovingCarriesTheClearValues)
{
    const auto texture = gpu.createTexture(textureDesc(4, 2, DXGI_FORMAT_D32_FLOAT, D3D11_BIND_DEPTH_STENCIL));
    DepthStencilView source(gpu.device(), texture.Get(), D3D11_CLEAR_STENCIL, 0.5f, 9);
    DepthStencilView assigned;
    assigned = std::move(source);
    EXPECT_EQ(assigned.clearFlags(), static_cast<unsigned>(D3D11_CLEAR_STENCIL));
    EXPECT_EQ(assigned.depthClearValue(), 0.5f);
    EXPECT_EQ(assigned.stencilClearValue(), 9);
    const DepthStencilView constructed(std::move(assigned));
    EXPECT_EQ(constructed.stencilClearValue(), 9);
    EXPECT_EQ(constructed.depthClearValue(), 0.5f);

    const DepthStencilView empty;
    EXPECT_EQ(empty.clearFlags(), 0u);
    EXPECT_EQ(empty.depthClearValue(), 0.0f);
    EXPECT_EQ(empty.stencilClearValue(), 0);
}

TEST_F(DepthStencilViewTest, ColourTextureCannotBeViewedAsDepth)
{
    const auto texture = gpu.createTexture(textureDesc(4, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_RENDER_TARGET));
    EXPECT_THROW(DepthStencilView(gpu.device(), texture.Get(), D3D11_CLEAR_DEPTH, 1.0f, 0), Render::ComException);
}

} // namespace
