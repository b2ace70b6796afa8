#pragma once

#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <windows.h>

#include <dxgi.h>

namespace Tool {

// A window's swap chain on the renderer's own device, in the renderer's output format (B8G8R8A8),
// so that showing a finished frame is one GPU copy and no CPU round trip.
class SwapChainPresenter {
public:
    // Throws std::runtime_error when the device cannot make a swap chain for the window.
    SwapChainPresenter(Render::Renderer& renderer, HWND window, UINT width, UINT height);

    // Copies the renderer's last frame into the back buffer and presents it.
    void present();
    // New buffers of the window's new size (the renderer's viewport follows separately).
    void resize(UINT width, UINT height);

private:
    Render::Renderer& mRenderer;
    Render::ComPtr<IDXGISwapChain> mSwapChain;
};

} // namespace Tool
