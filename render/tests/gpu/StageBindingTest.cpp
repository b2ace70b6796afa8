// Binding to shader stages, common to shader-resource views and samplers: what begin and end do to
// the device's slots and how misuse is reported.
#include "TestDevice.h"

#include <lumaro/render/gpu/SamplerState.h>
#include <lumaro/render/gpu/ShaderResourceView.h>

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using Render::ShaderConfiguration;
using testing::StrEq;
using testing::ThrowsMessage;

constexpr auto allStages =
    ShaderConfiguration::Vertex | ShaderConfiguration::Geometry | ShaderConfiguration::Pixel | ShaderConfiguration::Compute;

struct ViewBinding {
    using Object = Render::ShaderResourceView;

    static Object make(const Render::Testing::TestDevice& gpu)
    {
        const auto texture = gpu.createTexture(
            Render::Testing::textureDesc(2, 2, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE));
        return Object(gpu.device(), texture.Get(), nullptr);
    }

    // What the device has in `slot` of `stage`.
    static Render::ComPtr<ID3D11ShaderResourceView> bound(ID3D11DeviceContext* context, ShaderConfiguration stage,
                                                          unsigned slot)
    {
        Render::ComPtr<ID3D11ShaderResourceView> view;
        switch (stage) {
        case ShaderConfiguration::Vertex: context->VSGetShaderResources(slot, 1, &view); break;
        case ShaderConfiguration::Geometry: context->GSGetShaderResources(slot, 1, &view); break;
        case ShaderConfiguration::Pixel: context->PSGetShaderResources(slot, 1, &view); break;
        case ShaderConfiguration::Compute: context->CSGetShaderResources(slot, 1, &view); break;
        }
        return view;
    }
};

struct SamplerBinding {
    using Object = Render::SamplerState;

    static Object make(const Render::Testing::TestDevice& gpu)
    {
        D3D11_SAMPLER_DESC desc{};
        desc.Filter = D3D11_FILTER_MIN_MAG_MIP_POINT;
        desc.AddressU = desc.AddressV = desc.AddressW = D3D11_TEXTURE_ADDRESS_CLAMP;
        desc.ComparisonFunc = D3D11_COMPARISON_NEVER;
        desc.MaxLOD = D3D11_FLOAT32_MAX;
        return Object(gpu.device(), desc);
    }

    static Render::ComPtr<ID3D11SamplerState> bound(ID3D11DeviceContext* context, ShaderConfiguration stage,
                                                    unsigned slot)
    {
        Render::ComPtr<ID3D11SamplerState> sampler;
        switch (stage) {
        case ShaderConfiguration::Vertex: context->VSGetSamplers(slot, 1, &sampler); break;
        case ShaderConfiguration::Geometry: context->GSGetSamplers(slot, 1, &sampler); break;
        case ShaderConfiguration::Pixel: context->PSGetSamplers(slot, 1, &sampler); break;
        case ShaderConfiguration::Compute: context->CSGetSamplers(slot, 1, &sampler); break;
        }
        return sampler;
    }
};

template <class Binding>
class StageBinding : public Render::Testing::GpuTest {
protected:
    // Expects exactly the stages of `stages` to hold `expected` in `slot`, the others null.
    void expectBound(ShaderConfiguration stages, unsigned slot, const void* expected)
    {
        for (const auto stage : {ShaderConfiguration::Vertex, ShaderConfiguration::Geometry, ShaderConfiguration::Pixel,
                                 ShaderConfiguration::Compute}) {
            const void* want = Render::contains(stages, stage) ? expected : nullptr;
            EXPECT_EQ(Binding::bound(gpu.context(), stage, slot).Get(), want)
                << "stage " << static_cast<unsigned>(stage) << ", slot " << slot;
        }
    }
};

using Bindings = testing::Types<ViewBinding, SamplerBinding>;
TYPED_TEST_SUITE(StageBinding, Bindings);

TYPED_TEST(StageBinding, BeginSetsTheSlotOfEachStageAndEndClearsIt)
{
    auto object = TypeParam::make(this->gpu);
    ASSERT_NE(object.get(), nullptr);
    EXPECT_EQ(object.stages(), ShaderConfiguration{});

    object.begin(this->gpu.context(), allStages, 3);
    EXPECT_EQ(object.stages(), allStages);
    EXPECT_EQ(object.slot(), 3u);
    this->expectBound(allStages, 3, object.get());
    this->expectBound(ShaderConfiguration{}, 2, nullptr);

    object.end(this->gpu.context());
    EXPECT_EQ(object.stages(), ShaderConfiguration{});
    EXPECT_EQ(object.slot(), 0u);
    this->expectBound(ShaderConfiguration{}, 3, nullptr);

    const auto other = ShaderConfiguration::Pixel | ShaderConfiguration::Geometry;
    object.begin(this->gpu.context(), other, 1);
    this->expectBound(other, 1, object.get());
    object.end(this->gpu.context());
    this->expectBound(ShaderConfiguration{}, 1, nullptr);
}

TYPED_TEST(StageBinding, EndLeavesOtherSlotsAlone)
{
    auto first = TypeParam::make(this->gpu);
    auto second = TypeParam::make(this->gpu);
    first.begin(this->gpu.context(), ShaderConfiguration::Pixel, 0);
    second.begin(this->gpu.context(), ShaderConfiguration::Pixel, 1);
    second.end(this->gpu.context());
    this->expectBound(ShaderConfiguration::Pixel, 0, first.get());
    this->expectBound(ShaderConfiguration{}, 1, nullptr);
    first.end(this->gpu.context());
}

TYPED_TEST(StageBinding, MisusedPairingThrowsAndChangesNothing)
{
    auto object = TypeParam::make(this->gpu);
    EXPECT_THAT([&] { object.end(this->gpu.context()); },
                ThrowsMessage<std::logic_error>(StrEq("Error: begin call is missing")));

    object.begin(this->gpu.context(), ShaderConfiguration::Vertex, 5);
    EXPECT_THAT([&] { object.begin(this->gpu.context(), ShaderConfiguration::Compute, 6); },
                ThrowsMessage<std::logic_error>(StrEq("Error: end call is missing")));
    EXPECT_EQ(object.stages(), ShaderConfiguration::Vertex);
    EXPECT_EQ(object.slot(), 5u);
    this->expectBound(ShaderConfiguration::Vertex, 5, object.get());
    this->expectBound(ShaderConfiguration{}, 6, nullptr);

    object.end(this->gpu.context());
    EXPECT_THAT([&] { object.end(this->gpu.context()); },
                ThrowsMessage<std::logic_error>(StrEq("Error: begin call is missing")));
}

} // namespace
