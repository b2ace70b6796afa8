#include <lumaro/render/gpu/DepthStencilView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

DepthStencilView::DepthStencilView(ID3D11Device* device, ID3D11Resource* resource, unsigned clearFlags,
                                   float depthClearValue, unsigned char stencilClearValue)
    : mClearFlags(clearFlags), mDepthClearValue(depthClearValue), mStencilClearValue(stencilClearValue)
{
    D3D11_DEPTH_STENCIL_VIEW_DESC desc{};
    desc.Format = DXGI_FORMAT_D32_FLOAT;
    desc.ViewDimension = D3D11_DSV_DIMENSION_TEXTURE2D;
    desc.Flags = 0;
    desc.Texture2D.MipSlice = 0;
    throwIfFailed(device->CreateDepthStencilView(resource, &desc, &mView));
}

DepthStencilView& DepthStencilView::operator=(DepthStencilView&& other) noexcept
{
    moveComPtr(mView, other.mView);
    mClearFlags = other.mClearFlags;
    mDepthClearValue = other.mDepthClearValue;
    mStencilClearValue = other.mStencilClearValue;
    return *this;
}

void DepthStencilView::setClearValues(unsigned clearFlags, float depth, unsigned char stencil)
{
    mClearFlags = clearFlags;
    mDepthClearValue = depth;
    mStencilClearValue = stencil;
}

void DepthStencilView::clear(ID3D11DeviceContext* context) const
{
    context->ClearDepthStencilView(mView.Get(), mClearFlags, mDepthClearValue, mStencilClearValue);
}

} // namespace Render
