#pragma once

#include <cstdint>

namespace Render {

/// How the scene is coloured. The numbers are compared against in the point-cloud and
/// post-processing shaders, so they never change.
enum class RenderMode : std::int32_t {
    Default = 0, ///< the cloud's own colour, or intensity
    TomographicDark = 1, ///< tomographic view with dark contours
    TomographicBright = 2, ///< tomographic view with bright contours
    Normal = 3, ///< colour by surface normal
    PlaneDistance = 4, ///< colour by distance to the colorization plane
    Intensity = 5, ///< colour by intensity
    UniformColor = 6, ///< one colour for the whole cloud
    MeshDistance = 7, ///< colour by distance to the colorization mesh
    Classification = 8, ///< colour by class, from the renderer's PointClasses palette
};

} // namespace Render
