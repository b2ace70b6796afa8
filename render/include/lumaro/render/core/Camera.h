#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/Viewport.h>

#include <lumaro/core/AtomicFlag.h>
#include <lumaro/math/Frustum.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>

namespace Render {

/// View and projection of the renderer, in Direct3D's conventions: right-handed view space looking
/// down -z, clip depth 0..1 (near 0, far 1; swapped when the depth buffer is reversed), pixel y
/// pointing down. Keeps the product of projection and view and its inverse up to date, and the
/// parameters the projection was built from so that it can be rebuilt when near and far move.
///
/// Everything but the redraw flag belongs to the rendering thread; the flag may be set from the
/// loader threads.
class LUMARO_RENDER_API Camera {
public:
    /// A perspective of 60 degrees between 0.01 and 20000, at the origin looking down -z.
    explicit Camera(bool isZBufferReversed);

    /// The vertical field of view of the last perspective, in radians.
    float fovYRad() const { return mFovY; }
    /// The same in degrees.
    float fovYDeg() const;
    /// The extents of the last orthographic projection, in view units.
    float horizontalExtent() const { return mHorizontalExtent; }
    float verticalExtent() const { return mVerticalExtent; } ///< See horizontalExtent.
    /// The distances of the near and far planes.
    float zNear() const { return mZNear; }
    float zFar() const { return mZFar; } ///< See zNear.
    /// The shift of the projected image in normalised device units (see setPerspective).
    float offCenterX() const { return mOffCenterX; }
    float offCenterY() const { return mOffCenterY; } ///< See offCenterX.

    /// The picture's size and depth range. Set the size with setViewport, which adapts the
    /// projection.
    ///@{
    Viewport& viewport() { return mViewport; }
    const Viewport& viewport() const { return mViewport; }
    ///@}

    /// World to view coordinates.
    const Eigen::Matrix4f& viewMatrix() const { return mViewMatrix; }
    /// View to clip coordinates.
    const Eigen::Matrix4f& projectionMatrix() const { return mProjectionMatrix; }
    /// Projection times view.
    const Eigen::Matrix4f& viewProjectionMatrix() const { return mViewProjectionMatrix; }
    /// The inverse of viewProjectionMatrix: clip to world coordinates.
    const Eigen::Matrix4f& invViewProjectionMatrix() const { return mInvViewProjectionMatrix; }

    /// Whether far maps to depth 0 and near to 1 (chosen at construction).
    bool isZBufferReversed() const { return mZBufferReversed; }
    /// The kind of the projection in use, told from its matrix.
    bool isOrthographic() const;
    bool isPerspective() const; ///< See isOrthographic.
    /// The value the depth buffer is cleared to: the far end of the depth range.
    float clearDepthValue() const;

    /// Whether the picture has to be drawn again; any thread may read and set it.
    ///@{
    bool needsRedraw() const;
    void setNeedsRedraw(bool needsRedraw);
    ///@}

    /// The eye, in world coordinates.
    Math::Point<float, 3> eye() const;
    /// The picture's right, up and viewing directions in world coordinates (unit vectors for a
    /// view matrix without scale).
    Eigen::Vector3f rightDirection() const;
    Eigen::Vector3f upDirection() const; ///< See rightDirection.
    Eigen::Vector3f viewDirection() const; ///< See rightDirection.

    /// Stores the size; when the aspect ratio changes between two sizes that have one (neither width
    /// nor height zero), the projection follows it with its vertical scale kept (unless it was set
    /// not to adapt, see setProjection).
    void setViewport(std::size_t width, std::size_t height);

    /// Takes the view matrix (world to view coordinates) as given.
    void setViewMatrix(const Eigen::Matrix4f& viewMatrix);
    /// Look-at poses. An up vector parallel to the view direction is replaced by the world axis
    /// least aligned with it; a zero view direction throws std::invalid_argument.
    void setPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection, const Eigen::Vector3f& up);
    /// The same, looking from `eye` at `target`.
    void setPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target, const Eigen::Vector3f& up);

    /// A perspective of `fovYDeg` degrees vertically, the horizontal field following the viewport's
    /// aspect ratio. offCenterX and offCenterY shift the projected image in normalised device units
    /// (the matrix's (0,2), (1,2)).
    void setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY);
    /// The four sides are given on the near plane, in view units. The vertical field of view and
    /// the offsets are stored as the equivalent setPerspective parameters (used when near and far
    /// are adapted). adaptToViewport: whether a later change of aspect ratio rescales it. Throws
    /// std::invalid_argument for a degenerate volume (left = right, bottom = top or near = 0).
    void setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar,
                                 bool adaptToViewport);
    /// An orthographic projection showing the extents across the picture, in view units.
    void setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar);
    /// The horizontal extent follows from the viewport's aspect ratio, for square pixels.
    void setOrthographic(float verticalExtent, float zNear, float zFar);
    /// Takes the matrix as given; it must already follow this camera's depth convention.
    /// adaptToViewport: whether a later change of aspect ratio rescales it.
    void setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool adaptToViewport);

    /// Fits near and far tightly around the box along the view direction. A perspective keeps
    /// near at 0.01 or more and the depth range at 0.0001 or more; an orthographic camera takes
    /// them as they come, negative included. An empty box changes nothing.
    void setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box);

    /// Pixel (x, y) at clip depth `depth` to world coordinates, and back. project keeps the
    /// input's own z in its third component.
    Math::Point<float, 3> unProject(std::size_t x, std::size_t y, float depth) const;
    Math::Point<float, 3> project(const Math::Point<float, 3>& point) const; ///< See unProject.

    /// The view volume in world coordinates.
    Math::Frustum<float> frustum() const;
    /// The frustum in the coordinates that modelMatrix maps to world coordinates.
    Math::Frustum<float> frustum(const Eigen::Matrix4f& modelMatrix) const;
    /// As frustum(modelMatrix), with its extent in normalised device coordinates multiplied by
    /// the three factors: x and y widen the sides (1 is the visible area), z stretches the depth
    /// range 0..1 to 0..scaleZ. Throws std::invalid_argument for a factor that is not positive.
    Math::Frustum<float> scaledFrustum(float scaleX, float scaleY, float scaleZ,
                                       const Eigen::Matrix4f& modelMatrix) const;

    /// Compares viewport, matrices, near, far and the depth convention.
    bool operator==(const Camera& other) const;
    bool operator!=(const Camera& other) const; ///< See operator==.

private:
    void storeProjection(const Eigen::Matrix4f& projection);
    void updateProducts();
    float viewportAspect() const;

    float mFovY = 1.0471976f;
    float mHorizontalExtent = 4.0f;
    float mVerticalExtent = 3.0f;
    float mZNear = 0.01f;
    float mZFar = 20000.0f;
    float mOffCenterX = 0.0f;
    float mOffCenterY = 0.0f;
    Viewport mViewport;
    Eigen::Matrix4f mViewMatrix = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f mProjectionMatrix = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f mViewProjectionMatrix = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f mInvViewProjectionMatrix = Eigen::Matrix4f::Identity();
    bool mZBufferReversed;
    bool mAdaptProjectionToViewport = true;
    Core::AtomicFlag mNeedsRedrawFlag{true};
};

} // namespace Render
