#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

#include <cstdint>

namespace Render {

// A 32-bit float depth view of a 2D texture, with what `clear` resets it to.
class LUMARO_RENDER_API DepthStencilView {
public:
    DepthStencilView() = default;
    // `clearFlags` combines D3D11_CLEAR_DEPTH and D3D11_CLEAR_STENCIL.
    DepthStencilView(ID3D11Device* device, ID3D11Resource* resource, unsigned clearFlags, float depthClearValue,
                     unsigned char stencilClearValue);

    DepthStencilView(const DepthStencilView&) = delete;
    DepthStencilView& operator=(const DepthStencilView&) = delete;
    DepthStencilView(DepthStencilView&&) noexcept = default;
    DepthStencilView& operator=(DepthStencilView&& other) noexcept;

    void setClearValues(unsigned clearFlags, float depth, unsigned char stencil);
    std::uint32_t clearFlags() const { return clearFlags_; }
    float depthClearValue() const { return depthClearValue_; }
    std::uint8_t stencilClearValue() const { return stencilClearValue_; }

    void clear(ID3D11DeviceContext* context) const;

    ID3D11DepthStencilView* get() const { return view_.Get(); }

private:
    ComPtr<ID3D11DepthStencilView> view_;
    std::uint32_t clearFlags_ = 0;
    float depthClearValue_ = 0.0f;
    std::uint8_t stencilClearValue_ = 0;
};

} // namespace Render
