#pragma once

#include "PointCloudConstants.h"
#include "core/ClipVolumeConstants.h"

#include <lumaro/render/core/PointClasses.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/pointcloud/PointCloudBuffers.h>

#include <lumaro/math/Color.h>

#include <memory>
#include <optional>

struct ID3D11Device;
struct ID3D11DeviceContext;

namespace Render {

// The Direct3D side of a point cloud: the point-cloud shader, its constant buffers, the instance
// buffer of point vertices and the visibleNodes texture. Used on the render thread only.
class PointCloudDrawer {
public:
    virtual ~PointCloudDrawer() = default;

    // Uploads `buffers` when they are `fresh` (newly published), and the frame constants when
    // they changed, then draws every node of the draw list with one instanced call, and the
    // nodes' cubes as wire frames in `boxColor` when there is one. Draws into whatever targets
    // and states the caller has set, and unbinds what it bound.
    virtual void draw(const PointCloudBuffers& buffers, bool fresh, const PointCloudFrameConstants& constants,
                      bool constantsChanged, const std::optional<Math::Color>& boxColor) = 0;
    // Draws the nodes of the last draw (the same `buffers`, uploaded by it) once more as weighted
    // splats (SplatQuality::High), into whatever target and states the caller has set.
    virtual void drawSplats(const PointCloudBuffers& buffers) = 0;
    // The colour and visibility of each class, for the draws that follow.
    virtual void setPointClasses(const PointClasses& classes) = 0;
    // The clip volumes of the draws that follow (none at first).
    virtual void setClipVolumes(const ClipVolumeConstants& constants) = 0;
};

// The drawer for a device; nullptr in builds without Direct3D, where no device exists (the
// native build of the device-independent parts, whose ComPtr is always null).
std::unique_ptr<PointCloudDrawer> createPointCloudDrawer(const ComPtr<ID3D11Device>& device,
                                                         const ComPtr<ID3D11DeviceContext>& context);

} // namespace Render
