// Triangle meshes: unindexed triangle lists lit by a headlight from both sides, clipped by up to
// eight planes, writing colour and world positions like every other renderable.

#include "shaders/clipvolumes.hlsl"

#define CLIPPING_PLANES_MAX_COUNT 8

// Mirrored byte for byte by MeshConstants on the host (288 bytes).
cbuffer cbPerFrameConstants : register(b0)
{
    float4x4 modelMatrix;          // offset 0, the world matrix
    float4x4 viewProjectionMatrix; // 64
    float4 clipping_planes[CLIPPING_PLANES_MAX_COUNT]; // 128, world coordinates; zero planes keep all
    float unitScale;               // 256, model units to world units before modelMatrix
    float3 cameraPosition;         // 260
    float3 lightPos;               // 272, carried but unused
};

struct vs_in
{
    float3 pos : POS;
    float3 nml : NML;
    float2 uv : UV;
    float4 col : COL;
};

struct ps_in
{
    float4 position : SV_POSITION;
    float4 worldPosition : TEXCOORD0;
    float3 normal : NORMAL;
    float4 color : COLOR;
};

struct ps_out
{
    float4 color : SV_TARGET0;
    float4 worldPosition : SV_TARGET1;
    float4 exactWorldPosition : SV_TARGET2;
};

ps_in vs_main(vs_in input)
{
    float4x4 scale = float4x4(unitScale, 0.0, 0.0, 0.0,
                              0.0, unitScale, 0.0, 0.0,
                              0.0, 0.0, unitScale, 0.0,
                              0.0, 0.0, 0.0, 1.0);
    float4x4 worldMatrix = mul(modelMatrix, scale);
    ps_in output;
    output.worldPosition = mul(worldMatrix, float4(input.pos, 1.0));
    output.position = mul(viewProjectionMatrix, output.worldPosition);
    output.normal = normalize(mul((float3x3)worldMatrix, input.nml));
    output.color = input.col;
    return output;
}

ps_out ps_main(ps_in input)
{
    [unroll]
    for (int i = 0; i < CLIPPING_PLANES_MAX_COUNT; ++i) {
        if (dot(input.worldPosition, clipping_planes[i]) < 0.0)
            discard;
    }
    int clipping = clipVolumeTest(input.worldPosition.xyz);
    if (clipping < 0)
        discard;
    // A headlight: lit by the light at the eye, whichever face of the triangle is shown.
    float3 L = normalize(cameraPosition - input.worldPosition.xyz);
    float d = dot(input.normal, -L);
    if (d < 0.0)
        d = dot(-input.normal, -L);
    float diffuse = saturate(d);

    ps_out output;
    output.color = float4(0.2 * input.color.rgb + 0.8 * diffuse * input.color.rgb, 1.0);
    if (clipping > 0)
        output.color = clipHighlighted(output.color);
    output.worldPosition = input.worldPosition;
    output.exactWorldPosition = input.worldPosition;
    return output;
}
