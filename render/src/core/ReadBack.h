#pragma once

// What the read-back of the renderer's textures shares: staging copies mapped for reading, and
// the layout of mapped texels. Direct3D: Windows builds only.

#include <lumaro/render/core/Renderer.h>

#include <Eigen/Core>

#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace Render {

// Unmaps a staging texture when the read-back leaves, also by an exception.
class ScopedMap {
public:
    ScopedMap(ID3D11DeviceContext* context, const Texture2d& texture)
        : mContext(context), mTexture(texture), mMapped(texture.map(context, D3D11_MAP_READ, 0))
    {}
    ScopedMap(const ScopedMap&) = delete;
    ScopedMap& operator=(const ScopedMap&) = delete;
    ~ScopedMap() { mTexture.unMap(mContext, 0); }

    const D3D11_MAPPED_SUBRESOURCE& mapped() const { return mMapped; }

private:
    ID3D11DeviceContext* mContext;
    const Texture2d& mTexture;
    D3D11_MAPPED_SUBRESOURCE mMapped;
};

template <typename Read>
void Renderer::readBack(const Texture2d& staging, const Texture2d& target, Read&& read)
{
    staging.copy(mDeviceContext.Get(), target);
    const ScopedMap map(mDeviceContext.Get(), staging);
    read(map.mapped());
}

// Copies a mapped texture into an image laid out with the mapping's row pitch.
template <typename Image>
void copyMapped(const D3D11_MAPPED_SUBRESOURCE& mapped, const Viewport& viewport, Image& image)
{
    image.resize(viewport.width(), viewport.height(), mapped.RowPitch);
    if (image.sizeInBytes() != mapped.DepthPitch)
        throw std::runtime_error("image size does not match");
    std::memcpy(image.data(), mapped.pData, mapped.DepthPitch);
}

// Texel (x, y) of a mapped R32G32B32A32 texture.
inline Eigen::Vector4f worldTexel(const D3D11_MAPPED_SUBRESOURCE& mapped, std::size_t x, std::size_t y)
{
    Eigen::Vector4f texel;
    std::memcpy(texel.data(), static_cast<const unsigned char*>(mapped.pData) + y * mapped.RowPitch + x * 16, 16);
    return texel;
}

} // namespace Render
