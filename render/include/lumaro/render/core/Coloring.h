#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/Named.h>
#include <lumaro/render/core/RenderMode.h>

#include <lumaro/math/NBoundingBox.h>

#include <span>
#include <string_view>

namespace Render {

class Renderer;

/// How a picture colours its points, as users name it: a render mode, and for elevation the
/// colorization plane that measures heights (see applyColoring).
enum class Coloring {
    Rgb,
    Intensity,
    Normal,
    Uniform,
    Elevation,
    Tomographic,
    TomographicDark,
    MeshDistance,
    Classification
};

/// Every colouring by its name: rgb, intensity, normal, uniform, elevation, tomographic,
/// tomographic-dark, mesh-distance, classification.
LUMARO_RENDER_API std::span<const Named<Coloring>> coloringNames();
/// The colouring of that name. Throws std::invalid_argument "unknown mode 'NAME' (known: ...)".
LUMARO_RENDER_API Coloring coloringNamed(std::string_view name);
/// The name of a colouring (the one coloringNamed takes).
LUMARO_RENDER_API std::string_view nameOf(Coloring coloring);

/// The render mode that draws a colouring: rgb is the default mode (the cloud's own colour, or
/// intensity), elevation the distance to a plane, tomographic the bright tomographic mode.
LUMARO_RENDER_API RenderMode renderModeOf(Coloring coloring);

/// Sets the renderer's render mode for `coloring`. Elevation also puts the colorization plane at
/// the bottom of `box` (scene coordinates, facing up), the colour-map range over the box's height
/// (at least 1e-6) and unsigned distances, so that the colour map runs from the lowest point to
/// the highest. The other settings (colour map, mesh-distance ranges) stay as they are. Call on
/// the renderer's thread.
LUMARO_RENDER_API void applyColoring(Renderer& renderer, Coloring coloring, const Math::NBoundingBox<float, 3>& box);

} // namespace Render
