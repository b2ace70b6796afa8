#include "RenderCommand.h"

#include <stdexcept>

namespace Tool {

// The native build has no Direct3D: rendering, picking and thumbnails are for the Windows build.

namespace {

[[noreturn]] void needsDirect3D()
{
    throw std::runtime_error("this needs Direct3D 11; run the Windows build of lumaro (./dev run lumaro ...)");
}

} // namespace

void renderStores(const RenderOptions&)
{
    needsDirect3D();
}

nlohmann::json pickInStores(const PickOptions&)
{
    needsDirect3D();
}

std::filesystem::path makeThumbnail(const ThumbnailOptions&)
{
    needsDirect3D();
}

} // namespace Tool
