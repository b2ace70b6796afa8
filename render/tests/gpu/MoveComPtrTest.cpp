// Ownership rules shared by every wrapper: exactly one reference per wrapper, moves hand it over.
#include "TestDevice.h"

#include <lumaro/render/gpu/BlendState.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/DepthStencilState.h>
#include <lumaro/render/gpu/DepthStencilView.h>
#include <lumaro/render/gpu/MoveComPtr.h>
#include <lumaro/render/gpu/RasterizerState.h>
#include <lumaro/render/gpu/RenderTargetView.h>
#include <lumaro/render/gpu/SamplerState.h>
#include <lumaro/render/gpu/ShaderResourceView.h>
#include <lumaro/render/gpu/Texture1d.h>
#include <lumaro/render/gpu/Texture2d.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace {

using Render::ComPtr;
using Render::Testing::GpuTest;
using Render::Testing::referenceCount;
using Render::Testing::TestDevice;
using Render::Testing::textureDesc;

// Each factory makes a distinct object per `variant`. The device hands out the same state object
// for identical state descriptions, so state wrappers of equal variants share one object.
struct MakeRenderTargetView {
    static constexpr bool sharedWhenEqual = false;
    static Render::RenderTargetView make(const TestDevice& gpu, int)
    {
        const auto texture = gpu.createTexture(textureDesc(4, 4, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_RENDER_TARGET));
        return {gpu.device(), texture.Get(), {0.0f, 0.0f, 0.0f, 1.0f}};
    }
};

struct MakeDepthStencilView {
    static constexpr bool sharedWhenEqual = false;
    static Render::DepthStencilView make(const TestDevice& gpu, int)
    {
        const auto texture = gpu.createTexture(textureDesc(4, 4, DXGI_FORMAT_D32_FLOAT, D3D11_BIND_DEPTH_STENCIL));
        return {gpu.device(), texture.Get(), D3D11_CLEAR_DEPTH, 1.0f, 0};
    }
};

struct MakeShaderResourceView {
    static constexpr bool sharedWhenEqual = false;
    static Render::ShaderResourceView make(const TestDevice& gpu, int)
    {
        const auto texture =
            gpu.createTexture(textureDesc(4, 4, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE));
        return {gpu.device(), texture.Get(), nullptr};
    }
};

struct MakeTexture1d {
    static constexpr bool sharedWhenEqual = false;
    static Render::Texture1d make(const TestDevice& gpu, int)
    {
        D3D11_TEXTURE1D_DESC desc{};
        desc.Width = 16;
        desc.MipLevels = 1;
        desc.ArraySize = 1;
        desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
        desc.Usage = D3D11_USAGE_DEFAULT;
        desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
        return {gpu.device(), desc};
    }
};

struct MakeTexture2d {
    static constexpr bool sharedWhenEqual = false;
    static Render::Texture2d make(const TestDevice& gpu, int)
    {
        return {gpu.device(), textureDesc(4, 4, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE)};
    }
};

struct MakeSamplerState {
    static constexpr bool sharedWhenEqual = true;
    static Render::SamplerState make(const TestDevice& gpu, int variant)
    {
        D3D11_SAMPLER_DESC desc{};
        desc.Filter = D3D11_FILTER_MIN_MAG_MIP_LINEAR;
        desc.AddressU = desc.AddressV = desc.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
        desc.MaxAnisotropy = 1;
        desc.ComparisonFunc = D3D11_COMPARISON_NEVER;
        desc.MinLOD = static_cast<float>(variant);
        desc.MaxLOD = D3D11_FLOAT32_MAX;
        return {gpu.device(), desc};
    }
};

struct MakeBlendState {
    static constexpr bool sharedWhenEqual = true;
    static Render::BlendState make(const TestDevice& gpu, int variant)
    {
        D3D11_BLEND_DESC desc{};
        for (auto& target : desc.RenderTarget) {
            target.SrcBlend = target.SrcBlendAlpha = D3D11_BLEND_ONE;
            target.DestBlend = target.DestBlendAlpha = D3D11_BLEND_ZERO;
            target.BlendOp = target.BlendOpAlpha = D3D11_BLEND_OP_ADD;
            target.RenderTargetWriteMask = D3D11_COLOR_WRITE_ENABLE_ALL;
        }
        desc.RenderTarget[0].RenderTargetWriteMask = static_cast<UINT8>(1 + variant);
        return {gpu.device(), desc};
    }
};

