#include <lumaro/render/gpu/Texture2d.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace Render {

namespace {

// Both image kinds have 4-byte texels (8-bit RGBA colour, 32-bit float depth).
constexpr std::size_t texelBytes = 4;

bool hasSize(const D3D11_TEXTURE2D_DESC& desc)
{
    return desc.Width != 0 && desc.Height != 0 && desc.ArraySize != 0;
}

void setSize(D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height, unsigned arraySize)
{
    desc.Width = width;
    desc.Height = height;
    desc.ArraySize = arraySize;
}

// `count` entries that all start at the same rows.
std::vector<D3D11_SUBRESOURCE_DATA> repeatedSlices(const char* data, std::size_t stride, unsigned count)
{
    D3D11_SUBRESOURCE_DATA slice{};
    slice.pSysMem = data;
    slice.SysMemPitch = static_cast<UINT>(stride);
    slice.SysMemSlicePitch = 0;
    return std::vector<D3D11_SUBRESOURCE_DATA>(count, slice);
}

} // namespace

Texture2d::Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc) : mDesc(desc)
{
    if (hasSize(mDesc))
        create(device, nullptr);
}

Texture2d::Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height,
                     unsigned arraySize)
    : mDesc(desc)
{
    setSize(mDesc, width, height, arraySize);
    if (hasSize(mDesc))
        create(device, nullptr);
}

Texture2d::Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height,
                     float value, unsigned arraySize)
    : mDesc(desc)
{
    setSize(mDesc, width, height, arraySize);
    if (!hasSize(mDesc))
        return;
    Graphics::DepthImage image(width, height);
    image.fill(value);
    const auto slices = repeatedSlices(image.data(), image.stride(), arraySize);
    create(device, slices.data());
}

Texture2d::Texture2d(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height,
                     const Math::Color& value, unsigned arraySize)
    : mDesc(desc)
{
    setSize(mDesc, width, height, arraySize);
    if (!hasSize(mDesc))
        return;
    Graphics::ColorImage image(width, height);
    image.fill(value);
    const auto slices = repeatedSlices(image.data(), image.stride(), arraySize);
    create(device, slices.data());
}

Texture2d& Texture2d::operator=(Texture2d&& other) noexcept
{
    moveComPtr(mTexture, other.mTexture);
    mDesc = other.mDesc;
    return *this;
}

void Texture2d::create(ID3D11Device* device, const D3D11_SUBRESOURCE_DATA* initialData)
{
    // Released before creating so that a failed creation leaves the object empty, not stale.
    mTexture.Reset();
    // Initial data is one entry per array slice; with more mip levels the device would read entries
    // that do not exist.
    if (initialData != nullptr && mDesc.MipLevels != 1)
        throw std::invalid_argument("A texture created with initial data needs exactly one mip level, not "
                                    + std::to_string(mDesc.MipLevels));
    throwIfFailed(device->CreateTexture2D(&mDesc, initialData, &mTexture));
}

void Texture2d::resize(ID3D11Device* device, unsigned width, unsigned height, unsigned arraySize)
{
    setSize(mDesc, width, height, arraySize);
    create(device, nullptr);
}

void Texture2d::load(ID3D11Device* device, unsigned width, unsigned height, unsigned stride, const char* data)
{
    load(device, width, height, stride, std::vector<const char*>{data});
}

void Texture2d::load(ID3D11Device* device, unsigned width, unsigned height, unsigned stride,
                     const std::vector<const char*>& slices)
{
    setSize(mDesc, width, height, static_cast<unsigned>(slices.size()));
    std::vector<D3D11_SUBRESOURCE_DATA> entries;
    entries.reserve(slices.size());
    for (const char* slice : slices)
        entries.push_back({slice, stride, 0});
    create(device, entries.data());
}

void Texture2d::load(ID3D11Device* device, const Graphics::ColorImage& image)
{
    load(device, static_cast<unsigned>(image.width()), static_cast<unsigned>(image.height()),
         static_cast<unsigned>(image.stride()), image.data());
}

