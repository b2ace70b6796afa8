#include "PointCloudDrawer.h"

namespace Render {

// Built where the library has no Direct3D: no device can be handed to a point cloud there, so
// nothing is ever drawn, while loading and everything else works as on Windows.
std::unique_ptr<PointCloudDrawer> createPointCloudDrawer(const ComPtr<ID3D11Device>&,
                                                         const ComPtr<ID3D11DeviceContext>&)
{
    return nullptr;
}

} // namespace Render
