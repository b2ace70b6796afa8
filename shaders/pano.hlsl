// Spherical panoramas: one full-screen quad whose pixels look up the panorama in the direction
// they see, sample the finest level that has arrived for their tile, and lie at the panorama's
// measured distance (a real depth), so points and meshes hide it and are hidden by it.

#define MAX_TILES_PER_LEVEL 48

// Mirrored byte for byte by PanoConstants on the host (1824 bytes).
cbuffer cbConstant : register(b0)
{
    float4x4 viewProjection;             // 0
    float4x4 inverseModelViewProjection; // 64
    float4x4 model;                      // 128
    float4x4 inverseModelView;           // 192
    float zNear;                         // 256
    float zFar;                          // 260
    float scale;                         // 264, length of the world matrix's x axis
    uint projectionType;                 // 268, 0 equirectangular, otherwise a cube map
    uint tileRows;                       // 272
    uint tileColumns;                    // 276
    uint colorLevels;                    // 280
    uint depthLevels;                    // 284
    uint maxColorLevelPerTile[MAX_TILES_PER_LEVEL]; // 288, a register each
    uint maxDepthLevelPerTile[MAX_TILES_PER_LEVEL]; // 1056
};

Texture2DArray<float4> panoColorL0 : register(t0);
Texture2DArray<float4> panoColorL1 : register(t1);
Texture2DArray<float4> panoColorL2 : register(t2);
Texture2DArray<float4> panoColorL3 : register(t3);
Texture2DArray<float> panoDepthL0 : register(t4);
Texture2DArray<float> panoDepthL1 : register(t5);
Texture2DArray<float> panoDepthL2 : register(t6);
Texture2DArray<float> panoDepthL3 : register(t7);
SamplerState samplerPano : register(s0);

struct ps_in
{
    float4 position : SV_POSITION;
    float4 objPos : TEXCOORD0;
};

struct ps_out
{
    float4 color : SV_TARGET0;
    float4 worldPosition : SV_TARGET1;
    float4 exactWorldPosition : SV_TARGET2;
    float depth : SV_DEPTH;
};

ps_in vs_main(uint id : SV_VertexID)
{
    float2 uv = float2((id >> 1) & 1, id & 1);
    ps_in output;
    output.position = float4(-1.0 + 2.0 * uv.x, -1.0 + 2.0 * uv.y, 1.0, 1.0);
    float4 objPos = mul(inverseModelViewProjection, output.position);
    output.objPos = objPos / objPos.w;
    return output;
}

// Level 0 of the (single-mip) arrays, without gradients: the level differs from pixel to pixel.
float4 sampleColor(uint level, float3 at)
{
    [branch] switch (level) {
    case 1: return panoColorL1.SampleLevel(samplerPano, at, 0);
    case 2: return panoColorL2.SampleLevel(samplerPano, at, 0);
    case 3: return panoColorL3.SampleLevel(samplerPano, at, 0);
    default: return panoColorL0.SampleLevel(samplerPano, at, 0);
    }
}

float sampleDepth(uint level, float3 at)
{
    [branch] switch (level) {
    case 1: return panoDepthL1.SampleLevel(samplerPano, at, 0);
    case 2: return panoDepthL2.SampleLevel(samplerPano, at, 0);
    case 3: return panoDepthL3.SampleLevel(samplerPano, at, 0);
    default: return panoDepthL0.SampleLevel(samplerPano, at, 0);
    }
}

ps_out ps_main(ps_in input)
{
    const float pi = 3.14159265;
    float3 dir = normalize(input.objPos.xyz);
    float2 tileUv;
    uint face = 0;
    if (projectionType == 0) {
        tileUv = float2(0.5 - atan2(dir.y, dir.x) / (2.0 * pi), 0.5 - asin(dir.z) / pi);
    } else {
        float3 a = abs(dir);
        if (a.x >= a.y && a.x >= a.z) {
            face = dir.x > 0.0 ? 0 : 1;
            tileUv = 0.5 * float2(dir.y * (dir.x > 0.0 ? -1.0 : 1.0), -dir.z) / a.x + 0.5;
        } else if (a.y >= a.z) {
            face = dir.y > 0.0 ? 2 : 3;
            tileUv = 0.5 * float2(dir.x * (dir.y > 0.0 ? 1.0 : -1.0), -dir.z) / a.y + 0.5;
        } else {
            face = dir.z > 0.0 ? 4 : 5;
            tileUv = 0.5 * float2(-dir.y, dir.x * (dir.z > 0.0 ? 1.0 : -1.0)) / a.z + 0.5;
        }
    }
    float2 grid = tileUv * float2(tileColumns, tileRows);
    uint column = min((uint)grid.x, tileColumns - 1);
    uint row = min((uint)grid.y, tileRows - 1);
    float3 at = float3(frac(grid), 0.0);
    uint index = row * tileColumns + column;
    if (projectionType != 0)
        index += face * tileRows * tileColumns;
    at.z = index;

    uint colorLevel = maxColorLevelPerTile[index];
    float4 color = (projectionType != 0 && colorLevel == 5) ? float4(0.0, 0.0, 0.0, 0.0) : sampleColor(colorLevel, at);
    float r = sampleDepth(maxDepthLevelPerTile[index], at);

    // Along the view direction the point lies between the near plane and just inside the far one.
    float3 viewDir = normalize(mul((float3x3)inverseModelView, float3(0.0, 0.0, -1.0)));
    float proj = dot(dir, viewDir);
    r = clamp(r * proj, zNear / scale, zFar / scale - 1.0) / proj;

    float4 worldPos = mul(model, float4(r * dir, 1.0));
    float4 clip = mul(viewProjection, worldPos);
    ps_out output;
    output.color = color;
    output.worldPosition = worldPos;
    output.exactWorldPosition = worldPos;
    output.depth = clip.z / clip.w;
    return output;
}
