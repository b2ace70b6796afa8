#include "PanoDrawer.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ConstantBuffer.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/SamplerState.h>
#include <lumaro/render/gpu/ShaderResourceView.h>
#include <lumaro/render/gpu/Texture2d.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace Render {

namespace {

// The shader has four colour and four depth registers; a loader's missing levels are filled
// with small placeholder arrays.
constexpr std::size_t shaderLevels = PanoConstants::shaderLevels;
constexpr unsigned placeholderSide = 8;

D3D11_TEXTURE2D_DESC tileDesc(DXGI_FORMAT format, bool upload)
{
    D3D11_TEXTURE2D_DESC desc{};
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    desc.Format = format;
    desc.SampleDesc.Count = 1;
    desc.Usage = upload ? D3D11_USAGE_STAGING : D3D11_USAGE_DEFAULT;
    desc.BindFlags = upload ? 0 : D3D11_BIND_SHADER_RESOURCE;
    desc.CPUAccessFlags = upload ? D3D11_CPU_ACCESS_WRITE : 0;
    return desc;
}

D3D11_SAMPLER_DESC pointSampler()
{
    D3D11_SAMPLER_DESC desc{};
    desc.Filter = D3D11_FILTER_MIN_MAG_MIP_POINT;
    desc.AddressU = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.AddressV = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
    desc.MipLODBias = 0.0f;
    desc.MaxAnisotropy = 0;
    desc.ComparisonFunc = D3D11_COMPARISON_NEVER;
    desc.MinLOD = 0.0f;
    desc.MaxLOD = 0.0f;
    return desc;
}

// One level's tile array, the texture its tiles are uploaded through, and its view.
struct Level {
    Texture2d tiles;
    Texture2d upload; // empty for placeholder levels
    ShaderResourceView view;
};

class Direct3DPanoDrawer final : public PanoDrawer {
public:
    Direct3DPanoDrawer(const ComPtr<ID3D11Device>& device, const ComPtr<ID3D11DeviceContext>& context,
                       const Graphics::PanoramaLoader* loader, const PanoConstants& constants)
        : mContext(context),
          mVertexShader(VertexShader::fromHlslResource(device, "shaders/pano.hlsl", {})),
          mPixelShader(PixelShader::fromHlslResource(device, "shaders/pano.hlsl")),
          mConstants(device.Get(), constants),
          mSampler(device.Get(), pointSampler())
    {
        if (!loader)
            return;
        const auto slices = static_cast<unsigned>(loader->tilesPerLevel());
        for (std::size_t level = 0; level < std::max(shaderLevels, loader->numColorLevels()); ++level) {
            const bool real = level < loader->numColorLevels();
            mColorLevels.push_back(makeLevel(device.Get(), *loader, level, real, DXGI_FORMAT_B8G8R8A8_UNORM, slices,
                                             [&](const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height) {
                                                 const auto grey = static_cast<std::uint8_t>(level * 30);
                                                 return Texture2d(device.Get(), desc, width, height,
                                                                  Math::Color::gray(grey, 255), slices);
                                             }));
        }
        for (std::size_t level = 0; level < std::max(shaderLevels, loader->numDepthLevels()); ++level) {
            const bool real = level < loader->numDepthLevels();
            mDepthLevels.push_back(makeLevel(device.Get(), *loader, level, real, DXGI_FORMAT_R32_FLOAT, slices,
                                             [&](const D3D11_TEXTURE2D_DESC& desc, unsigned width, unsigned height) {
                                                 return Texture2d(device.Get(), desc, width, height,
                                                                  std::numeric_limits<float>::max(), slices);
                                             }));
        }
    }

    void uploadColorTile(std::size_t level, std::size_t slice, const Graphics::ColorImage& tile) override
    {
        upload(mColorLevels.at(level), slice, tile);
    }

    void uploadDepthTile(std::size_t level, std::size_t slice, const Graphics::DepthImage& tile) override
    {
        upload(mDepthLevels.at(level), slice, tile);
    }

    void draw(const PanoConstants& constants, bool constantsChanged) override
    {
        ID3D11DeviceContext* context = mContext.Get();
        if (constantsChanged)
            mConstants.set(constants);
        mVertexShader.begin(context);
        mPixelShader.begin(context);
        mConstants.begin(context, ShaderConfiguration::Vertex | ShaderConfiguration::Pixel, 0);
        unsigned slot = 0;
        for (Level& level : mColorLevels)
            level.view.begin(context, ShaderConfiguration::Pixel, slot++);
        for (Level& level : mDepthLevels)
            level.view.begin(context, ShaderConfiguration::Pixel, slot++);
        mSampler.begin(context, ShaderConfiguration::Pixel, 0);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
        context->Draw(4, 0);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_UNDEFINED);
        mSampler.end(context);
        for (Level& level : mDepthLevels)
            level.view.end(context);
        for (Level& level : mColorLevels)
            level.view.end(context);
        mConstants.end(context);
        mPixelShader.end(context);
        mVertexShader.end(context);
    }

private:
    // Through the level's staging texture into its array slice.
    template <typename Image>
    void upload(const Level& target, std::size_t slice, const Image& tile) const
    {
        target.upload.drawImageTile(mContext.Get(), tile, D3D11_MAP_WRITE, 0);
        target.tiles.copySubRegion(mContext.Get(), target.upload, 0, 0, 0, static_cast<unsigned>(slice), 0);
    }

    template <typename MakeFilled>
    static Level makeLevel(ID3D11Device* device, const Graphics::PanoramaLoader& loader, std::size_t level, bool real,
                           DXGI_FORMAT format, unsigned slices, MakeFilled makeFilled)
    {
        const unsigned width = real ? static_cast<unsigned>(loader.tileWidth(level)) : placeholderSide;
        const unsigned height = real ? static_cast<unsigned>(loader.tileHeight(level)) : placeholderSide;
        Level result;
        result.tiles = makeFilled(tileDesc(format, false), width, height);
        if (real)
            result.upload = Texture2d(device, tileDesc(format, true), width, height, 1);
        // An array view even for a single slice: the shader reads Texture2DArray.
        D3D11_SHADER_RESOURCE_VIEW_DESC view{};
        view.Format = format;
        view.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2DARRAY;
        view.Texture2DArray.MostDetailedMip = 0;
        view.Texture2DArray.MipLevels = 1;
        view.Texture2DArray.FirstArraySlice = 0;
        view.Texture2DArray.ArraySize = slices;
        result.view = ShaderResourceView(device, result.tiles.get(), &view);
        return result;
    }

    ComPtr<ID3D11DeviceContext> mContext;
    VertexShader mVertexShader;
    PixelShader mPixelShader;
    ConstantBuffer<PanoConstants> mConstants;
    SamplerState mSampler;
    std::vector<Level> mColorLevels;
    std::vector<Level> mDepthLevels;
};

} // namespace

std::unique_ptr<PanoDrawer> createPanoDrawer(const ComPtr<ID3D11Device>& device,
                                             const ComPtr<ID3D11DeviceContext>& context,
                                             const Graphics::PanoramaLoader* loader, const PanoConstants& constants)
{
    if (!device || !context)
        return nullptr;
    return std::make_unique<Direct3DPanoDrawer>(device, context, loader, constants);
}

} // namespace Render
