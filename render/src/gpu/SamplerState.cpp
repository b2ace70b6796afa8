#include <lumaro/render/gpu/SamplerState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

SamplerState::SamplerState(ID3D11Device* device, const D3D11_SAMPLER_DESC& desc)
{
    throwIfFailed(device->CreateSamplerState(&desc, &state_));
}

SamplerState& SamplerState::operator=(SamplerState&& other) noexcept
{
    moveComPtr(state_, other.state_);
    stages_ = other.stages_;
    slot_ = other.slot_;
    return *this;
}

void SamplerState::begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    requireUnbound(stages_);
    stages_ = stages;
    slot_ = slot;
    apply(context, state_.Get());
}

void SamplerState::end(ID3D11DeviceContext* context)
{
    requireBound(stages_);
    apply(context, nullptr);
    stages_ = ShaderConfiguration{};
    slot_ = 0;
}

void SamplerState::apply(ID3D11DeviceContext* context, ID3D11SamplerState* state) const
{
    ID3D11SamplerState* const states[] = {state};
    forEachStage(stages_, [&](ShaderConfiguration stage) {
        switch (stage) {
        case ShaderConfiguration::Vertex: context->VSSetSamplers(slot_, 1, states); break;
        case ShaderConfiguration::Pixel: context->PSSetSamplers(slot_, 1, states); break;
        case ShaderConfiguration::Geometry: context->GSSetSamplers(slot_, 1, states); break;
        case ShaderConfiguration::Compute: context->CSSetSamplers(slot_, 1, states); break;
        }
    });
}

} // namespace Render
