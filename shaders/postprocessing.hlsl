// Full-screen pass that turns the scene targets into the final picture: brightness and contrast,
// the tomographic looks, normals from world positions, eye-dome lighting, the normalisation of
// weighted splats, and the global opacity. Drawn as a four-vertex triangle strip without vertex
// buffers.

#include "shaders/colorprocessing.hlsl"

// Mirrored byte for byte by the host's PostProcess constants (80 bytes, 72 used).
cbuffer cbConstant : register(b0)
{
    float width;           // offset 0
    float height;          // offset 4
    float brightness;      // offset 8
    float contrast;        // offset 12
    float4 bg_color;       // offset 16
    float opacity;         // offset 32
    int point_render_mode; // offset 36, Render::RenderMode
    float edl_strength;    // offset 40, 0: no eye-dome lighting
    float edl_radius;      // offset 44, pixels
    float4 depth_rows;     // offset 48, the projection's (2,2), (2,3), (3,2), (3,3)
    float edl_orthographic_scale; // offset 64, |(1,1)| of an orthographic projection, 0 in perspective
    int normalize_splats;  // offset 68
};

// Scene targets, read texel by texel: no sampler, no filtering.
Texture2D<float4> colorTexture : register(t0);
Texture2D<float4> worldPositionTexture : register(t1);
// Bound by the renderer with the others; no mode needs it yet.
Texture2D<float4> exactWorldPositionTexture : register(t2);
// The scene's depth buffer, and the sums of weighted splats: colour times weight, and weight.
Texture2D<float> depthTexture : register(t3);
Texture2D<float4> splatTexture : register(t4);

// Contours of the tomographic modes are drawn at twice the luminance of the scene colour.
static const float luminanceScale = 2.0;

// Eye-dome lighting compares each pixel with eight neighbours, one every 45 degrees, and scales
// the mean step by this (times the strength) before it darkens.
static const float edlResponseScale = 100.0;
static const float2 edlDirections[8] = {
    float2(1.0, 0.0), float2(0.70710678, 0.70710678), float2(0.0, 1.0), float2(-0.70710678, 0.70710678),
    float2(-1.0, 0.0), float2(-0.70710678, -0.70710678), float2(0.0, -1.0), float2(0.70710678, -0.70710678)};

struct VertexOutput {
    float4 position : SV_POSITION;
    float2 uv : TEXCOORD0;
};

struct PixelOutput {
    float4 color : SV_TARGET0;
    float4 worldPosition : SV_TARGET1;
};

VertexOutput vs_main(uint id : SV_VertexID)
{
    VertexOutput output;
    output.uv = float2((id >> 1) & 1, id & 1);
    output.position = float4(lerp(-1.0, 1.0, output.uv.x), lerp(-1.0, 1.0, output.uv.y), 1.0, 1.0);
    return output;
}

float mean(float3 rgb)
{
    return (rgb.r + rgb.g + rgb.b) / 3.0;
}

// Dark contours: bright parts of the scene turn dark and opaque, dark parts fade to transparent
// white.
float4 tomographicDark(float4 col)
{
    float3 rgb = lerp(float3(1.0, 1.0, 1.0), float3(1.0, 1.0, 1.0) - col.rgb, col.a);
    float alpha = 1.0 - mean(rgb);
    return float4(saturate(1.0 - luminanceScale * (1.0 - rgb)), saturate(luminanceScale * alpha));
}

// Bright contours: the brightened colour, opaque where the scene is bright.
float4 tomographicBright(float4 col)
{
    return float4(saturate(luminanceScale * col.rgb), saturate(luminanceScale * mean(col.rgb)));
}

// The surface normal from the world positions of the pixel and its left and upper neighbours.
float4 shadeByNormal(int2 pixel, float3 position)
{
    float3 left = worldPositionTexture.Load(int3(pixel - int2(1, 0), 0)).xyz;
    float3 top = worldPositionTexture.Load(int3(pixel - int2(0, 1), 0)).xyz;
    return colorizeByNormal(normalize(cross(position - left, position - top)));
}

// The view z of a depth, undone through the projection's depth rows: z = (P23 - d P33) / (d P32 - P22).
float viewZ(float depth)
{
    return (depth_rows.y - depth * depth_rows.w) / (depth * depth_rows.z - depth_rows.x);
}

// What eye-dome lighting compares: the logarithm of the eye distance in a perspective view, where
// a step matters by its ratio to the distance; the distance itself, in units of half the view's
// height, in an orthographic one, where distances may be zero or negative. The view looks down -z.
float edlDepth(int2 pixel)
{
    float distance = -viewZ(depthTexture.Load(int3(pixel, 0)));
    return edl_orthographic_scale > 0.0 ? distance * edl_orthographic_scale : log(distance);
}

// How much the pixel keeps of its colour: darker the more its neighbours at the radius lie
// nearer to the eye. Neighbours beyond the picture's edge are taken at the edge.
float eyeDomeShade(int2 pixel)
{
    float centre = edlDepth(pixel);
    int2 last = int2(int(width) - 1, int(height) - 1);
    float response = 0.0;
    for (int k = 0; k < 8; ++k) {
        int2 neighbour = clamp(pixel + int2(round(edl_radius * edlDirections[k])), int2(0, 0), last);
        response += max(0.0, centre - edlDepth(neighbour));
    }
    return exp(-edl_strength * edlResponseScale * response / 8.0);
}

PixelOutput ps_main(VertexOutput input)
{
    // uv.y grows upwards, texture rows downwards.
    int2 pixel = int2(round(lerp(float2(0.0, height - 1.0), float2(width - 1.0, 0.0), input.uv)));
    float4 col = float4(colorTexture.Load(int3(pixel, 0)).rgb, 1.0);
    float4 world = worldPositionTexture.Load(int3(pixel, 0));
    if (normalize_splats != 0) {
        float4 sums = splatTexture.Load(int3(pixel, 0));
        if (sums.a > 0.0)
            col.rgb = sums.rgb / sums.a;
    }

    float4 result = col;
    if (world.w == 0.0) {
        // Nothing was drawn here: the tomographic modes make the background transparent, the
        // others keep the clear colour.
        if (point_render_mode == 1)
            result = float4(1.0, 1.0, 1.0, 0.0);
        else if (point_render_mode == 2)
            result = float4(0.0, 0.0, 0.0, 0.0);
    } else if (point_render_mode == 0) {
        result = adjustBrightnessContrast(col, brightness, contrast);
    } else if (point_render_mode == 1) {
        result = tomographicDark(col);
    } else if (point_render_mode == 2) {
        result = tomographicBright(col);
    } else if (point_render_mode == 3) {
        result = shadeByNormal(pixel, world.xyz);
    }
    // Modes 4 to 8 were coloured by the point shader already.

    if (edl_strength > 0.0) {
        // Where the picture is transparent (the tomographic modes' background), the darkening
        // makes it opaque by as much, so that outlines show when the picture is composited.
        float shade = eyeDomeShade(pixel);
        result.rgb *= shade;
        result.a = max(result.a, 1.0 - shade);
    }
    result.a *= opacity;
    PixelOutput output;
    output.color = result;
    output.worldPosition = world;
    return output;
}
