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

// View and projection of the renderer, in Direct3D's conventions: right-handed view space looking
// down -z, clip depth 0..1 (near 0, far 1; swapped when the depth buffer is reversed), pixel y
// pointing down. Keeps the product of projection and view and its inverse up to date, and the
// parameters the projection was built from so that it can be rebuilt when near and far move.
//
// Everything but the redraw flag belongs to the rendering thread; the flag may be set from the
// loader threads.
class LUMARO_RENDER_API Camera {
public:
    explicit Camera(bool isZBufferReversed);

    float fovYRad() const { return fovY_; }
    float fovYDeg() const;
    float horizontalExtent() const { return horizontalExtent_; }
    float verticalExtent() const { return verticalExtent_; }
    float zNear() const { return zNear_; }
    float zFar() const { return zFar_; }
    float offCenterX() const { return offCenterX_; }
    float offCenterY() const { return offCenterY_; }

    Viewport& viewport() { return viewport_; }
    const Viewport& viewport() const { return viewport_; }

    const Eigen::Matrix4f& viewMatrix() const { return viewMatrix_; }
    const Eigen::Matrix4f& projectionMatrix() const { return projectionMatrix_; }
    const Eigen::Matrix4f& viewProjectionMatrix() const { return viewProjectionMatrix_; }
    const Eigen::Matrix4f& invViewProjectionMatrix() const { return invViewProjectionMatrix_; }

    bool isZBufferReversed() const { return zBufferReversed_; }
    bool isOrthographic() const;
    bool isPerspective() const;
    // The value the depth buffer is cleared to: the far end of the depth range.
    float clearDepthValue() const;

    bool needsRedraw() const;
    void setNeedsRedraw(bool needsRedraw);

    Math::Point<float, 3> eye() const;
    Eigen::Vector3f rightDirection() const;
    Eigen::Vector3f upDirection() const;
    Eigen::Vector3f viewDirection() const;

    // Stores the size; when the aspect ratio changes between two sizes that have one (neither width
    // nor height zero), the projection follows it with its vertical scale kept (unless it was set not to adapt, see setProjection).
    void setViewport(std::size_t width, std::size_t height);

    void setViewMatrix(const Eigen::Matrix4f& viewMatrix);
    // Look-at poses. An up vector parallel to the view direction is replaced by the world axis
    // least aligned with it; a zero view direction throws std::invalid_argument.
    void setPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection, const Eigen::Vector3f& up);
    void setPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target, const Eigen::Vector3f& up);

    // ox and oy shift the projected image in normalised device units (the matrix's (0,2), (1,2)).
    void setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY);
    // The four sides are given on the near plane, in view units. The vertical field of view and
    // the offsets are stored as the equivalent setPerspective parameters (used when near and far
    // are adapted). adaptToViewport: whether a later change of aspect ratio rescales it.
    void setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar,
                                 bool adaptToViewport);
    void setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar);
    // The horizontal extent follows from the viewport's aspect ratio, for square pixels.
    void setOrthographic(float verticalExtent, float zNear, float zFar);
    // Takes the matrix as given; it must already follow this camera's depth convention.
    // adaptToViewport: whether a later change of aspect ratio rescales it.
    void setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool adaptToViewport);

    // Fits near and far tightly around the box along the view direction. A perspective keeps
    // near at 0.01 or more and the depth range at 0.0001 or more; an orthographic camera takes
    // them as they come, negative included. An empty box changes nothing.
    void setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box);

    // Pixel (x, y) at clip depth `depth` to world coordinates, and back. project keeps the
    // input's own z in its third component.
    Math::Point<float, 3> unProject(std::size_t x, std::size_t y, float depth) const;
    Math::Point<float, 3> project(const Math::Point<float, 3>& point) const;

    Math::Frustum<float> frustum() const;
    // The frustum in the coordinates that modelMatrix maps to world coordinates.
    Math::Frustum<float> frustum(const Eigen::Matrix4f& modelMatrix) const;
    // As frustum(modelMatrix), with its extent in normalised device coordinates multiplied by
    // the three factors: x and y widen the sides (1 is the visible area), z stretches the depth
    // range 0..1 to 0..scaleZ.
    Math::Frustum<float> scaledFrustum(float scaleX, float scaleY, float scaleZ, const Eigen::Matrix4f& modelMatrix) const;

    // Compares viewport, matrices, near, far and the depth convention.
    bool operator==(const Camera& other) const;
    bool operator!=(const Camera& other) const;

private:
    void storeProjection(const Eigen::Matrix4f& projection);
    void updateProducts();
    float viewportAspect() const;

    float fovY_ = 1.0471976f;
    float horizontalExtent_ = 4.0f;
    float verticalExtent_ = 3.0f;
    float zNear_ = 0.01f;
    float zFar_ = 20000.0f;
    float offCenterX_ = 0.0f;
    float offCenterY_ = 0.0f;
    Viewport viewport_;
    Eigen::Matrix4f viewMatrix_ = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f projectionMatrix_ = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f viewProjectionMatrix_ = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f invViewProjectionMatrix_ = Eigen::Matrix4f::Identity();
    bool zBufferReversed_;
    bool adaptProjectionToViewport_ = true;
    Core::AtomicFlag needsRedrawFlag_{true};
};

} // namespace Render
