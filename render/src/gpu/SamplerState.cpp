#include <lumaro/render/gpu/SamplerState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <cstddef>
#include <type_traits>

namespace Render {

namespace {
constexpr StageSetters<ID3D11SamplerState> samplerSetters{
    &ID3D11DeviceContext::VSSetSamplers, &ID3D11DeviceContext::PSSetSamplers, &ID3D11DeviceContext::GSSetSamplers,
    &ID3D11DeviceContext::CSSetSamplers};
} // namespace

SamplerState::SamplerState(ID3D11Device* device, const D3D11_SAMPLER_DESC& desc)
{
    // Here rather than at namespace scope because the fields are private.
    static_assert(std::is_standard_layout_v<SamplerState>);
    static_assert(offsetof(SamplerState, mState) < offsetof(SamplerState, mBinding));
    static_assert(std::is_same_v<decltype(mBinding), StageBinding>);
    throwIfFailed(device->CreateSamplerState(&desc, &mState));
}

SamplerState& SamplerState::operator=(SamplerState&& other) noexcept
{
    moveComPtr(mState, other.mState);
    mBinding = other.mBinding;
    return *this;
}

void SamplerState::begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    mBinding.begin(context, stages, slot, samplerSetters, mState.Get());
}

void SamplerState::end(ID3D11DeviceContext* context)
{
    mBinding.end(context, samplerSetters);
}

} // namespace Render