void Texture2d::load(ID3D11Device* device, const Graphics::DepthImage& image)
{
    load(device, static_cast<unsigned>(image.width()), static_cast<unsigned>(image.height()),
         static_cast<unsigned>(image.stride()), image.data());
}

void Texture2d::load(ID3D11Device* device, const std::vector<Graphics::ColorImage>& images)
{
    loadSlices(device, images, "All color images must have the same width, height and stride");
}

void Texture2d::load(ID3D11Device* device, const std::vector<Graphics::DepthImage>& images)
{
    loadSlices(device, images, "All depth images must have the same width, height and stride");
}

template <class Image>
void Texture2d::loadSlices(ID3D11Device* device, const std::vector<Image>& images, const char* mismatchMessage)
{
    if (images.empty())
        return;
    const Image& first = images.front();
    std::vector<const char*> slices;
    slices.reserve(images.size());
    for (const Image& image : images) {
        if (image.width() != first.width() || image.height() != first.height() || image.stride() != first.stride())
            throw std::runtime_error(mismatchMessage);
        slices.push_back(image.data());
    }
    load(device, static_cast<unsigned>(first.width()), static_cast<unsigned>(first.height()),
         static_cast<unsigned>(first.stride()), slices);
}

D3D11_MAPPED_SUBRESOURCE Texture2d::map(ID3D11DeviceContext* context, D3D11_MAP mapType, unsigned) const
{
    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(context->Map(mTexture.Get(), 0, mapType, 0, &mapped));
    return mapped;
}

void Texture2d::unMap(ID3D11DeviceContext* context, unsigned) const
{
    context->Unmap(mTexture.Get(), 0);
}

void Texture2d::drawImageTile(ID3D11DeviceContext* context, const Graphics::ColorImage& image, D3D11_MAP mapType,
                              unsigned) const
{
    drawRows(context, 0, 0, image.data(), image.height(), image.stride(), mapType);
}

void Texture2d::drawImageTile(ID3D11DeviceContext* context, const Graphics::DepthImage& image, D3D11_MAP mapType,
                              unsigned) const
{
    drawRows(context, 0, 0, image.data(), image.height(), image.stride(), mapType);
}

void Texture2d::drawImageTile(ID3D11DeviceContext* context, std::size_t x, std::size_t y,
                              const Graphics::ColorImage& image, D3D11_MAP mapType, unsigned) const
{
    drawRows(context, x, y, image.data(), image.height(), image.stride(), mapType);
}

void Texture2d::drawImageTile(ID3D11DeviceContext* context, std::size_t x, std::size_t y,
                              const Graphics::DepthImage& image, D3D11_MAP mapType, unsigned) const
{
    drawRows(context, x, y, image.data(), image.height(), image.stride(), mapType);
}

void Texture2d::drawRows(ID3D11DeviceContext* context, std::size_t x, std::size_t y, const char* rows,
                         std::size_t height, std::size_t stride, D3D11_MAP mapType) const
{
    const D3D11_MAPPED_SUBRESOURCE mapped = map(context, mapType, 0);
    char* target = static_cast<char*>(mapped.pData) + y * mapped.RowPitch + x * texelBytes;
    for (std::size_t row = 0; row < height; ++row) {
        std::memcpy(target, rows, stride);
        rows += stride;
        target += mapped.RowPitch;
    }
    unMap(context, 0);
}

void Texture2d::copy(ID3D11DeviceContext* context, const Texture2d& source) const
{
    context->CopyResource(mTexture.Get(), source.mTexture.Get());
}

void Texture2d::copySubRegion(ID3D11DeviceContext* context, const Texture2d& source, unsigned dstX, unsigned dstY,
                              unsigned dstZ, unsigned dstSubresource, unsigned srcSubresource) const
{
    context->CopySubresourceRegion(mTexture.Get(), dstSubresource, dstX, dstY, dstZ, source.mTexture.Get(),
                                   srcSubresource, nullptr);
}

} // namespace Render
