#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/SamplerState.h>

#include <gtest/gtest.h>

namespace {

using Render::SamplerState;
using Render::ShaderConfiguration;
using Render::Testing::referenceCount;

class SamplerStateTest : public Render::Testing::GpuTest {
protected:
    static D3D11_SAMPLER_DESC pointClamp(float minLod)
    {
        D3D11_SAMPLER_DESC desc{};
        desc.Filter = D3D11_FILTER_MIN_MAG_MIP_POINT;
        desc.AddressU = D3D11_TEXTURE_ADDRESS_CLAMP;
        desc.AddressV = D3D11_TEXTURE_ADDRESS_MIRROR;
        desc.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
        desc.MaxAnisotropy = 1;
        desc.ComparisonFunc = D3D11_COMPARISON_NEVER;
        desc.MinLOD = minLod;
        desc.MaxLOD = 8.0f;
        return desc;
    }
};

TEST_F(SamplerStateTest, IsCreatedFromItsDescription)
{
    const SamplerState sampler(gpu.device(), pointClamp(2.0f));
    D3D11_SAMPLER_DESC desc{};
    sampler.get()->GetDesc(&desc);
    EXPECT_EQ(desc.Filter, D3D11_FILTER_MIN_MAG_MIP_POINT);
    EXPECT_EQ(desc.AddressU, D3D11_TEXTURE_ADDRESS_CLAMP);
    EXPECT_EQ(desc.AddressV, D3D11_TEXTURE_ADDRESS_MIRROR);
    EXPECT_EQ(desc.AddressW, D3D11_TEXTURE_ADDRESS_WRAP);
    EXPECT_EQ(desc.MinLOD, 2.0f);
    EXPECT_EQ(desc.MaxLOD, 8.0f);
    EXPECT_EQ(sampler.stages(), ShaderConfiguration{});
    EXPECT_EQ(sampler.slot(), 0u);
}

TEST_F(SamplerStateTest, InvalidDescriptionThrows)
{
    auto desc = pointClamp(0.0f);
    desc.AddressU = static_cast<D3D11_TEXTURE_ADDRESS_MODE>(0);
    EXPECT_THROW(SamplerState(gpu.device(), desc), Render::ComException);
}

TEST_F(SamplerStateTest, CopiesShareTheSamplerAndCarryTheBinding)
{
    SamplerState original(gpu.device(), pointClamp(0.0f));
    original.begin(gpu.context(), ShaderConfiguration::Compute, 2);
    ID3D11SamplerState* const object = original.get();
    {
        const SamplerState copy(original);
        EXPECT_EQ(copy.get(), object);
        EXPECT_EQ(referenceCount(object), 2u);
        EXPECT_EQ(copy.stages(), ShaderConfiguration::Compute);
        EXPECT_EQ(copy.slot(), 2u);
    }
    EXPECT_EQ(referenceCount(object), 1u);

    SamplerState other(gpu.device(), pointClamp(1.0f));
    ID3D11SamplerState* const replaced = other.get();
    replaced->AddRef();
    other = original;
    EXPECT_EQ(other.get(), object);
    EXPECT_EQ(other.stages(), ShaderConfiguration::Compute);
    EXPECT_EQ(referenceCount(object), 2u);
    EXPECT_EQ(replaced->Release(), 0u) << "copy assignment kept the replaced sampler alive";

    original.end(gpu.context());
    EXPECT_EQ(other.stages(), ShaderConfiguration::Compute) << "copies are bound independently";
    other.end(gpu.context());
}

TEST_F(SamplerStateTest, MovingCarriesStagesAndSlot)
{
    SamplerState source(gpu.device(), pointClamp(0.0f));
    source.begin(gpu.context(), ShaderConfiguration::Vertex | ShaderConfiguration::Pixel, 7);
    SamplerState assigned;
    assigned = std::move(source);
    EXPECT_EQ(assigned.stages(), ShaderConfiguration::Vertex | ShaderConfiguration::Pixel);
    EXPECT_EQ(assigned.slot(), 7u);
    SamplerState constructed(std::move(assigned));
    EXPECT_EQ(constructed.slot(), 7u);
    constructed.end(gpu.context());
}

} // namespace
