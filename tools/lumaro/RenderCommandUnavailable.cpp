#include "RenderCommand.h"

#include <stdexcept>

namespace Tool {

// The native build has no Direct3D: rendering is for the Windows build.
int renderStores(const RenderOptions&)
{
    throw std::runtime_error("rendering needs Direct3D 11; run the Windows build of lumaro (./dev run lumaro render ...)");
}

} // namespace Tool
