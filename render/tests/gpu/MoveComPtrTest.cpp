// The ownership rule every wrapper moves by: exactly one reference per wrapper, moves hand it over.
#include <lumaro/testsupport/render/TestDevice.h>

#include <lumaro/render/gpu/MoveComPtr.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

using Render::ComPtr;
using Render::Testing::referenceCount;
using Render::Testing::TestDevice;
using Render::Testing::textureDesc;

TEST(MoveComPtr, HandsOverBetweenPointersAndLeavesEqualOnesAlone)
{
    const TestDevice gpu;
    const auto desc = textureDesc(2, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE);
    ComPtr<ID3D11Texture2D> source = gpu.createTexture(desc);
    ComPtr<ID3D11Texture2D> target = gpu.createTexture(desc);
    ComPtr<ID3D11Texture2D> observer = target;
    ID3D11Texture2D* const moved = source.Get();

    Render::moveComPtr(target, source);
    EXPECT_EQ(source.Get(), nullptr);
    EXPECT_EQ(target.Get(), moved);
    EXPECT_EQ(referenceCount(moved), 1u);
    EXPECT_EQ(referenceCount(observer.Get()), 1u);

    ComPtr<ID3D11Texture2D> second = target;
    Render::moveComPtr(target, second);
    EXPECT_EQ(second.Get(), moved);
    EXPECT_EQ(target.Get(), moved);
    EXPECT_EQ(referenceCount(moved), 2u);

    ComPtr<ID3D11Texture2D> empty;
    Render::moveComPtr(target, empty);
    EXPECT_EQ(target.Get(), nullptr);
    EXPECT_EQ(referenceCount(moved), 1u);
}

} // namespace
