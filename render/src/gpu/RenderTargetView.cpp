#include <lumaro/render/gpu/RenderTargetView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

RenderTargetView::RenderTargetView(ID3D11Device* device, ID3D11Resource* resource,
                                   const std::array<float, 4>& clearValue)
{
    throwIfFailed(device->CreateRenderTargetView(resource, nullptr, &mView));
    mClearValue = clearValue;
}

RenderTargetView& RenderTargetView::operator=(RenderTargetView&& other) noexcept
{
    moveComPtr(mView, other.mView);
    mClearValue = other.mClearValue;
    return *this;
}

void RenderTargetView::setClearValue(const Math::Color& color)
{
    const auto unit = [](std::uint8_t channel) { return static_cast<float>(static_cast<float>(channel) / 255.0); };
    mClearValue = {unit(color.r()), unit(color.g()), unit(color.b()), unit(color.a())};
}

void RenderTargetView::setClearValue(const std::array<float, 4>& rgba)
{
    mClearValue = rgba;
}

void RenderTargetView::setClearValue(float r, float g, float b, float a)
{
    mClearValue = {r, g, b, a};
}

void RenderTargetView::setClearValue(float value)
{
    mClearValue = {value, value, value, value};
}

void RenderTargetView::clear(ID3D11DeviceContext* context) const
{
    context->ClearRenderTargetView(mView.Get(), mClearValue.data());
}

} // namespace Render
