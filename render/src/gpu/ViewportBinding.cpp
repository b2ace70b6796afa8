#include <lumaro/render/gpu/Viewport.h>

#include <d3d11.h>

namespace Render {

void Viewport::set(ID3D11DeviceContext* context) const
{
    D3D11_VIEWPORT viewport{};
    viewport.TopLeftX = static_cast<float>(x_);
    viewport.TopLeftY = static_cast<float>(y_);
    viewport.Width = static_cast<float>(width_);
    viewport.Height = static_cast<float>(height_);
    viewport.MinDepth = minDepth_;
    viewport.MaxDepth = maxDepth_;
    context->RSSetViewports(1, &viewport);
}

} // namespace Render
