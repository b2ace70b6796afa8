#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

namespace Render {

class LUMARO_RENDER_API DepthStencilState {
public:
    DepthStencilState() = default;
    DepthStencilState(ID3D11Device* device, const D3D11_DEPTH_STENCIL_DESC& desc);
    // A depth test without stencil. A reversed depth buffer is cleared to 0 and keeps the
    // greater depths, a normal one keeps the smaller.
    DepthStencilState(ID3D11Device* device, bool reversedDepth, bool depthEnable, bool depthWrite);
    // The description that constructor creates from. The device reports a disabled test or stencil
    // in a normalised form, so this is the one place where every member can be seen as given.
    static D3D11_DEPTH_STENCIL_DESC depthTestDesc(bool reversedDepth, bool depthEnable, bool depthWrite);

    DepthStencilState(const DepthStencilState&) = delete;
    DepthStencilState& operator=(const DepthStencilState&) = delete;
    DepthStencilState(DepthStencilState&&) noexcept = default;
    DepthStencilState& operator=(DepthStencilState&& other) noexcept;

    void set(ID3D11DeviceContext* context, unsigned stencilRef) const;

    ID3D11DepthStencilState* get() const { return mState.Get(); }

private:
    ComPtr<ID3D11DepthStencilState> mState;
};

} // namespace Render
