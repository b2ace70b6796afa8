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
    std::uint32_t clearFlags() const { return mClearFlags; }
    float depthClearValue() const { return mDepthClearValue; }
    std::uint8_t stencilClearValue() const { return mStencilClearValue; }

    void clear(ID3D11DeviceContext* context) const;

    ID3D11DepthStencilView* get() const { return mView.Get(); }

private:
    ComPtr<ID3D11DepthStencilView> mView;
    std::uint32_t mClearFlags = 0;
    float mDepthClearValue = 0.0f;
    std::uint8_t mStencilClearValue = 0;
};

} // namespace Render
