#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/ShaderConfiguration.h>
#include <lumaro/render/gpu/StageBinding.h>

#include <d3d11.h>

#include <cstdint>

namespace Render {

// A sampler that remembers the stages and slot it is bound to between begin and end. Unlike the
// other wrappers it is copyable: a copy shares the sampler object (a second reference).
class LUMARO_RENDER_API SamplerState {
public:
    SamplerState() = default;
    SamplerState(ID3D11Device* device, const D3D11_SAMPLER_DESC& desc);

    SamplerState(const SamplerState&) = default;
    SamplerState& operator=(const SamplerState&) = default;
    SamplerState(SamplerState&&) noexcept = default;
    SamplerState& operator=(SamplerState&& other) noexcept;

    // Throws std::logic_error when still bound from an earlier begin.
    void begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot);
    // Clears the slot on the bound stages; throws std::logic_error when not bound.
    void end(ID3D11DeviceContext* context);

    ShaderConfiguration stages() const { return mBinding.stages(); }
    std::uint32_t slot() const { return mBinding.slot(); }

    ID3D11SamplerState* get() const { return mState.Get(); }

private:
    // Field order state, stages, slot: see BindingLayout.
    ComPtr<ID3D11SamplerState> mState;
    StageBinding mBinding;
};

} // namespace Render
