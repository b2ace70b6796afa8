#include <lumaro/render/gpu/DepthStencilView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

DepthStencilView::DepthStencilView(ID3D11Device* device, ID3D11Resource* resource, unsigned clearFlags,
                                   float depthClearValue, unsigned char stencilClearValue)
    : clearFlags_(clearFlags), depthClearValue_(depthClearValue), stencilClearValue_(stencilClearValue)
{
    D3D11_DEPTH_STENCIL_VIEW_DESC desc{};
    desc.Format = DXGI_FORMAT_D32_FLOAT;
    desc.ViewDimension = D3D11_DSV_DIMENSION_TEXTURE2D;
    desc.Flags = 0;
    desc.Texture2D.MipSlice = 0;
    throwIfFailed(device->CreateDepthStencilView(resource, &desc, &view_));
}

DepthStencilView& DepthStencilView::operator=(DepthStencilView&& other) noexcept
{
    moveComPtr(view_, other.view_);
    clearFlags_ = other.clearFlags_;
    depthClearValue_ = other.depthClearValue_;
    stencilClearValue_ = other.stencilClearValue_;
    return *this;
}

void DepthStencilView::setClearValues(unsigned clearFlags, float depth, unsigned char stencil)
{
    clearFlags_ = clearFlags;
    depthClearValue_ = depth;
    stencilClearValue_ = stencil;
}

void DepthStencilView::clear(ID3D11DeviceContext* context) const
{
    context->ClearDepthStencilView(view_.Get(), clearFlags_, depthClearValue_, stencilClearValue_);
}

} // namespace Render
