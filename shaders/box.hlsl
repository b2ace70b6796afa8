// Wire-frame boxes: one instance per box, the 24 end points of its 12 edges made from the vertex id.

cbuffer VS_CONSTANT_BUFFER : register(b0)
{
    float4x4 world_view_proj;
};

struct vs_in
{
    float3 posMin : POS_MIN;
    float3 posMax : POS_MAX;
    float4 col : COL;
    uint vertexID : SV_VertexID;
};

struct vs_out
{
    float4 position : SV_POSITION;
    float4 col : COLOR;
};

struct ps_out
{
    float4 color : SV_TARGET0;
    float4 worldPosition : SV_TARGET1;
};

// Corner index per end point, pairwise the 12 edges. Bit 2 of a corner index selects x, bit 1 y,
// bit 0 z (0 = minimum, 1 = maximum).
static const uint edgeCorners[24] = {
    0, 4, 4, 5, 5, 1, 1, 0,
    2, 6, 6, 7, 7, 3, 3, 2,
    0, 2, 4, 6, 5, 7, 1, 3
};

vs_out vs_main(vs_in input)
{
    uint corner = edgeCorners[input.vertexID];
    float3 select = float3((corner >> 2) & 1, (corner >> 1) & 1, corner & 1);
    vs_out output;
    output.position = mul(world_view_proj, float4(lerp(input.posMin, input.posMax, select), 1.0));
    output.col = input.col;
    return output;
}

// The second target is the world-position target: w = 0 says no point lies under the pixel.
ps_out ps_main(vs_out input)
{
    ps_out output;
    output.color = input.col;
    output.worldPosition = float4(0.0, 0.0, 0.0, 0.0);
    return output;
}
