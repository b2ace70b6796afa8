#include <lumaro/render/core/RenderPass.h>

#include <lumaro/render/gpu/MoveComPtr.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Render {

namespace {

// Width and height come with the pass; one mip level, one slice (CD3D11_TEXTURE2D_DESC of d3d11.h).
D3D11_TEXTURE2D_DESC colorTargetDesc(DXGI_FORMAT format)
{
    return CD3D11_TEXTURE2D_DESC(format, 0, 0, 1, 1, D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE);
}

// Typeless, so that the same texture serves as 32-bit float depth for the depth test, as a float
// texture for shaders, and as the source of a copy into a D32_FLOAT staging texture.
D3D11_TEXTURE2D_DESC depthBufferDesc()
{
    D3D11_TEXTURE2D_DESC desc = colorTargetDesc(DXGI_FORMAT_R32_TYPELESS);
    desc.BindFlags = D3D11_BIND_DEPTH_STENCIL | D3D11_BIND_SHADER_RESOURCE;
    return desc;
}

// A view needs a texture; a pass of zero width or height has none and binds null views.
bool hasTexture(const Texture2d& texture)
{
    return texture.get() != nullptr;
}

constexpr unsigned maxRenderTargets = D3D11_SIMULTANEOUS_RENDER_TARGET_COUNT;

} // namespace

RenderPass::RenderPass(const ComPtr<ID3D11Device>& device, unsigned width, unsigned height)
    : mDevice(device), mWidth(width), mHeight(height)
{}

RenderPass::RenderPass(RenderPass&& other) noexcept
    : mTargets(std::move(other.mTargets)),
      mRenderTargetOrder(std::move(other.mRenderTargetOrder)),
      mDepthBuffer(std::move(other.mDepthBuffer)),
      mWidth(other.mWidth),
      mHeight(other.mHeight)
{
    moveComPtr(mDevice, other.mDevice);
    other.mDepthBuffer.reset();
}

RenderPass& RenderPass::operator=(RenderPass&& other) noexcept
{
    if (this == &other)
        return *this;
    mTargets = std::move(other.mTargets);
    mRenderTargetOrder = std::move(other.mRenderTargetOrder);
    mDepthBuffer = std::move(other.mDepthBuffer);
    other.mDepthBuffer.reset();
    moveComPtr(mDevice, other.mDevice);
    mWidth = other.mWidth;
    mHeight = other.mHeight;
    return *this;
}

RenderPass::~RenderPass() = default;

std::size_t RenderPass::addRenderTarget(const std::string& name, DXGI_FORMAT format)
{
    return addRenderTarget(name, colorTargetDesc(format));
}

std::size_t RenderPass::addRenderTarget(const std::string& name, D3D11_TEXTURE2D_DESC desc)
{
    if (mTargets.contains(name))
        throw std::invalid_argument("RenderPass: a render target named \"" + name + "\" exists already");
    if (mRenderTargetOrder.size() == maxRenderTargets)
        throw std::invalid_argument("RenderPass: no room for render target \"" + name + "\" (at most "
                                    + std::to_string(maxRenderTargets) + ")");
    desc.BindFlags |= D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
    RenderTarget target{Texture2d(mDevice.Get(), desc, mWidth, mHeight, desc.ArraySize), {}, {}};
    createTargetViews(target, {0.0f, 0.0f, 0.0f, 0.0f});
    mTargets.emplace(name, std::move(target));
    mRenderTargetOrder.push_back(name);
    return mRenderTargetOrder.size() - 1;
}

void RenderPass::addDepthBuffer(unsigned clearFlags, float clearDepth, unsigned char clearStencil)
{
    mDepthBuffer.emplace();
    mDepthBuffer->texture = Texture2d(mDevice.Get(), depthBufferDesc(), mWidth, mHeight, 1);
    createDepthViews(clearFlags, clearDepth, clearStencil);
}

void RenderPass::createTargetViews(RenderTarget& target, const std::array<float, 4>& clearValue)
{
    if (!hasTexture(target.texture)) {
        target.renderTargetView = RenderTargetView();
        target.renderTargetView.setClearValue(clearValue);
        target.shaderResourceView = ShaderResourceView();
        return;
    }
    target.renderTargetView = RenderTargetView(mDevice.Get(), target.texture.get(), clearValue);
    target.shaderResourceView = ShaderResourceView(mDevice.Get(), target.texture.get(), nullptr);
}

void RenderPass::createDepthViews(unsigned clearFlags, float clearDepth, unsigned char clearStencil)
{
    DepthBuffer& buffer = depth();
    if (!hasTexture(buffer.texture)) {
        buffer.depthStencilView = DepthStencilView();
        buffer.depthStencilView.setClearValues(clearFlags, clearDepth, clearStencil);
        buffer.shaderResourceView = ShaderResourceView();
        return;
    }
    buffer.depthStencilView =
        DepthStencilView(mDevice.Get(), buffer.texture.get(), clearFlags, clearDepth, clearStencil);
    D3D11_SHADER_RESOURCE_VIEW_DESC viewDesc{};
    viewDesc.Format = DXGI_FORMAT_R32_FLOAT;
    viewDesc.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    viewDesc.Texture2D.MipLevels = 1;
    buffer.shaderResourceView = ShaderResourceView(mDevice.Get(), buffer.texture.get(), &viewDesc);
}

