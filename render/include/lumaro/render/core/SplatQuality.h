#pragma once

#include <cstdint>

namespace Render {

/// How points are drawn where their discs overlap.
enum class SplatQuality : std::int32_t {
    /// Opaque round discs: the nearest disc at a pixel covers the others.
    Standard = 0,
    /// Round splats blended by weight: after the discs' depth, every disc that lies within its
    /// own radius behind the nearest one at a pixel adds its colour there, weighted by
    /// exp(-2 r^2) at the distance r from its centre (0 at the centre, 1 at the rim), and the
    /// sum is divided by the sum of the weights. Discs farther behind stay hidden. Picking and
    /// read-back see the opaque discs as before. The tomographic modes blend every point
    /// already and are drawn as they are.
    High = 1,
};

} // namespace Render
