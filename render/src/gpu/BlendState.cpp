#include <lumaro/render/gpu/BlendState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

BlendState::BlendState(ID3D11Device* device, const D3D11_BLEND_DESC& desc)
{
    throwIfFailed(device->CreateBlendState(&desc, &mState));
}

BlendState& BlendState::operator=(BlendState&& other) noexcept
{
    moveComPtr(mState, other.mState);
    return *this;
}

void BlendState::set(ID3D11DeviceContext* context, float* blendFactor, unsigned sampleMask) const
{
    context->OMSetBlendState(mState.Get(), blendFactor, sampleMask);
}

} // namespace Render