void RenderPass::setViewport(unsigned width, unsigned height)
{
    // A view still bound would keep its old texture in the context and lose its binding record.
    const auto isBound = [](const ShaderResourceView& view) { return view.stages() != ShaderConfiguration{}; };
    const bool targetBound = std::any_of(mTargets.begin(), mTargets.end(),
                                         [&](const auto& entry) { return isBound(entry.second.shaderResourceView); });
    if (targetBound || (mDepthBuffer && isBound(mDepthBuffer->shaderResourceView)))
        throw std::logic_error("Error: end call is missing");
    mWidth = width;
    mHeight = height;
    for (const std::string& name : mRenderTargetOrder) {
        RenderTarget& target = mTargets.at(name);
        const std::array<float, 4> clearValue = target.renderTargetView.clearValue();
        // Release the old views before their texture, and the texture before creating anew, so
        // that a large pass is never held twice.
        target.shaderResourceView = ShaderResourceView();
        target.renderTargetView = RenderTargetView();
        const D3D11_TEXTURE2D_DESC desc = target.texture.desc();
        target.texture = Texture2d();
        target.texture = Texture2d(mDevice.Get(), desc, width, height, desc.ArraySize);
        createTargetViews(target, clearValue);
    }
    if (mDepthBuffer) {
        const DepthStencilView& view = mDepthBuffer->depthStencilView;
        const unsigned clearFlags = view.clearFlags();
        const float clearDepth = view.depthClearValue();
        const unsigned char clearStencil = view.stencilClearValue();
        mDepthBuffer.emplace();
        mDepthBuffer->texture = Texture2d(mDevice.Get(), depthBufferDesc(), width, height, 1);
        createDepthViews(clearFlags, clearDepth, clearStencil);
    }
}

void RenderPass::setClearValue(const std::string& name, float r, float g, float b, float a)
{
    target(name).renderTargetView.setClearValue(r, g, b, a);
}

void RenderPass::setClearValue(const std::string& name, const Math::Color& color)
{
    target(name).renderTargetView.setClearValue(color);
}

void RenderPass::setDepthStencilClearValues(unsigned clearFlags, float depthValue, unsigned char stencil)
{
    depth().depthStencilView.setClearValues(clearFlags, depthValue, stencil);
}

void RenderPass::begin(ID3D11DeviceContext* context)
{
    beginWithDepthOf(context, *this);
}

void RenderPass::beginWithDepthOf(ID3D11DeviceContext* context, const RenderPass& depthSource)
{
    ID3D11RenderTargetView* views[maxRenderTargets] = {};
    for (std::size_t slot = 0; slot < mRenderTargetOrder.size(); ++slot)
        views[slot] = mTargets.at(mRenderTargetOrder[slot]).renderTargetView.get();
    const std::optional<DepthBuffer>& depth = depthSource.mDepthBuffer;
    ID3D11DepthStencilView* depthView = depth ? depth->depthStencilView.get() : nullptr;
    context->OMSetRenderTargets(static_cast<UINT>(mRenderTargetOrder.size()), views, depthView);
}

void RenderPass::end(ID3D11DeviceContext* context)
{
    context->Flush();
    ID3D11RenderTargetView* none[maxRenderTargets] = {};
    context->OMSetRenderTargets(static_cast<UINT>(mRenderTargetOrder.size()), none, nullptr);
}

void RenderPass::clear(ID3D11DeviceContext* context, const std::string& name)
{
    const RenderTargetView& view = target(name).renderTargetView;
    if (view.get() != nullptr)
        view.clear(context);
}

void RenderPass::clearAllRenderTargets(ID3D11DeviceContext* context, bool clearDepth)
{
    for (const std::string& name : mRenderTargetOrder)
        clear(context, name);
    if (clearDepth && mDepthBuffer && mDepthBuffer->depthStencilView.get() != nullptr)
        mDepthBuffer->depthStencilView.clear(context);
}

void RenderPass::bindTexture(ID3D11DeviceContext* context, const std::string& name, ShaderConfiguration stages,
                             unsigned slot)
{
    target(name).shaderResourceView.begin(context, stages, slot);
}

void RenderPass::unbindTexture(ID3D11DeviceContext* context, const std::string& name)
{
    target(name).shaderResourceView.end(context);
}

void RenderPass::bindDepthTexture(ID3D11DeviceContext* context, ShaderConfiguration stages, unsigned slot)
{
    depth().shaderResourceView.begin(context, stages, slot);
}

void RenderPass::unbindDepthTexture(ID3D11DeviceContext* context)
{
    depth().shaderResourceView.end(context);
}

const Texture2d& RenderPass::texture(const std::string& name) const
{
    return target(name).texture;
}

const Texture2d& RenderPass::depthTexture() const
{
    if (!mDepthBuffer)
        throw std::logic_error("RenderPass: the pass has no depth buffer");
    return mDepthBuffer->texture;
}

RenderPass::RenderTarget& RenderPass::target(const std::string& name)
{
    const auto found = mTargets.find(name);
    if (found == mTargets.end())
        throw std::invalid_argument("RenderPass: no render target named \"" + name + "\"");
    return found->second;
}

const RenderPass::RenderTarget& RenderPass::target(const std::string& name) const
{
    const auto found = mTargets.find(name);
    if (found == mTargets.end())
        throw std::invalid_argument("RenderPass: no render target named \"" + name + "\"");
    return found->second;
}

RenderPass::DepthBuffer& RenderPass::depth()
{
    if (!mDepthBuffer)
        throw std::logic_error("RenderPass: the pass has no depth buffer");
    return *mDepthBuffer;
}

} // namespace Render
