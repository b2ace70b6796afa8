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
    static_assert(offsetof(SamplerState, state_) < offsetof(SamplerState, binding_));
    static_assert(std::is_same_v<decltype(binding_), StageBinding>);
    throwIfFailed(device->CreateSamplerState(&desc, &state_));
}

SamplerState& SamplerState::operator=(SamplerState&& other) noexcept
{
    moveComPtr(state_, other.state_);
    binding_ = other.binding_;
    return *this;
}

void SamplerState::begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    binding_.begin(context, stages, slot, samplerSetters, state_.Get());
}

void SamplerState::end(ID3D11DeviceContext* context)
{
    binding_.end(context, samplerSetters);
}

} // namespace Render
