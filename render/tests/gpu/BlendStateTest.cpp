#include "TestDevice.h"

#include <lumaro/render/gpu/BlendState.h>
#include <lumaro/render/gpu/ComException.h>

#include <gtest/gtest.h>

namespace {

using Render::BlendState;

D3D11_BLEND_DESC alphaBlending()
{
    D3D11_BLEND_DESC desc{};
    desc.IndependentBlendEnable = TRUE;
    for (auto& target : desc.RenderTarget) {
        target.SrcBlend = target.SrcBlendAlpha = D3D11_BLEND_ONE;
        target.DestBlend = target.DestBlendAlpha = D3D11_BLEND_ZERO;
        target.BlendOp = target.BlendOpAlpha = D3D11_BLEND_OP_ADD;
        target.RenderTargetWriteMask = D3D11_COLOR_WRITE_ENABLE_ALL;
    }
    desc.RenderTarget[0].BlendEnable = TRUE;
    desc.RenderTarget[0].SrcBlend = D3D11_BLEND_SRC_ALPHA;
    desc.RenderTarget[0].DestBlend = D3D11_BLEND_INV_SRC_ALPHA;
    return desc;
}

class BlendStateTest : public Render::Testing::GpuTest {};

TEST_F(BlendStateTest, IsCreatedFromItsDescription)
{
    const BlendState state(gpu.device(), alphaBlending());
    D3D11_BLEND_DESC desc{};
    state.get()->GetDesc(&desc);
    EXPECT_TRUE(desc.IndependentBlendEnable);
    EXPECT_TRUE(desc.RenderTarget[0].BlendEnable);
    EXPECT_EQ(desc.RenderTarget[0].SrcBlend, D3D11_BLEND_SRC_ALPHA);
    EXPECT_EQ(desc.RenderTarget[0].DestBlend, D3D11_BLEND_INV_SRC_ALPHA);
    EXPECT_FALSE(desc.RenderTarget[1].BlendEnable);
}

TEST_F(BlendStateTest, SetBindsStateFactorAndMask)
{
    const BlendState state(gpu.device(), alphaBlending());
    float factor[4] = {0.25f, 0.5f, 0.75f, 1.0f};
    state.set(gpu.context(), factor, 0x0000FF0Fu);

    Render::ComPtr<ID3D11BlendState> bound;
    float boundFactor[4] = {};
    UINT boundMask = 0;
    gpu.context()->OMGetBlendState(&bound, boundFactor, &boundMask);
    EXPECT_EQ(bound.Get(), state.get());
    EXPECT_EQ(boundFactor[0], 0.25f);
    EXPECT_EQ(boundFactor[2], 0.75f);
    EXPECT_EQ(boundMask, 0x0000FF0Fu);

    // No factor means factors of one.
    state.set(gpu.context(), nullptr, 0xFFFFFFFFu);
    bound.Reset();
    gpu.context()->OMGetBlendState(&bound, boundFactor, &boundMask);
    EXPECT_EQ(boundFactor[0], 1.0f);
    EXPECT_EQ(boundFactor[3], 1.0f);
    EXPECT_EQ(boundMask, 0xFFFFFFFFu);
}

TEST_F(BlendStateTest, InvalidDescriptionThrows)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine does not validate blend descriptions";
    auto desc = alphaBlending();
    desc.RenderTarget[0].BlendOp = static_cast<D3D11_BLEND_OP>(0);
    EXPECT_THROW(BlendState(gpu.device(), desc), Render::ComException);
}

} // namespace
