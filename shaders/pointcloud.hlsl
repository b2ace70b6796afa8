#include "shaders/colorprocessing.hlsl"
#include "shaders/clipvolumes.hlsl"

// Point clouds: every point is one instance of a four-vertex strip that becomes a screen-facing
// round disc. The disc shrinks where deeper octree nodes are resident around the point, so that
// coarse points do not cover the finer ones loaded beside them.

#define CLIPPING_PLANES_MAX_COUNT 8

// Mirrored byte for byte by PointCloudFrameConstants on the host (720 bytes).
cbuffer cbPerFrame : register(b0)
{
    float4x4 model;               // offset 0
    float4x4 inv_model;           // 64
    float4x4 view;                // 128
    float4x4 proj;                // 192
    float4x4 model_view_proj;     // 256
    float4x4 inv_model_view_proj; // 320
    float4x4 inv_view_proj;       // 384
    float4 clipping_planes[CLIPPING_PLANES_MAX_COUNT]; // 448, in model coordinates
    float4 uniformColor;          // 576
    float4 tomographicColor;      // 592
    float4 distance_plane;        // 608, in world coordinates
    float near;                   // 624
    float far;                    // 628
    float width;                  // 632, pixels
    float height;                 // 636, pixels
    float aspect;                 // 640
    float point_size;             // 644, model units
    float root_node_size;         // 648, edge of the root cube in model units
    float max_point_size;         // 652, pixels
    float tomo_contrast;          // 656
    float model_scale;            // 660
    float min_distance;           // 664
    float max_distance;           // 668
    float min_distance_pass_fail; // 672
    float max_distance_pass_fail; // 676
    float min_distance_warn;      // 680
    float max_distance_warn;      // 684
    int color_map;                // 688
    int point_render_mode;        // 692, Render::RenderMode
    int use_signed_distance;      // 696
    int selected;                 // 700
    int use_cloud_colors_in_tomographic_render_modes; // 704
};

// Written before each node's draw (32 bytes on the host).
cbuffer cbPerOctreeNode : register(b1)
{
    float3 node_min;  // minimum corner of the node's cube, model coordinates
    uint node_index;  // the node's texel in visibleNodes
    uint node_depth;  // the node's level
};

// One texel per resident node in level order. Red: mask of the resident children; green and
// blue: high and low byte of the offset from this texel to the first resident child's.
Texture1D<float4> visibleNodes : register(t0);

// One texel per class: the class's colour, and alpha 0 where its points are hidden.
Texture1D<float4> classes : register(t1);

struct vs_in
{
    float4 pos : POS;
    float4 col : COL;
    float intensity : INTENSITY;
    uint classIndex : CLASSINDEX;
    uint scanIndex : SCANINDEX;
    float distance : DISTANCE;
    uint vertexID : SV_VertexID;
};

struct ps_in
{
    float4 pos : SV_POSITION;
    float4 col : COL;
    float4 worldPosition : TEXCOORD1;
    float4 exactWorldPosition : TEXCOORD2;
    float2 uv : TEXCOORD0;
};

struct ps_out
{
    float4 color : SV_TARGET0;
    float4 worldPosition : SV_TARGET1;
    float4 exactWorldPosition : SV_TARGET2;
};

bool isOrthographic()
{
    return proj._44 == 1.0;
}

// countbits() is missing from some HLSL compilers; the masks have eight bits.
uint bitCount8(uint mask)
{
    uint count = 0;
    for (uint bit = 0; bit < 8; ++bit)
        count += (mask >> bit) & 1;
    return count;
}

float nodeSize(uint depth)
{
    return root_node_size / exp2((float)depth);
}

// The level of the deepest resident node that holds the point: walks down the node table from
// the node being drawn, one level per step.
uint getLodLevel(float3 pos)
{
    uint texel = node_index;
    uint depth = node_depth;
    float3 nodeMin = node_min;
    for (uint step = 0; step < 22; ++step) {
        float size = nodeSize(depth);
        float3 p = (pos - nodeMin) / size;
        uint3 upper = uint3(p.x >= 0.5 ? 1 : 0, p.y >= 0.5 ? 1 : 0, p.z >= 0.5 ? 1 : 0);
        uint childIndex = 4 * upper.x + 2 * upper.y + upper.z;
        float4 node = visibleNodes.Load(int2(texel, 0));
        uint mask = (uint)round(node.r * 255.0);
        if (((mask >> childIndex) & 1) == 0)
            return depth;
        uint offset = (uint)round(node.g * 255.0) * 256 + (uint)round(node.b * 255.0);
        uint below = childIndex == 0 ? 0 : (1u << childIndex) - 1;
        texel += offset + bitCount8(mask & below);
        depth += 1;
        nodeMin += 0.5 * size * float3(upper);
    }
    return depth;
}

float pointSize(float3 pos)
{
    return model_scale * point_size / exp2((float)getLodLevel(pos)) * abs(proj._22);
}

ps_in culled(ps_in output)
{
    output.pos = float4(0.0, 0.0, 0.0, 0.0);
    output.worldPosition = float4(0.0, 0.0, 0.0, 0.0);
    return output;
}

