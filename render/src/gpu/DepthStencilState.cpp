#include <lumaro/render/gpu/DepthStencilState.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

D3D11_DEPTH_STENCIL_DESC DepthStencilState::depthTestDesc(bool reversedDepth, bool depthEnable, bool depthWrite)
{
    D3D11_DEPTH_STENCIL_DESC desc{};
    desc.DepthEnable = depthEnable ? TRUE : FALSE;
    desc.DepthWriteMask = depthWrite ? D3D11_DEPTH_WRITE_MASK_ALL : D3D11_DEPTH_WRITE_MASK_ZERO;
    if (!depthEnable)
        desc.DepthFunc = D3D11_COMPARISON_ALWAYS;
    else
        desc.DepthFunc = reversedDepth ? D3D11_COMPARISON_GREATER_EQUAL : D3D11_COMPARISON_LESS;
    desc.StencilEnable = FALSE;
    desc.StencilReadMask = 0xFF;
    desc.StencilWriteMask = 0xFF;
    // Inert while the stencil is off: front faces would count up, back faces down.
    desc.FrontFace = {D3D11_STENCIL_OP_KEEP, D3D11_STENCIL_OP_INCR, D3D11_STENCIL_OP_KEEP, D3D11_COMPARISON_ALWAYS};
    desc.BackFace = {D3D11_STENCIL_OP_KEEP, D3D11_STENCIL_OP_DECR, D3D11_STENCIL_OP_KEEP, D3D11_COMPARISON_ALWAYS};
    return desc;
}

DepthStencilState::DepthStencilState(ID3D11Device* device, const D3D11_DEPTH_STENCIL_DESC& desc)
{
    throwIfFailed(device->CreateDepthStencilState(&desc, &mState));
}

DepthStencilState::DepthStencilState(ID3D11Device* device, bool reversedDepth, bool depthEnable, bool depthWrite)
    : DepthStencilState(device, depthTestDesc(reversedDepth, depthEnable, depthWrite))
{}

DepthStencilState& DepthStencilState::operator=(DepthStencilState&& other) noexcept
{
    moveComPtr(mState, other.mState);
    return *this;
}

void DepthStencilState::set(ID3D11DeviceContext* context, unsigned stencilRef) const
{
    context->OMSetDepthStencilState(mState.Get(), stencilRef);
}

} // namespace Render
