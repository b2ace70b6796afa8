#pragma once

#include <lumaro/render/Export.h>

#include <lumaro/math/Color.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/octree/Location.h>

#include <cstddef>
#include <filesystem>

namespace Render {

class Renderer;

/// The view of thumbnails: the oblique overview of `box` (obliqueView) with a 20 degree field of
/// view, near and far fitted to the box. Call on the renderer's thread.
LUMARO_RENDER_API void showObliqueOverview(Renderer& renderer, const Math::NBoundingBox<float, 3>& box);

/// A preview of a point cloud as a PNG file, made without any window: a renderer of its own loads
/// the cloud synchronously down to maxLevel (at most the deepest representable level) within
/// 10,000,000 points, looks at its bounding box from the oblique overview (obliqueView, a 20 degree
/// field of view) and writes one frame. An existing file is replaced. Throws std::invalid_argument
/// "createThumbnail: locationPotree does not exist" when there is no store at the location (nothing
/// is created then), std::filesystem::filesystem_error ("exists" or "remove", with the path) when
/// the old file cannot be checked or removed, and what loading or writing throws. Any thread may
/// call it: the renderer is its own, made and dropped on the calling thread.
LUMARO_RENDER_API void createThumbnail(const Octree::Location& location, const std::filesystem::path& outputFile,
                                       std::size_t width, std::size_t height, const Math::Color& backgroundColor,
                                       std::size_t maxLevel);

/// The same for the Potree store in `directory`, written to "thumbnail.png" inside it.
LUMARO_RENDER_API void createThumbnail(const std::filesystem::path& directory, std::size_t width, std::size_t height,
                                       const Math::Color& backgroundColor, std::size_t maxLevel);

} // namespace Render
