#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/ShaderConfiguration.h>
#include <lumaro/render/gpu/StageBinding.h>

#include <d3d11.h>

#include <cstdint>

namespace Render {

// A shader-resource view that remembers the stages and slot it is bound to between begin and end.
class LUMARO_RENDER_API ShaderResourceView {
public:
    ShaderResourceView() = default;
    // A null `desc` views the whole resource in its own format.
    ShaderResourceView(ID3D11Device* device, ID3D11Resource* resource, const D3D11_SHADER_RESOURCE_VIEW_DESC* desc);

    ShaderResourceView(const ShaderResourceView&) = delete;
    ShaderResourceView& operator=(const ShaderResourceView&) = delete;
    ShaderResourceView(ShaderResourceView&&) noexcept = default;
    ShaderResourceView& operator=(ShaderResourceView&& other) noexcept;

    // Throws std::logic_error when still bound from an earlier begin.
    void begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot);
    // Clears the slot on the bound stages; throws std::logic_error when not bound.
    void end(ID3D11DeviceContext* context);

    std::uint32_t slot() const { return mBinding.slot(); }
    ShaderConfiguration stages() const { return mBinding.stages(); }

    ID3D11ShaderResourceView* get() const { return mView.Get(); }

private:
    // Field order view, slot, stages: see BindingLayout.
    ComPtr<ID3D11ShaderResourceView> mView;
    SlotFirstStageBinding mBinding;
};

} // namespace Render