struct MakeDepthStencilState {
    static constexpr bool sharedWhenEqual = true;
    static Render::DepthStencilState make(const TestDevice& gpu, int variant)
    {
        return {gpu.device(), false, true, variant % 2 == 0};
    }
};

struct MakeRasterizerState {
    static constexpr bool sharedWhenEqual = true;
    static Render::RasterizerState make(const TestDevice& gpu, int variant)
    {
        D3D11_RASTERIZER_DESC desc{};
        desc.FillMode = D3D11_FILL_SOLID;
        desc.CullMode = D3D11_CULL_NONE;
        desc.DepthBias = variant;
        desc.DepthClipEnable = TRUE;
        return {gpu.device(), desc};
    }
};

template <class Factory>
class WrapperOwnership : public GpuTest {
protected:
    auto make(int variant) { return Factory::make(gpu, variant); }
};

using Factories = testing::Types<MakeRenderTargetView, MakeDepthStencilView, MakeShaderResourceView, MakeTexture1d, MakeTexture2d,
                                 MakeSamplerState, MakeBlendState, MakeDepthStencilState, MakeRasterizerState>;
TYPED_TEST_SUITE(WrapperOwnership, Factories);

TYPED_TEST(WrapperOwnership, DefaultIsEmptyAndCreationHoldsOneReference)
{
    const decltype(this->make(0)) empty;
    EXPECT_EQ(empty.get(), nullptr);
    const auto live = this->make(0);
    ASSERT_NE(live.get(), nullptr);
    EXPECT_EQ(referenceCount(live.get()), 1u);
}

TYPED_TEST(WrapperOwnership, MoveConstructionHandsTheReferenceOver)
{
    auto source = this->make(0);
    auto* const object = source.get();
    const auto target = std::move(source);
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(target.get(), object);
    EXPECT_EQ(referenceCount(object), 1u);
}

TYPED_TEST(WrapperOwnership, MoveAssignmentReleasesWhatTheTargetHeld)
{
    auto source = this->make(0);
    auto target = this->make(1);
    auto* const moved = source.get();
    ComPtr<std::remove_pointer_t<decltype(target.get())>> previous(target.get());
    ASSERT_NE(previous.Get(), moved);
    ASSERT_EQ(referenceCount(previous.Get()), 2u);

    target = std::move(source);
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(target.get(), moved);
    EXPECT_EQ(referenceCount(moved), 1u);
    EXPECT_EQ(referenceCount(previous.Get()), 1u) << "the target's old reference was not released";

    // A moved-from or default wrapper may be assigned to again.
    source = this->make(1);
    EXPECT_NE(source.get(), nullptr);
    decltype(this->make(0)) fresh;
    fresh = std::move(target);
    EXPECT_EQ(fresh.get(), moved);
    EXPECT_EQ(referenceCount(moved), 1u);
}

TYPED_TEST(WrapperOwnership, MoveAssignmentOfTheSameObjectChangesNothing)
{
    auto wrapper = this->make(0);
    auto* const object = wrapper.get();
    auto& alias = wrapper;
    wrapper = std::move(alias);
    EXPECT_EQ(wrapper.get(), object);
    EXPECT_EQ(referenceCount(object), 1u);

    if constexpr (TypeParam::sharedWhenEqual) {
        auto twin = this->make(0);
        ASSERT_EQ(twin.get(), object) << "the device made a second object for an identical description";
        ASSERT_EQ(referenceCount(object), 2u);
        wrapper = std::move(twin);
        EXPECT_EQ(twin.get(), object) << "the source keeps its reference when both hold the same object";
        EXPECT_EQ(wrapper.get(), object);
        EXPECT_EQ(referenceCount(object), 2u);
    }
}

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
