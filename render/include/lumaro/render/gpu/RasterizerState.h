#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

namespace Render {

class LUMARO_RENDER_API RasterizerState {
public:
    RasterizerState() = default;
    RasterizerState(ID3D11Device* device, const D3D11_RASTERIZER_DESC& desc);

    RasterizerState(const RasterizerState&) = delete;
    RasterizerState& operator=(const RasterizerState&) = delete;
    RasterizerState(RasterizerState&&) noexcept = default;
    RasterizerState& operator=(RasterizerState&& other) noexcept;

    void set(ID3D11DeviceContext* context) const;

    ID3D11RasterizerState* get() const { return mState.Get(); }

private:
    ComPtr<ID3D11RasterizerState> mState;
};

} // namespace Render
