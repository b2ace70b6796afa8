#include <lumaro/render/gpu/ShaderResourceView.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

ShaderResourceView::ShaderResourceView(ID3D11Device* device, ID3D11Resource* resource,
                                       const D3D11_SHADER_RESOURCE_VIEW_DESC* desc)
{
    throwIfFailed(device->CreateShaderResourceView(resource, desc, &view_));
}

ShaderResourceView& ShaderResourceView::operator=(ShaderResourceView&& other) noexcept
{
    moveComPtr(view_, other.view_);
    slot_ = other.slot_;
    stages_ = other.stages_;
    return *this;
}

void ShaderResourceView::begin(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    requireUnbound(stages_);
    stages_ = stages;
    slot_ = slot;
    apply(context, view_.Get());
}

void ShaderResourceView::end(ID3D11DeviceContext* context)
{
    requireBound(stages_);
    apply(context, nullptr);
    stages_ = ShaderConfiguration{};
    slot_ = 0;
}

void ShaderResourceView::apply(ID3D11DeviceContext* context, ID3D11ShaderResourceView* view) const
{
    ID3D11ShaderResourceView* const views[] = {view};
    forEachStage(stages_, [&](ShaderConfiguration stage) {
        switch (stage) {
        case ShaderConfiguration::Vertex: context->VSSetShaderResources(slot_, 1, views); break;
        case ShaderConfiguration::Pixel: context->PSSetShaderResources(slot_, 1, views); break;
        case ShaderConfiguration::Geometry: context->GSSetShaderResources(slot_, 1, views); break;
        case ShaderConfiguration::Compute: context->CSSetShaderResources(slot_, 1, views); break;
        }
    });
}

} // namespace Render
