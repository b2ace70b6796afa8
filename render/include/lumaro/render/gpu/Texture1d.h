#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

namespace Render {

class LUMARO_RENDER_API Texture1d {
public:
    Texture1d() = default;
    // Created without initial data.
    Texture1d(ID3D11Device* device, const D3D11_TEXTURE1D_DESC& desc);

    Texture1d(const Texture1d&) = delete;
    Texture1d& operator=(const Texture1d&) = delete;
    Texture1d(Texture1d&&) noexcept = default;
    Texture1d& operator=(Texture1d&& other) noexcept;

    // Maps subresource 0.
    D3D11_MAPPED_SUBRESOURCE map(ID3D11DeviceContext* context, D3D11_MAP mapType) const;
    void unMap(ID3D11DeviceContext* context) const;

    // Copies all of `source` into this texture.
    void copy(ID3D11DeviceContext* context, const Texture1d& source) const;

    ID3D11Texture1D* get() const { return mTexture.Get(); }

private:
    ComPtr<ID3D11Texture1D> mTexture;
};

} // namespace Render
