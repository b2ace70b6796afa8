#include "PanoDrawer.h"

namespace Render {

// Built where the library has no Direct3D: panoramas load their tiles but draw nothing.
std::unique_ptr<PanoDrawer> createPanoDrawer(const ComPtr<ID3D11Device>&, const ComPtr<ID3D11DeviceContext>&,
                                             const Graphics::PanoramaLoader*, const PanoConstants&)
{
    return nullptr;
}

} // namespace Render
