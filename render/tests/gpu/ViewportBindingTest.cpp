#include "TestDevice.h"

#include <lumaro/render/gpu/Viewport.h>

#include <d3d11.h>

namespace {

using ViewportBindingTest = Render::Testing::GpuTest;

TEST_F(ViewportBindingTest, BindsExactlyOneViewportWithAllSixValues)
{
    Render::Viewport viewport(12, 34, 800, 600);
    viewport.setDepthRange(0.25f, 0.5f);
    viewport.set(gpu.context());

    D3D11_VIEWPORT bound[D3D11_VIEWPORT_AND_SCISSORRECT_OBJECT_COUNT_PER_PIPELINE]{};
    UINT count = D3D11_VIEWPORT_AND_SCISSORRECT_OBJECT_COUNT_PER_PIPELINE;
    gpu.context()->RSGetViewports(&count, bound);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(bound[0].TopLeftX, 12.0f);
    EXPECT_EQ(bound[0].TopLeftY, 34.0f);
    EXPECT_EQ(bound[0].Width, 800.0f);
    EXPECT_EQ(bound[0].Height, 600.0f);
    EXPECT_EQ(bound[0].MinDepth, 0.25f);
    EXPECT_EQ(bound[0].MaxDepth, 0.5f);
}

TEST_F(ViewportBindingTest, ReplacesEarlierViewports)
{
    D3D11_VIEWPORT two[2]{};
    two[0].Width = two[1].Width = 16.0f;
    two[0].Height = two[1].Height = 16.0f;
    two[0].MaxDepth = two[1].MaxDepth = 1.0f;
    gpu.context()->RSSetViewports(2, two);

    Render::Viewport(320, 240).set(gpu.context());

    D3D11_VIEWPORT bound[D3D11_VIEWPORT_AND_SCISSORRECT_OBJECT_COUNT_PER_PIPELINE]{};
    UINT count = D3D11_VIEWPORT_AND_SCISSORRECT_OBJECT_COUNT_PER_PIPELINE;
    gpu.context()->RSGetViewports(&count, bound);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(bound[0].Width, 320.0f);
    EXPECT_EQ(bound[0].Height, 240.0f);
    EXPECT_EQ(bound[0].MinDepth, 0.0f);
    EXPECT_EQ(bound[0].MaxDepth, 1.0f);
}

} // namespace
