#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/PointClasses.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <lumaro/core/AtomicFlag.h>
#include <lumaro/core/InstanceId.h>
#include <lumaro/math/Color.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

struct ID3D11Device;
struct ID3D11DeviceContext;

namespace Math {
template <class T>
class TriangleMesh;
}

namespace Render {

class Camera;

/// Everything the Renderer draws. The renderer initialises a renderable with its device, tells it
/// of every camera and display-setting change through the onUpdate… notifications, and asks it to
/// draw and for its bounds. A group forwards all of these to its children.
///
/// A renderable belongs to the thread that renders, the one that created its renderer: call it from
/// there only. The redraw flag alone may also be set from other threads, as the loading threads of
/// point clouds and panoramas do.
class LUMARO_RENDER_API Renderable : public Core::InstanceId<Renderable> {
public:
    /// A visible, unselected renderable without a parent, at the identity matrix, waiting to be drawn.
    explicit Renderable(std::string name);
    /// A copy is the same logical object in another place: it keeps the source's id, name, parent,
    /// matrix and flags.
    ///@{
    Renderable(const Renderable& other);
    Renderable& operator=(const Renderable& other);
    ///@}

    // The order of the virtual operations is part of the binary interface with hosts: keep it.
    virtual ~Renderable();
    /// Prepares drawing with the renderer's device; the renderer (Renderer::setScene) and groups
    /// (GroupRenderable::add) call it, hosts do not. Point clouds of one `rendererId` share one point
    /// budget; `camera` is the renderer's. The base does nothing; derived classes throw what
    /// preparing throws.
    virtual void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                      ComPtr<ID3D11DeviceContext> context);
    /// Undoes init: stops loading and lets go of the device. Called when the renderable leaves the
    /// scene (a new scene, removal from a group) and when the renderer goes. The base does nothing.
    virtual void deinit();
    /// The camera's projection changed. The onUpdate… notifications come from the renderer after
    /// each change; the base ignores them all.
    virtual void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera);
    /// The camera's view (eye, direction, up) changed.
    virtual void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera);
    /// The renderer moved near and far to the scene's bounds (Renderer::setAutoAdjustZRange); may
    /// come every frame.
    virtual void onUpdateZRange(const std::shared_ptr<Camera>& camera);
    /// The picture's size changed (Renderer::setViewport).
    virtual void onUpdateViewport(const std::shared_ptr<Camera>& camera);
    /// The render mode changed (Renderer::setRenderMode).
    virtual void onUpdateRenderMode(RenderMode mode);
    /// The mesh of the mesh-distance mode changed, in world coordinates; null for none.
    virtual void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh);
    /// The plane of the plane-distance mode changed, in world coordinates.
    virtual void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane);
    /// The colour map of the distance modes changed (Renderer::setColorMap).
    virtual void onUpdateColorMap(ColorMap map);
    /// Whether distances keep their sign changed (Renderer::setUseSignedDistance).
    virtual void onUpdateUseSignedDistance(bool useSignedDistance);
    /// The distances that the colour map spans changed (Renderer::setColorMapRange).
    virtual void onUpdateColorMapRange(float minDistance, float maxDistance);
    /// The distances that pass in the pass-fail and traffic-light colour maps changed.
    virtual void onUpdatePassFailDistanceRange(float minDistance, float maxDistance);
    /// The distances that the traffic-light colour map shows green changed (the rest of the pass
    /// range is yellow).
    virtual void onUpdateWarnDistanceRange(float minDistance, float maxDistance);
    /// The colour of points in the tomographic modes changed.
    virtual void onUpdateTomographicColor(const Math::Color& color);
    /// Whether the tomographic modes draw each cloud in its own uniform colour, instead of the
    /// tomographic colour, changed.
    virtual void onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors);
    /// Draws into the renderer's scene pass; called by Renderer::render for visible renderables.
    /// The base only clears the redraw flag.
    virtual void render();
    /// The colour the scene pass is cleared to instead of the renderer's background; the base has
    /// none.
    virtual std::optional<Math::Color> backgroundColor();
    /// Whether the renderable is drawn blended over what lies behind it, without writing depth; the
    /// base is opaque.
    virtual bool isTransparent() const;
    /// Proposes post-processing brightness and contrast between the grey levels at the fractions
    /// `lowerBound` and `upperBound` of what is drawn (see Renderer::autoAdjustBrightnessAndContrast).
    /// The base proposes brightness 0 and contrast 1.
    virtual void brightnessAndContrast(float lowerBound, float upperBound, float& brightness, float& contrast);
    /// In the renderable's own coordinates; an empty box when there is nothing to draw.
    virtual Math::NBoundingBox<float, 3> boundingBox() = 0;
    /// The local matrix: from the renderable's coordinates to its parent's (the world's without a
    /// parent). A change invalidates the world matrix and asks for a redraw.
    virtual void setMatrix(const Eigen::Matrix4f& matrix);
    /// The local matrix (see setMatrix).
    virtual Eigen::Matrix4f matrix();
    /// The parent's world matrix times the local matrix, cached until invalidated.
    virtual Eigen::Matrix4f worldMatrix();
    /// Marks the cached world matrix stale, and asks for a redraw; a parent calls it when it moves.
    virtual void invalidateWorldMatrix();
    /// An invisible renderable is not drawn (point clouds also stop loading and drop their points).
    virtual void setVisible(bool visible);
    /// Sets the flag that the renderer reads (Renderer::needsRedraw); any thread may set it.
    virtual void setNeedsRedraw(bool needsRedraw);
    /// Whether something changed since the last frame; any thread may read it.
    virtual bool needsRedraw() const;
    /// Marks the renderable as selected (point clouds show it); a change asks for a redraw.
    virtual void setSelected(bool selected);
    /// The colours and visibility of point classes changed (Renderer::setPointClasses).
    virtual void onUpdatePointClasses(const PointClasses& classes);
    /// Draws the points once more as weighted splats, for high-quality splatting
    /// (Renderer::setSplatQuality): into the renderer's accumulation target, against the depth of
    /// the frame's first drawing, which render() made. Called after render() for visible
    /// renderables; what draws no points draws nothing, and so does the base.
    virtual void renderSplats();

    /// The name that groups find children by (GroupRenderable::findByName).
    ///@{
    std::string name() const;
    void setName(const std::string& name);
    ///@}
    /// The group that holds the renderable (set by GroupRenderable::add); null without one.
    ///@{
    std::shared_ptr<Renderable> parent() const;
    void setParent(std::weak_ptr<Renderable> parent);
    ///@}

    bool visible() const { return mVisible; } ///< See setVisible.
    bool selected() const { return mSelected; } ///< See setSelected.

    /// The inverse of the world matrix.
    Eigen::Matrix4f invWorldMatrix();
    /// The bounds in world coordinates (the box of boundingBox() transformed by the world matrix).
    Math::NBoundingBox<float, 3> boundingBoxWorld();
    /// The bounds in the coordinates of the parent (transformed by the local matrix only).
    Math::NBoundingBox<float, 3> boundingBoxParent();

    /// Moves `from` onto `to`. Placement by example: this and the next two functions compose a rigid
    /// motion onto the current matrix, expressed in the parent's coordinates.
    void setTranslationByCorrespondences(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to);
    /// Turns about the vertical axis through `center` by the angle between the horizontal parts of
    /// `from - center` and `to - center`.
    void setZRotationByCorrespondences(const Math::Point<float, 3>& center, const Math::Point<float, 3>& from,
                                       const Math::Point<float, 3>& to);
    /// Turns about the vertical axis through `from` by the angle between the horizontal parts of
    /// the two directions, then moves `from` onto `to`.
    void setTranslationAndZRotationByCorrespondences(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to,
                                                     const Eigen::Vector3f& fromDirection,
                                                     const Eigen::Vector3f& toDirection);

private:
    std::string mName;
    std::weak_ptr<Renderable> mParent;
    Eigen::Matrix4f mMatrix = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f mWorldMatrixCache = Eigen::Matrix4f::Identity();
    bool mVisible = true;
    bool mWorldMatrixDirty = false;
    Core::AtomicFlag mNeedsRedrawFlag{true}; // loader threads of derived classes set it
    bool mSelected = false;
};

} // namespace Render
