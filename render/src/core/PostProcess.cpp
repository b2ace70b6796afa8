#include <lumaro/render/core/PostProcess.h>

#include <lumaro/render/gpu/Viewport.h>

#include <cmath>
#include <cstddef>

namespace Render {

namespace {

constexpr const char* shaderName = "shaders/postprocessing.hlsl";
constexpr unsigned constantBufferSlot = 0;

// HLSL packs a float4 at a 16-byte boundary; the scalars that follow share the next register.
static_assert(offsetof(PostProcess::Constants, width) == 0);
static_assert(offsetof(PostProcess::Constants, height) == 4);
static_assert(offsetof(PostProcess::Constants, brightness) == 8);
static_assert(offsetof(PostProcess::Constants, contrast) == 12);
static_assert(offsetof(PostProcess::Constants, backgroundColor) == 16);
static_assert(offsetof(PostProcess::Constants, opacity) == 32);
static_assert(offsetof(PostProcess::Constants, renderMode) == 36);
static_assert(offsetof(PostProcess::Constants, edlStrength) == 40);
static_assert(offsetof(PostProcess::Constants, edlRadius) == 44);
static_assert(offsetof(PostProcess::Constants, depthRows) == 48);
static_assert(offsetof(PostProcess::Constants, edlOrthographicScale) == 64);
static_assert(offsetof(PostProcess::Constants, normalizeSplats) == 68);
static_assert(sizeof(PostProcess::Constants) == 80, "constant buffers are whole 16-byte registers");

} // namespace

PostProcess::PostProcess(const ComPtr<ID3D11Device>& device)
    : mVertexShader(VertexShader::fromHlslResource(device, shaderName, {})),
      mPixelShader(PixelShader::fromHlslResource(device, shaderName)),
      mConstants(device.Get(), Constants{})
{}

PostProcess::~PostProcess() = default;

void PostProcess::setViewport(const Viewport& viewport)
{
    Constants& constants = mConstants.modify();
    constants.width = static_cast<float>(viewport.width());
    constants.height = static_cast<float>(viewport.height());
}

void PostProcess::setBrightness(float brightness)
{
    mConstants.modify().brightness = brightness;
}

void PostProcess::setContrast(float contrast)
{
    mConstants.modify().contrast = contrast;
}

void PostProcess::setOpacity(float opacity)
{
    mConstants.modify().opacity = opacity;
}

void PostProcess::setBackgroundColor(const Math::Color& color)
{
    mConstants.modify().backgroundColor = color.toFloats();
}

void PostProcess::setRenderMode(RenderMode mode)
{
    mConstants.modify().renderMode = static_cast<std::int32_t>(mode);
}

void PostProcess::setEyeDomeLighting(const EyeDomeLighting& lighting)
{
    Constants& constants = mConstants.modify();
    constants.edlStrength = lighting.enabled ? lighting.strength : 0.0f;
    constants.edlRadius = lighting.radius;
}

void PostProcess::setProjection(const Eigen::Matrix4f& projection)
{
    const std::array<float, 4> rows{projection(2, 2), projection(2, 3), projection(3, 2), projection(3, 3)};
    const bool orthographic = projection(3, 3) != 0.0f;
    const float orthographicScale = orthographic ? std::abs(projection(1, 1)) : 0.0f;
    // Called every frame: only a change is uploaded.
    if (rows == constants().depthRows && orthographicScale == constants().edlOrthographicScale)
        return;
    Constants& constants = mConstants.modify();
    constants.depthRows = rows;
    constants.edlOrthographicScale = orthographicScale;
}

void PostProcess::setNormalizeSplats(bool normalize)
{
    if ((constants().normalizeSplats != 0) == normalize)
        return;
    mConstants.modify().normalizeSplats = normalize ? 1 : 0;
}

void PostProcess::draw(ID3D11DeviceContext* context)
{
    mVertexShader.begin(context);
    mPixelShader.begin(context);
    // Throws when still bound; uploads only constants that changed since the last draw.
    mConstants.begin(context, ShaderConfiguration::Pixel, constantBufferSlot);

    // The vertex shader makes a screen-covering strip from SV_VertexID alone.
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
    context->DrawInstanced(4, 1, 0, 0);

    mVertexShader.end(context);
    mPixelShader.end(context);
    mConstants.end(context);
}

} // namespace Render
