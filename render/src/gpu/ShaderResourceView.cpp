#include <lumaro/render/gpu/ShaderResourceView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <cstddef>
#include <type_traits>

namespace Render {

namespace {
constexpr StageSetters<ID3D11ShaderResourceView> viewSetters{
    &ID3D11DeviceContext::VSSetShaderResources, &ID3D11DeviceContext::PSSetShaderResources,
    &ID3D11DeviceContext::GSSetShaderResources, &ID3D11DeviceContext::CSSetShaderResources};
} // namespace

ShaderResourceView::ShaderResourceView(ID3D11Device* device, ID3D11Resource* resource,
                                       const D3D11_SHADER_RESOURCE_VIEW_DESC* desc)
{
    // Here rather than at namespace scope because the fields are private.
    static_assert(std::is_standard_layout_v<ShaderResourceView>);
    static_assert(offsetof(ShaderResourceView, mView) < offsetof(ShaderResourceView, mBinding));
    static_assert(std::is_same_v<decltype(mBinding), SlotFirstStageBinding>);
    throwIfFailed(device->CreateShaderResourceView(resource, desc, &mView));
}

ShaderResourceView& ShaderResourceView::operator=(ShaderResourceView&& other) noexcept
{
    moveComPtr(mView, other.mView);
    mBinding = other.mBinding;
    return *this;
}

void ShaderResourceView::begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    mBinding.begin(context, stages, slot, viewSetters, mView.Get());
}

void ShaderResourceView::end(ID3D11DeviceContext* context)
{
    mBinding.end(context, viewSetters);
}

} // namespace Render
