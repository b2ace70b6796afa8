#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <lumaro/math/Color.h>

#include <d3d11.h>

#include <array>

namespace Render {

// A render-target view with the colour it is cleared to.
class LUMARO_RENDER_API RenderTargetView {
public:
    RenderTargetView() = default;
    // The view takes the resource's own format.
    RenderTargetView(ID3D11Device* device, ID3D11Resource* resource, const std::array<float, 4>& clearValue);

    RenderTargetView(const RenderTargetView&) = delete;
    RenderTargetView& operator=(const RenderTargetView&) = delete;
    RenderTargetView(RenderTargetView&&) noexcept = default;
    RenderTargetView& operator=(RenderTargetView&& other) noexcept;

    void setClearValue(const Math::Color& color);
    void setClearValue(const std::array<float, 4>& rgba);
    void setClearValue(float r, float g, float b, float a);
    // Puts `value` into all four components, alpha included.
    void setClearValue(float value);
    const std::array<float, 4>& clearValue() const { return mClearValue; }

    void clear(ID3D11DeviceContext* context) const;

    ID3D11RenderTargetView* get() const { return mView.Get(); }

private:
    ComPtr<ID3D11RenderTargetView> mView;
    std::array<float, 4> mClearValue{};
};

} // namespace Render
