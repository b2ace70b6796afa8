#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/DepthStencilView.h>
#include <lumaro/render/gpu/RenderTargetView.h>
#include <lumaro/render/gpu/ShaderConfiguration.h>
#include <lumaro/render/gpu/ShaderResourceView.h>
#include <lumaro/render/gpu/Texture2d.h>

#include <lumaro/math/Color.h>

#include <d3d11.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Render {

// A set of named off-screen colour targets of one size, with an optional depth buffer, that are
// bound, cleared, read as textures and resized together. Targets are bound as outputs in the order
// in which they were added: the first one is SV_TARGET0.
class LUMARO_RENDER_API RenderPass {
public:
    RenderPass() = default;
    RenderPass(const ComPtr<ID3D11Device>& device, unsigned width, unsigned height);
    RenderPass(RenderPass&& other) noexcept;
    RenderPass& operator=(RenderPass&& other) noexcept;
    RenderPass(const RenderPass&) = delete;
    RenderPass& operator=(const RenderPass&) = delete;
    ~RenderPass();

    // Returns the target's output slot. Throws std::invalid_argument when the name is taken.
    std::size_t addRenderTarget(const std::string& name, DXGI_FORMAT format);
    // Width and height of `desc` are replaced by the pass's size; it is always bindable as render
    // target and shader resource.
    std::size_t addRenderTarget(const std::string& name, D3D11_TEXTURE2D_DESC desc);
    void addDepthBuffer(unsigned clearFlags, float clearDepth, unsigned char clearStencil);

    // Re-creates every target and the depth buffer at the new size (clear values are kept).
    void setViewport(unsigned width, unsigned height);
    unsigned width() const { return mWidth; }
    unsigned height() const { return mHeight; }

    void setClearValue(const std::string& name, float r, float g, float b, float a);
    void setClearValue(const std::string& name, const Math::Color& color);
    void setDepthStencilClearValues(unsigned clearFlags, float depth, unsigned char stencil);

    void begin(ID3D11DeviceContext* context);
    // Binds this pass's targets with the depth buffer of `depthSource`, a pass of the same size,
    // so that drawing is tested against the depth drawn there.
    void beginWithDepthOf(ID3D11DeviceContext* context, const RenderPass& depthSource);
    void end(ID3D11DeviceContext* context);
    void clear(ID3D11DeviceContext* context, const std::string& name);
    void clearAllRenderTargets(ID3D11DeviceContext* context, bool clearDepth);

    // Each bind must be matched by one unbind before the next bind (std::logic_error otherwise).
    void bindTexture(ID3D11DeviceContext* context, const std::string& name, ShaderConfiguration stages, unsigned slot);
    void unbindTexture(ID3D11DeviceContext* context, const std::string& name);
    void bindDepthTexture(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot);
    void unbindDepthTexture(ID3D11DeviceContext* context);

    const Texture2d& texture(const std::string& name) const;
    // Throws std::logic_error when the pass has no depth buffer.
    const Texture2d& depthTexture() const;

private:
    struct RenderTarget {
        Texture2d texture;
        RenderTargetView renderTargetView;
        ShaderResourceView shaderResourceView;
    };

    struct DepthBuffer {
        Texture2d texture;
        ShaderResourceView shaderResourceView;
        DepthStencilView depthStencilView;
    };

    void createTargetViews(RenderTarget& target, const std::array<float, 4>& clearValue);
    void createDepthViews(unsigned clearFlags, float clearDepth, unsigned char clearStencil);
    RenderTarget& target(const std::string& name);
    const RenderTarget& target(const std::string& name) const;
    DepthBuffer& depth();

    std::unordered_map<std::string, RenderTarget> mTargets;
    // Target names in output-slot order.
    std::vector<std::string> mRenderTargetOrder;
    std::optional<DepthBuffer> mDepthBuffer;
    ComPtr<ID3D11Device> mDevice;
    unsigned mWidth = 0;
    unsigned mHeight = 0;
};

} // namespace Render
