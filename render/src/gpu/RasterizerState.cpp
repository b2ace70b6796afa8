#include <lumaro/render/gpu/RasterizerState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

RasterizerState::RasterizerState(ID3D11Device* device, const D3D11_RASTERIZER_DESC& desc)
{
    throwIfFailed(device->CreateRasterizerState(&desc, &mState));
}

RasterizerState& RasterizerState::operator=(RasterizerState&& other) noexcept
{
    moveComPtr(mState, other.mState);
    return *this;
}

void RasterizerState::set(ID3D11DeviceContext* context) const
{
    context->RSSetState(mState.Get());
}

} // namespace Render
