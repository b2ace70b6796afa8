#pragma once

#include "MeshConstants.h"
#include "core/ClipVolumeConstants.h"

#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/renderables/MeshLoader.h>

#include <memory>

struct ID3D11Device;
struct ID3D11DeviceContext;

namespace Render {

// The Direct3D side of a mesh: "shaders/mesh.hlsl", its constant buffer, and one immutable vertex
// buffer per part. Used on the render thread only.
class MeshDrawer {
public:
    virtual ~MeshDrawer() = default;

    // Uploads the part into a vertex buffer of its own.
    virtual void addPart(const MeshLoader::Part& vertices) = 0;
    // Uploads the constants when they changed, then draws every part with one call each, into
    // whatever targets and states the caller has set, and unbinds what it bound.
    virtual void draw(const MeshConstants& constants, bool constantsChanged) = 0;
    // The clip volumes of the draws that follow (none at first).
    virtual void setClipVolumes(const ClipVolumeConstants& constants) = 0;
};

// The drawer for a device (its constant buffer made with `constants`); nullptr in builds without
// Direct3D, where no device exists.
std::unique_ptr<MeshDrawer> createMeshDrawer(const ComPtr<ID3D11Device>& device,
                                             const ComPtr<ID3D11DeviceContext>& context,
                                             const MeshConstants& constants);

} // namespace Render
