#include <lumaro/render/gpu/Viewport.h>

#include <d3d11.h>

namespace Render {

void Viewport::set(ID3D11DeviceContext* context) const
{
    D3D11_VIEWPORT viewport{};
    viewport.TopLeftX = static_cast<float>(mX);
    viewport.TopLeftY = static_cast<float>(mY);
    viewport.Width = static_cast<float>(mWidth);
    viewport.Height = static_cast<float>(mHeight);
    viewport.MinDepth = mMinDepth;
    viewport.MaxDepth = mMaxDepth;
    context->RSSetViewports(1, &viewport);
}

} // namespace Render