// The point's vertex; discSize is the disc's half size in clip units (0 for a culled point).
ps_in pointVertex(vs_in input, out float2 discSize)
{
    discSize = float2(0.0, 0.0);
    ps_in output;
    output.pos = float4(0.0, 0.0, 0.0, 0.0);
    output.col = input.col;
    output.worldPosition = float4(0.0, 0.0, 0.0, 0.0);
    output.exactWorldPosition = float4(0.0, 0.0, 0.0, 0.0);
    output.uv = float2(0.0, 0.0);

    // The distance to the mesh as the mode measures it: unsigned, it is culled and coloured as
    // its absolute value, exactly like the distance to a plane.
    float meshDistance = use_signed_distance != 0 ? input.distance : abs(input.distance);
    if (point_render_mode == 7) {
        if (meshDistance < min_distance || meshDistance > max_distance)
            return culled(output);
    }
    // A hidden class's points are culled in every mode, so they are neither drawn nor picked.
    float4 pointClass = classes.Load(int2(input.classIndex, 0));
    if (pointClass.a == 0.0)
        return culled(output);
    for (int i = 0; i < CLIPPING_PLANES_MAX_COUNT; ++i) {
        if (dot(input.pos, clipping_planes[i]) < 0.0)
            return culled(output);
    }
    int clipping = clipVolumeTest(mul(model, input.pos).xyz);
    if (clipping < 0)
        return culled(output);

    float4 pos = mul(model_view_proj, input.pos);
    float size = clamp(pointSize(input.pos.xyz), pos.w / height, max_point_size / height * pos.w);
    float2 s = float2(size / aspect, size);
    discSize = s;
    output.uv = float2((input.vertexID & 2) != 0 ? 1.0 : -1.0, (input.vertexID & 1) != 0 ? 1.0 : -1.0);
    output.pos = pos + float4(output.uv * s, 0.0, 0.0);

    if (point_render_mode == 6 || (selected != 0 && point_render_mode == 0)) {
        float grey = (input.col.r + input.col.g + input.col.b) / 3.0;
        output.col = float4(grey, grey, grey, 1.0) * uniformColor;
    } else if (point_render_mode == 5) {
        output.col = gray(input.intensity);
    } else if (point_render_mode == 8) {
        output.col = float4(pointClass.rgb, 1.0);
    } else if (point_render_mode == 7) {
        output.col = colorizeByDistance(meshDistance, min_distance, max_distance, color_map,
                                        min_distance_pass_fail, max_distance_pass_fail, min_distance_warn,
                                        max_distance_warn);
    }

    output.exactWorldPosition = mul(model, input.pos);
    if (point_render_mode == 4) {
        float d = planeDistance(output.exactWorldPosition.xyz, distance_plane);
        if (use_signed_distance == 0)
            d = abs(d);
        if (d < min_distance || d > max_distance)
            return culled(output);
        output.col = colorizeByDistance(d, min_distance, max_distance, color_map, min_distance_pass_fail,
                                        max_distance_pass_fail, min_distance_warn, max_distance_warn);
    }
    if (clipping > 0)
        output.col = clipHighlighted(output.col);
    // The read-back world position covers the whole disc, not only its centre.
    output.worldPosition = output.exactWorldPosition + mul(inv_view_proj, float4(output.uv * s, 0.0, 0.0));
    return output;
}

ps_in vs_main(vs_in input)
{
    float2 discSize;
    return pointVertex(input, discSize);
}

// High-quality splats: the same disc, its depth moved toward the eye by the disc's radius, so
// that against the depth of the opaque discs it passes wherever it lies within its radius behind
// the nearest disc. Its size on screen stays the same: only z changes, for the same w.
ps_in vs_splat(vs_in input)
{
    float2 discSize;
    ps_in output = pointVertex(input, discSize);
    if (output.pos.w == 0.0)
        return output;
    // The radius in view units: the half size in clip units over the projection's y scale.
    float eyeZ = mul(view, output.exactWorldPosition).z + discSize.y / abs(proj._22);
    float2 zw = float2(proj._33 * eyeZ + proj._34, proj._43 * eyeZ + proj._44);
    output.pos.z = zw.x / zw.y * output.pos.w;
    return output;
}

ps_out ps_main(ps_in input)
{
    float r = length(input.uv);
    if (r > 1.0)
        discard;
    float x = 1.0 - r;

    ps_out output;
    output.color = input.col;
    if (point_render_mode == 1 || point_render_mode == 2) {
        float3 c = use_cloud_colors_in_tomographic_render_modes != 0 ? uniformColor.rgb : tomographicColor.rgb;
        float alpha = tomo_contrast * smoothstep(0.0, 1.0, x);
        output.color = point_render_mode == 1 ? float4(1.0 - c, alpha) : float4(c, alpha);
    }
    output.worldPosition = input.worldPosition;
    output.exactWorldPosition = input.exactWorldPosition;
    return output;
}

// Adds the disc's colour weighted by exp(-2 r^2) and the weight itself; post-processing divides.
float4 ps_splat(ps_in input) : SV_TARGET0
{
    float r2 = dot(input.uv, input.uv);
    if (r2 > 1.0)
        discard;
    float weight = exp(-2.0 * r2);
    return float4(input.col.rgb * weight, weight);
}
