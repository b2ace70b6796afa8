#include <lumaro/render/gpu/BlendState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

BlendState::BlendState(ID3D11Device* device, const D3D11_BLEND_DESC& desc)
{
    throwIfFailed(device->CreateBlendState(&desc, &state_));
}

BlendState& BlendState::operator=(BlendState&& other) noexcept
{
    moveComPtr(state_, other.state_);
    return *this;
}

void BlendState::set(ID3D11DeviceContext* context, float* blendFactor, unsigned sampleMask) const
{
    context->OMSetBlendState(state_.Get(), blendFactor, sampleMask);
}

} // namespace Render
