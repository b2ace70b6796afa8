#pragma once

#include <lumaro/render/Export.h>

#include <cstddef>

namespace Render {

/// The most clipping planes a point cloud or a mesh takes: the shaders' constant buffers hold eight.
inline constexpr std::size_t maxClippingPlanes = 8;

/// Refuses a clipping volume of more planes than maxClippingPlanes: throws std::runtime_error
/// "Error: volume contains too many clipping planes, plane count = N".
LUMARO_RENDER_API void requireClippingPlaneCount(std::size_t count);

} // namespace Render
