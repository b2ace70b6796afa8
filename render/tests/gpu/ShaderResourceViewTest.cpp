#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ShaderResourceView.h>

#include <gtest/gtest.h>

namespace {

using Render::ShaderConfiguration;
using Render::ShaderResourceView;
using Render::Testing::textureDesc;

class ShaderResourceViewTest : public Render::Testing::GpuTest {};

TEST_F(ShaderResourceViewTest, WithoutDescriptionViewsTheWholeResourceInItsFormat)
{
    auto desc = textureDesc(4, 4, DXGI_FORMAT_R16G16_FLOAT, D3D11_BIND_SHADER_RESOURCE);
    desc.ArraySize = 3;
    const auto texture = gpu.createTexture(desc);
    const ShaderResourceView view(gpu.device(), texture.Get(), nullptr);

    D3D11_SHADER_RESOURCE_VIEW_DESC viewDesc{};
    view.get()->GetDesc(&viewDesc);
    EXPECT_EQ(viewDesc.Format, DXGI_FORMAT_R16G16_FLOAT);
    EXPECT_EQ(viewDesc.ViewDimension, D3D11_SRV_DIMENSION_TEXTURE2DARRAY);
    EXPECT_EQ(viewDesc.Texture2DArray.ArraySize, 3u);
    EXPECT_EQ(viewDesc.Texture2DArray.MipLevels, 1u);
    EXPECT_EQ(view.stages(), ShaderConfiguration{});
    EXPECT_EQ(view.slot(), 0u);
}

TEST_F(ShaderResourceViewTest, DescriptionChoosesTheFormat)
{
    const auto texture = gpu.createTexture(
        textureDesc(4, 4, DXGI_FORMAT_R32_TYPELESS, D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_DEPTH_STENCIL));
    D3D11_SHADER_RESOURCE_VIEW_DESC desc{};
    desc.Format = DXGI_FORMAT_R32_FLOAT;
    desc.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    desc.Texture2D.MipLevels = 1;
    const ShaderResourceView view(gpu.device(), texture.Get(), &desc);

    D3D11_SHADER_RESOURCE_VIEW_DESC viewDesc{};
    view.get()->GetDesc(&viewDesc);
    EXPECT_EQ(viewDesc.Format, DXGI_FORMAT_R32_FLOAT);
    EXPECT_EQ(viewDesc.ViewDimension, D3D11_SRV_DIMENSION_TEXTURE2D);

    // A typeless resource has no format of its own to view it in.
    EXPECT_THROW(ShaderResourceView(gpu.device(), texture.Get(), nullptr), Render::ComException);
}

TEST_F(ShaderResourceViewTest, MovingCarriesTheBinding)
{
    const auto texture = gpu.createTexture(textureDesc(2, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE));
    ShaderResourceView source(gpu.device(), texture.Get(), nullptr);
    source.begin(gpu.context(), ShaderConfiguration::Pixel, 4);

    ShaderResourceView moved(std::move(source));
    EXPECT_EQ(moved.stages(), ShaderConfiguration::Pixel);
    EXPECT_EQ(moved.slot(), 4u);

    ShaderResourceView assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.stages(), ShaderConfiguration::Pixel);
    EXPECT_EQ(assigned.slot(), 4u);
    assigned.end(gpu.context());
    Render::ComPtr<ID3D11ShaderResourceView> bound;
    gpu.context()->PSGetShaderResources(4, 1, &bound);
    EXPECT_EQ(bound.Get(), nullptr);
}

} // namespace
