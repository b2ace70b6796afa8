#pragma once

#include "RenderOptions.h"

namespace Tool {

// Loads the stores within the budget (a progress bar on stderr) and renders the grid of views
// and colourings into options.output. Returns the exit status; throws for failures that end the
// command (a missing store, no Direct3D device, an unwritable file). Damaged nodes only warn:
// what could be read is drawn.
int renderStores(const RenderOptions& options);

} // namespace Tool
