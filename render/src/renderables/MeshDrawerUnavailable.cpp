#include "MeshDrawer.h"

namespace Render {

// Built where the library has no Direct3D: meshes load and measure themselves there, but no
// device exists to draw them with.
std::unique_ptr<MeshDrawer> createMeshDrawer(const ComPtr<ID3D11Device>&, const ComPtr<ID3D11DeviceContext>&,
                                             const MeshConstants&)
{
    return nullptr;
}

} // namespace Render
