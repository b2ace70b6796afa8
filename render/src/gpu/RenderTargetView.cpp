#include <lumaro/render/gpu/RenderTargetView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

RenderTargetView::RenderTargetView(ID3D11Device* device, ID3D11Resource* resource,
                                   const std::array<float, 4>& clearValue)
{
    throwIfFailed(device->CreateRenderTargetView(resource, nullptr, &view_));
    clearValue_ = clearValue;
}

RenderTargetView& RenderTargetView::operator=(RenderTargetView&& other) noexcept
{
    moveComPtr(view_, other.view_);
    clearValue_ = other.clearValue_;
    return *this;
}

void RenderTargetView::setClearValue(const Math::Color& color)
{
    const auto unit = [](std::uint8_t channel) { return static_cast<float>(static_cast<float>(channel) / 255.0); };
    clearValue_ = {unit(color.r()), unit(color.g()), unit(color.b()), unit(color.a())};
}

void RenderTargetView::setClearValue(const std::array<float, 4>& rgba)
{
    clearValue_ = rgba;
}

void RenderTargetView::setClearValue(float r, float g, float b, float a)
{
    clearValue_ = {r, g, b, a};
}

void RenderTargetView::setClearValue(float value)
{
    clearValue_ = {value, value, value, value};
}

void RenderTargetView::clear(ID3D11DeviceContext* context) const
{
    context->ClearRenderTargetView(view_.Get(), clearValue_.data());
}

} // namespace Render
