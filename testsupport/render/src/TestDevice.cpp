#include <lumaro/testsupport/render/TestDevice.h>

#include <lumaro/render/gpu/ComException.h>

#include <cstring>

namespace Render::Testing {

TestDevice::TestDevice()
{
    const D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL_11_0;
    throwIfFailed(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, &level, 1, D3D11_SDK_VERSION,
                                    &mDevice, nullptr, &mContext));
}

ComPtr<ID3D11Texture2D> TestDevice::createTexture(const D3D11_TEXTURE2D_DESC& desc) const
{
    ComPtr<ID3D11Texture2D> texture;
    throwIfFailed(mDevice->CreateTexture2D(&desc, nullptr, &texture));
    return texture;
}

std::vector<std::vector<std::array<float, 4>>>
TestDevice::drawIntoFloatTargets(unsigned width, unsigned targets,
                                 const std::function<void(ID3D11DeviceContext*)>& draw) const
{
    std::vector<ComPtr<ID3D11Texture2D>> textures;
    std::vector<ComPtr<ID3D11RenderTargetView>> views(targets);
    std::vector<ID3D11RenderTargetView*> bound;
    const float clear[4] = {-1.0f, -1.0f, -1.0f, -1.0f};
    for (unsigned k = 0; k < targets; ++k) {
        textures.push_back(
            createTexture(textureDesc(width, 1, DXGI_FORMAT_R32G32B32A32_FLOAT, D3D11_BIND_RENDER_TARGET)));
        throwIfFailed(mDevice->CreateRenderTargetView(textures[k].Get(), nullptr, &views[k]));
        mContext->ClearRenderTargetView(views[k].Get(), clear);
        bound.push_back(views[k].Get());
    }
    const D3D11_VIEWPORT viewport{0.0f, 0.0f, static_cast<float>(width), 1.0f, 0.0f, 1.0f};
    mContext->RSSetViewports(1, &viewport);
    mContext->OMSetRenderTargets(targets, bound.data(), nullptr);
    draw(mContext.Get());
    mContext->OMSetRenderTargets(0, nullptr, nullptr);

    std::vector<std::vector<std::array<float, 4>>> results;
    for (const auto& texture : textures) {
        const std::vector<std::uint8_t> bytes = readBack(texture.Get(), 16);
        results.emplace_back(width);
        std::memcpy(results.back().data(), bytes.data(), bytes.size());
    }
    return results;
}

std::vector<std::uint8_t> TestDevice::readBack(ID3D11Texture2D* texture, unsigned texelSize, unsigned subresource) const
{
    D3D11_TEXTURE2D_DESC desc{};
    texture->GetDesc(&desc);
    desc.Usage = D3D11_USAGE_STAGING;
    desc.BindFlags = 0;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    desc.MiscFlags = 0;
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    ComPtr<ID3D11Texture2D> staging;
    throwIfFailed(mDevice->CreateTexture2D(&desc, nullptr, &staging));
    mContext->CopySubresourceRegion(staging.Get(), 0, 0, 0, 0, texture, subresource, nullptr);

    D3D11_MAPPED_SUBRESOURCE mapped{};
    throwIfFailed(mContext->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped));
    const std::size_t rowBytes = std::size_t(desc.Width) * texelSize;
    std::vector<std::uint8_t> pixels(rowBytes * desc.Height);
    for (unsigned row = 0; row < desc.Height; ++row)
        std::memcpy(pixels.data() + row * rowBytes,
                    static_cast<const std::uint8_t*>(mapped.pData) + row * mapped.RowPitch, rowBytes);
    mContext->Unmap(staging.Get(), 0);
    return pixels;
}

} // namespace Render::Testing
