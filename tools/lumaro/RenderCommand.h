#pragma once

#include "RenderOptions.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace Tool {

// Loads the stores within the budget (a progress bar on stderr) and renders the grid of views
// and colourings into options.output, and the drawn pixels as points into options.points. Throws
// for failures that end the command (a missing store, no Direct3D device, an unwritable file).
// Damaged nodes only warn: what could be read is drawn.
void renderStores(const RenderOptions& options);

// Renders the first view and colouring of the scene and picks at the pixel: {"point": [x, y, z]
// or null} in the stores' coordinates, and with a plane distance also {"plane": {"normal": [...],
// "offset": d}, "planePoint": [...] or null} (null plane when none fits).
nlohmann::json pickInStores(const PickOptions& options);

// Writes a thumbnail (Render::createThumbnail); returns the file written.
std::filesystem::path makeThumbnail(const ThumbnailOptions& options);

} // namespace Tool
