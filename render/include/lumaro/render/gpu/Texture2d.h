#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/math/Color.h>

#include <d3d11.h>

#include <cstddef>
#include <vector>

namespace Render {

// A 2D texture (or texture array) together with the description it was last created from. Size
// changes (`resize`, `load`) replace Width, Height and ArraySize and keep every other member of
// the description, so format, usage, binding and CPU access stay fixed for the object's life.
class LUMARO_RENDER_API Texture2d {
public:
    Texture2d() = default;
    // Stays empty, without error, while Width, Height or ArraySize is zero.
    Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc);
    Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height,
              unsigned arraySize);
    // Every array slice filled with `value`; `desc` must have one mip level and a 32-bit float
    // format (for a colour: B8G8R8A8, the byte order of Math::Color).
    Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height, float value,
              unsigned arraySize);
    Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height,
              const Math::Color& value, unsigned arraySize);

    Texture2d(const Texture2d&) = delete;
    Texture2d& operator=(const Texture2d&) = delete;
    Texture2d(Texture2d&&) noexcept = default;
    Texture2d& operator=(Texture2d&& other) noexcept;

    // Creates the texture anew without initial data; zero sizes make the creation throw.
    void resize(ID3D11Device* device, unsigned width, unsigned height, unsigned arraySize);

    // Creates the texture anew from rows of `stride` bytes: one slice, or one slice per pointer.
    // The old texture is released first, so a failure leaves this object empty. The description
    // must have one mip level (std::invalid_argument otherwise).
    void load(ID3D11Device* device, unsigned width, unsigned height, unsigned stride, const char* data);
    void load(ID3D11Device* device, unsigned width, unsigned height, unsigned stride,
              const std::vector<const char*>& slices);
    void load(ID3D11Device* device, const Graphics::ColorImage& image);
    void load(ID3D11Device* device, const Graphics::DepthImage& image);
    // Image i becomes slice i. An empty vector changes nothing; images of unequal width, height or
    // stride throw std::runtime_error before the texture is touched.
    void load(ID3D11Device* device, const std::vector<Graphics::ColorImage>& images);
    void load(ID3D11Device* device, const std::vector<Graphics::DepthImage>& images);

    // Always subresource 0: the slice argument is accepted for the callers' sake and ignored.
    D3D11_MAPPED_SUBRESOURCE map(ID3D11DeviceContext* context, D3D11_MAP mapType, unsigned slice) const;
    void unMap(ID3D11DeviceContext* context, unsigned slice) const;

    // Copies an image into subresource 0 through a mapping, at texel (x, y) or at the origin. Texels
    // are taken as 4 bytes; the tile must lie inside the texture (nothing is clipped). The slice
    // argument is ignored as in `map`.
    void drawImageTile(ID3D11DeviceContext* context, const Graphics::ColorImage& image, D3D11_MAP mapType,
                       unsigned slice) const;
    void drawImageTile(ID3D11DeviceContext* context, const Graphics::DepthImage& image, D3D11_MAP mapType,
                       unsigned slice) const;
    void drawImageTile(ID3D11DeviceContext* context, std::size_t x, std::size_t y, const Graphics::ColorImage& image,
                       D3D11_MAP mapType, unsigned slice) const;
    void drawImageTile(ID3D11DeviceContext* context, std::size_t x, std::size_t y, const Graphics::DepthImage& image,
                       D3D11_MAP mapType, unsigned slice) const;

    // Copies all of `source` into this texture.
    void copy(ID3D11DeviceContext* context, const Texture2d& source) const;
    // Copies the whole `srcSubresource` of `source` to (dstX, dstY, dstZ) of `dstSubresource`.
    void copySubRegion(ID3D11DeviceContext* context, const Texture2d& source, unsigned dstX, unsigned dstY,
                       unsigned dstZ, unsigned dstSubresource, unsigned srcSubresource) const;

    const D3D11_TEXTURE2D_DESC& desc() const { return mDesc; }
    ID3D11Texture2D* get() const { return mTexture.Get(); }

private:
    void create(ID3D11Device* device, const D3D11_SUBRESOURCE_DATA* initialData);
    void createFilled(ID3D11Device* device, unsigned width, unsigned height, unsigned arraySize, const char* data,
                      std::size_t stride);
    template <class Image>
    void loadSlices(ID3D11Device* device, const std::vector<Image>& images, const char* mismatchMessage);
    void drawRows(ID3D11DeviceContext* context, std::size_t x, std::size_t y, const char* rows, std::size_t height,
                  std::size_t stride, D3D11_MAP mapType) const;

    D3D11_TEXTURE2D_DESC mDesc{};
    ComPtr<ID3D11Texture2D> mTexture;
};

} // namespace Render
