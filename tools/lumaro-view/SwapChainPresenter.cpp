#include "SwapChainPresenter.h"

#include <d3d11.h>

#include <stdexcept>

namespace Tool {

SwapChainPresenter::SwapChainPresenter(Render::Renderer& renderer, HWND window, UINT width, UINT height)
    : mRenderer(renderer)
{
    Render::ComPtr<IDXGIDevice> device;
    Render::ComPtr<IDXGIAdapter> adapter;
    Render::ComPtr<IDXGIFactory> factory;
    if (FAILED(renderer.device().As(&device)))
        throw std::runtime_error("the renderer's device is no DXGI device");
    if (FAILED(device->GetAdapter(&adapter)))
        throw std::runtime_error("the renderer's device has no adapter");
    if (FAILED(adapter->GetParent(__uuidof(IDXGIFactory), reinterpret_cast<void**>(factory.GetAddressOf()))))
        throw std::runtime_error("the renderer's adapter has no factory");
    DXGI_SWAP_CHAIN_DESC description{};
    description.BufferDesc.Width = width;
    description.BufferDesc.Height = height;
    description.BufferDesc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    description.SampleDesc.Count = 1;
    description.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
    description.BufferCount = 1;
    description.OutputWindow = window;
    description.Windowed = TRUE;
    description.SwapEffect = DXGI_SWAP_EFFECT_DISCARD;
    if (FAILED(factory->CreateSwapChain(renderer.device().Get(), &description, &mSwapChain)))
        throw std::runtime_error("cannot create a swap chain for the window");
    factory->MakeWindowAssociation(window, DXGI_MWA_NO_ALT_ENTER);
}

void SwapChainPresenter::present()
{
    Render::ComPtr<ID3D11Texture2D> backBuffer;
    if (SUCCEEDED(
            mSwapChain->GetBuffer(0, __uuidof(ID3D11Texture2D), reinterpret_cast<void**>(backBuffer.GetAddressOf()))))
        mRenderer.deviceContext()->CopyResource(backBuffer.Get(), mRenderer.outputColorTexture().get());
    mSwapChain->Present(0, 0);
}

void SwapChainPresenter::resize(UINT width, UINT height)
{
    mSwapChain->ResizeBuffers(0, width, height, DXGI_FORMAT_UNKNOWN, 0);
}

} // namespace Tool
