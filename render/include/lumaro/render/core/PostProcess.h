#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/EyeDomeLighting.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/ConstantBuffer.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>
#include <lumaro/render/gpu/Viewport.h>

#include <lumaro/math/Color.h>

#include <Eigen/Core>

#include <d3d11.h>

#include <array>
#include <cstdint>

namespace Render {

// The full-screen stage that turns the scene pass into the final picture: brightness and contrast,
// the tomographic looks, shading by normals computed from world positions, eye-dome lighting,
// the normalisation of weighted splats, and global opacity. It reads the scene's colour and world
// positions from texture slots 0 and 1 of the pixel stage, its depth from slot 3 and the splats'
// sums from slot 4 (the caller binds them), and writes colour and world position to render
// targets 0 and 1.
class LUMARO_RENDER_API PostProcess {
public:
    // Mirrors cbuffer cbConstant of "shaders/postprocessing.hlsl", byte for byte.
    struct Constants {
        float width = 640.0f;
        float height = 480.0f;
        float brightness = 0.0f;
        float contrast = 1.0f;
        std::array<float, 4> backgroundColor{1.0f, 1.0f, 1.0f, 1.0f};
        float opacity = 1.0f;
        std::int32_t renderMode = 0;
        float edlStrength = 0.0f; // 0: no eye-dome lighting
        float edlRadius = 1.0f;
        // The projection's entries (2,2), (2,3), (3,2), (3,3), which turn a depth back into a
        // view z.
        std::array<float, 4> depthRows{1.0f, 0.0f, 0.0f, 1.0f};
        float edlOrthographicScale = 0.0f; // |(1,1)| of an orthographic projection; 0: perspective
        std::int32_t normalizeSplats = 0;
        std::array<float, 2> padding{};
    };

    PostProcess() = default;
    explicit PostProcess(const ComPtr<ID3D11Device>& device);
    PostProcess(PostProcess&&) noexcept = default;
    PostProcess& operator=(PostProcess&&) noexcept = default;
    PostProcess(const PostProcess&) = delete;
    PostProcess& operator=(const PostProcess&) = delete;
    ~PostProcess();

    // Each setter stores its value; the constants reach the GPU at the next draw.
    void setViewport(const Viewport& viewport);
    void setBrightness(float brightness);
    float brightness() const { return mConstants.data().brightness; }
    void setContrast(float contrast);
    float contrast() const { return mConstants.data().contrast; }
    void setOpacity(float opacity);
    float opacity() const { return mConstants.data().opacity; }
    void setBackgroundColor(const Math::Color& color);
    void setRenderMode(RenderMode mode);
    void setEyeDomeLighting(const EyeDomeLighting& lighting);
    // The projection of the scene's depth buffer.
    void setProjection(const Eigen::Matrix4f& projection);
    // Whether the colour comes from the splats' sums where they have any weight.
    void setNormalizeSplats(bool normalize);
    RenderMode renderMode() const { return static_cast<RenderMode>(mConstants.data().renderMode); }

    const Constants& constants() const { return mConstants.data(); }
    // Whether the constants wait for upload at the next draw.
    bool constantsDirty() const { return mConstants.dirty(); }
    void markDirty() { mConstants.modify(); }

    // One full-screen pass; throws std::logic_error("Error: end call is missing") when the
    // constant buffer is still bound from an unfinished draw.
    void draw(ID3D11DeviceContext* context);

private:
    VertexShader mVertexShader;
    PixelShader mPixelShader;
    ConstantBuffer<Constants> mConstants;
};

} // namespace Render
