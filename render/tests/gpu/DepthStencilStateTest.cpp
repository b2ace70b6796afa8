#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/DepthStencilState.h>

#include <gtest/gtest.h>

namespace {

using Render::DepthStencilState;

class DepthStencilStateTest : public Render::Testing::GpuTest {
protected:
    static D3D11_DEPTH_STENCIL_DESC descOf(const DepthStencilState& state)
    {
        D3D11_DEPTH_STENCIL_DESC desc{};
        state.get()->GetDesc(&desc);
        return desc;
    }
};

TEST_F(DepthStencilStateTest, DepthTestFollowsDirectionEnableAndWrite)
{
    struct Case {
        bool reversed, enable, write;
        D3D11_COMPARISON_FUNC func;
        D3D11_DEPTH_WRITE_MASK mask;
    };
    const Case cases[] = {
        {true, true, false, D3D11_COMPARISON_GREATER_EQUAL, D3D11_DEPTH_WRITE_MASK_ZERO},
        {true, false, true, D3D11_COMPARISON_ALWAYS, D3D11_DEPTH_WRITE_MASK_ALL},
        {false, true, true, D3D11_COMPARISON_LESS, D3D11_DEPTH_WRITE_MASK_ALL},
        {false, false, false, D3D11_COMPARISON_ALWAYS, D3D11_DEPTH_WRITE_MASK_ZERO},
        {true, true, true, D3D11_COMPARISON_GREATER_EQUAL, D3D11_DEPTH_WRITE_MASK_ALL},
        {false, true, false, D3D11_COMPARISON_LESS, D3D11_DEPTH_WRITE_MASK_ZERO},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "reversed " << c.reversed << ", enable " << c.enable << ", write " << c.write);
        const auto built = DepthStencilState::depthTestDesc(c.reversed, c.enable, c.write);
        EXPECT_EQ(built.DepthEnable, c.enable ? TRUE : FALSE);
        EXPECT_EQ(built.DepthFunc, c.func);
        EXPECT_EQ(built.DepthWriteMask, c.mask);

        // The device keeps a disabled test in its own normal form, so only an enabled one shows.
        const auto created = descOf(DepthStencilState(gpu.device(), c.reversed, c.enable, c.write));
        EXPECT_EQ(created.DepthEnable, c.enable ? TRUE : FALSE);
        if (c.enable) {
            EXPECT_EQ(created.DepthFunc, c.func);
            EXPECT_EQ(created.DepthWriteMask, c.mask);
        }
        EXPECT_FALSE(created.StencilEnable);
    }
}

TEST_F(DepthStencilStateTest, StencilIsOffWithCountingOperations)
{
    const auto desc = DepthStencilState::depthTestDesc(false, true, true);
    EXPECT_FALSE(desc.StencilEnable);
    EXPECT_EQ(desc.StencilReadMask, 0xFF);
    EXPECT_EQ(desc.StencilWriteMask, 0xFF);
    EXPECT_EQ(desc.FrontFace.StencilFailOp, D3D11_STENCIL_OP_KEEP);
    EXPECT_EQ(desc.FrontFace.StencilDepthFailOp, D3D11_STENCIL_OP_INCR);
    EXPECT_EQ(desc.FrontFace.StencilPassOp, D3D11_STENCIL_OP_KEEP);
    EXPECT_EQ(desc.FrontFace.StencilFunc, D3D11_COMPARISON_ALWAYS);
    EXPECT_EQ(desc.BackFace.StencilFailOp, D3D11_STENCIL_OP_KEEP);
    EXPECT_EQ(desc.BackFace.StencilDepthFailOp, D3D11_STENCIL_OP_DECR);
    EXPECT_EQ(desc.BackFace.StencilPassOp, D3D11_STENCIL_OP_KEEP);
    EXPECT_EQ(desc.BackFace.StencilFunc, D3D11_COMPARISON_ALWAYS);
    EXPECT_EQ(DepthStencilState::depthTestDesc(true, false, false).BackFace.StencilDepthFailOp, D3D11_STENCIL_OP_DECR);
}

TEST_F(DepthStencilStateTest, GivenDescriptionIsUsedAndSetBindsTheReference)
{
    D3D11_DEPTH_STENCIL_DESC given{};
    given.DepthEnable = TRUE;
    given.DepthWriteMask = D3D11_DEPTH_WRITE_MASK_ALL;
    given.DepthFunc = D3D11_COMPARISON_LESS_EQUAL;
    given.StencilEnable = TRUE;
    given.StencilReadMask = 0x0F;
    given.StencilWriteMask = 0xF0;
    given.FrontFace = {D3D11_STENCIL_OP_ZERO, D3D11_STENCIL_OP_KEEP, D3D11_STENCIL_OP_REPLACE, D3D11_COMPARISON_EQUAL};
    given.BackFace = given.FrontFace;
    const DepthStencilState state(gpu.device(), given);
    const auto desc = descOf(state);
    EXPECT_EQ(desc.DepthFunc, D3D11_COMPARISON_LESS_EQUAL);
    EXPECT_TRUE(desc.StencilEnable);
    EXPECT_EQ(desc.StencilReadMask, 0x0F);
    EXPECT_EQ(desc.StencilWriteMask, 0xF0);
    EXPECT_EQ(desc.FrontFace.StencilPassOp, D3D11_STENCIL_OP_REPLACE);

    state.set(gpu.context(), 5);
    Render::ComPtr<ID3D11DepthStencilState> bound;
    UINT reference = 0;
    gpu.context()->OMGetDepthStencilState(&bound, &reference);
    EXPECT_EQ(bound.Get(), state.get());
    EXPECT_EQ(reference, 5u);

}

TEST_F(DepthStencilStateTest, InvalidDescriptionThrows)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine does not validate depth-stencil descriptions";
    auto desc = DepthStencilState::depthTestDesc(false, true, true);
    desc.DepthFunc = static_cast<D3D11_COMPARISON_FUNC>(0);
    EXPECT_THROW(DepthStencilState(gpu.device(), desc), Render::ComException);
}

} // namespace
