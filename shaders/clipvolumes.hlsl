// Clip volumes: boxes in any orientation and vertical prisms over polygons, in world coordinates,
// that show only what lies inside them, hide it, or highlight it (Render::ClipVolumes).

#define CLIP_VOLUMES_MAX 8
#define CLIP_VERTEX_PAIRS_MAX 32

// Mirrored byte for byte by Render::ClipVolumeConstants on the host (1312 bytes).
cbuffer cbClipVolumes : register(b3)
{
    float4x4 clip_from_world[CLIP_VOLUMES_MAX];   // 0: box: world to its unit cube; prism: to its footprint's frame
    int4 clip_volume[CLIP_VOLUMES_MAX];           // 512: kind (1 box, 2 prism), effect, first vertex, vertex count
    float4 clip_heights[CLIP_VOLUMES_MAX];        // 640: prism: bottom, top
    float4 clip_vertices[CLIP_VERTEX_PAIRS_MAX];  // 768: footprint vertices, two a register
    float4 clip_highlight;                        // 1280: colour, and how much of it
    int clip_volume_count;                        // 1296
};

float2 clipVertex(int index)
{
    float4 pair = clip_vertices[index / 2];
    return (index % 2) == 0 ? pair.xy : pair.zw;
}

// Even-odd: the edges that a ray toward +x crosses.
bool insideFootprint(float2 p, int first, int count)
{
    bool inside = false;
    float2 b = clipVertex(first + count - 1);
    for (int k = 0; k < count; ++k) {
        float2 a = clipVertex(first + k);
        if ((a.y > p.y) != (b.y > p.y)) {
            float x = a.x + (p.y - a.y) * (b.x - a.x) / (b.y - a.y);
            if (p.x < x)
                inside = !inside;
        }
        b = a;
    }
    return inside;
}

bool insideClipVolume(int v, float3 world)
{
    float3 p = mul(clip_from_world[v], float4(world, 1.0)).xyz;
    if (clip_volume[v].x == 1)
        return all(abs(p) <= 1.0);
    if (p.z < clip_heights[v].x || p.z > clip_heights[v].y)
        return false;
    return insideFootprint(p.xy, clip_volume[v].z, clip_volume[v].w);
}

// -1: clipped away; 0: drawn; 1: drawn highlighted. Drawn inside one of the volumes that show
// their inside (when there is any) and inside none of those that hide it.
int clipVolumeTest(float3 world)
{
    bool showsInside = false;
    bool shown = false;
    bool highlighted = false;
    for (int v = 0; v < clip_volume_count; ++v) {
        bool inside = insideClipVolume(v, world);
        int effect = clip_volume[v].y;
        if (effect == 0) {
            showsInside = true;
            if (inside)
                shown = true;
        } else if (effect == 1) {
            if (inside)
                return -1;
        } else if (inside) {
            highlighted = true;
        }
    }
    if (showsInside && !shown)
        return -1;
    return highlighted ? 1 : 0;
}

float4 clipHighlighted(float4 color)
{
    return float4(lerp(color.rgb, clip_highlight.rgb, clip_highlight.a), color.a);
}
