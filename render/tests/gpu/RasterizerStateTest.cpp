#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/RasterizerState.h>

#include <gtest/gtest.h>

namespace {

using Render::RasterizerState;

class RasterizerStateTest : public Render::Testing::GpuTest {};

TEST_F(RasterizerStateTest, IsCreatedFromItsDescriptionAndSet)
{
    D3D11_RASTERIZER_DESC given{};
    given.FillMode = D3D11_FILL_WIREFRAME;
    given.CullMode = D3D11_CULL_FRONT;
    given.FrontCounterClockwise = TRUE;
    given.DepthClipEnable = TRUE;
    given.ScissorEnable = TRUE;
    const RasterizerState state(gpu.device(), given);

    D3D11_RASTERIZER_DESC desc{};
    state.get()->GetDesc(&desc);
    EXPECT_EQ(desc.FillMode, D3D11_FILL_WIREFRAME);
    EXPECT_EQ(desc.CullMode, D3D11_CULL_FRONT);
    EXPECT_TRUE(desc.FrontCounterClockwise);
    EXPECT_TRUE(desc.ScissorEnable);

    state.set(gpu.context());
    Render::ComPtr<ID3D11RasterizerState> bound;
    gpu.context()->RSGetState(&bound);
    EXPECT_EQ(bound.Get(), state.get());
}

TEST_F(RasterizerStateTest, InvalidDescriptionThrows)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine does not validate rasterizer descriptions";
    D3D11_RASTERIZER_DESC desc{};
    desc.FillMode = D3D11_FILL_SOLID;
    desc.CullMode = static_cast<D3D11_CULL_MODE>(0);
    EXPECT_THROW(RasterizerState(gpu.device(), desc), Render::ComException);
}

} // namespace
