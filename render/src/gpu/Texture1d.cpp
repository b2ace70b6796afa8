#include <lumaro/render/gpu/Texture1d.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

namespace Render {

Texture1d::Texture1d(ID3D11Device* device, const D3D11_TEXTURE1D_DESC& desc)
{
    throwIfFailed(device->CreateTexture1D(&desc, nullptr, &mTexture));
}

Texture1d& Texture1d::operator=(Texture1d&& other) noexcept
{
    moveComPtr(mTexture, other.mTexture);
    return *this;
}

D3D11_MAPPED_SUBRESOURCE Texture1d::map(ID3D11DeviceContext* context, D3D11_MAP mapType) const
{
    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(context->Map(mTexture.Get(), 0, mapType, 0, &mapped));
    return mapped;
}

void Texture1d::unMap(ID3D11DeviceContext* context) const
{
    context->Unmap(mTexture.Get(), 0);
}

void Texture1d::copy(ID3D11DeviceContext* context, const Texture1d& source) const
{
    context->CopyResource(mTexture.Get(), source.mTexture.Get());
}

} // namespace Render
