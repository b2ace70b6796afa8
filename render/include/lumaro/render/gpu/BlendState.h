#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

namespace Render {

class LUMARO_RENDER_API BlendState {
public:
    BlendState() = default;
    BlendState(ID3D11Device* device, const D3D11_BLEND_DESC& desc);

    BlendState(const BlendState&) = delete;
    BlendState& operator=(const BlendState&) = delete;
    BlendState(BlendState&&) noexcept = default;
    BlendState& operator=(BlendState&& other) noexcept;

    // `blendFactor` may be null (factors of one).
    void set(ID3D11DeviceContext* context, float* blendFactor, unsigned sampleMask) const;

    ID3D11BlendState* get() const { return mState.Get(); }

private:
    ComPtr<ID3D11BlendState> mState;
};

} // namespace Render
