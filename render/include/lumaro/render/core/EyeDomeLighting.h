#pragma once

#include <lumaro/render/Export.h>

namespace Render {

/// Eye-dome lighting: shading from the depth buffer alone, so that a scan without normals or
/// colours shows its shape. Each pixel is darkened by how much nearer to the eye its neighbours
/// at `radius` pixels are (eight of them, every 45 degrees): with D the logarithm of the eye
/// distance in a perspective view, or the eye distance times the projection's vertical scale
/// (2 / the view's height) in an orthographic one,
///
///     response = sum over the neighbours q of max(0, D(pixel) - D(q)) / 8
///     colour  *= exp(-strength * 100 * response)
///
/// Pixels where nothing was drawn lie at the far plane: they keep the background, apart from the
/// dark outline that the rule gives them around silhouettes (where the background is
/// transparent, the outline is made opaque by as much as it darkens).
struct LUMARO_RENDER_API EyeDomeLighting {
    /// Off by default: pictures are as they were without it.
    bool enabled = false;
    /// How strongly depth steps darken (at least 0).
    float strength = 1.0f;
    /// How far the neighbours are, in pixels (1 to 16).
    float radius = 1.0f;

    /// Equal when all three are.
    friend bool operator==(const EyeDomeLighting&, const EyeDomeLighting&) = default;
};

/// Throws std::invalid_argument naming the value when `strength` is negative or not a finite
/// number, or `radius` lies outside 1 to 16 pixels.
LUMARO_RENDER_API void checkEyeDomeLighting(const EyeDomeLighting& lighting);

} // namespace Render
