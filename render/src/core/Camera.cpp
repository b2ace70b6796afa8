#include <lumaro/render/core/Camera.h>

#include <Eigen/Geometry>
#include <Eigen/LU>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace Render {

namespace {

// Fixed so that a perspective never puts its near plane at the eye, and never collapses its
// depth range, whatever box it is fitted to.
constexpr float smallestPerspectiveNear = 0.01f;
constexpr float smallestPerspectiveDepthRange = 0.0001f;
constexpr float pi = 3.1415927f;

// Direct3D's right-handed depth mapping: nearZ to 0 and farZ to 1. Passing near and far swapped
// gives the reversed mapping.
void setDepthRows(Eigen::Matrix4f& matrix, float nearZ, float farZ, bool perspective)
{
    if (perspective) {
        matrix(2, 2) = farZ / (nearZ - farZ);
        matrix(2, 3) = nearZ * farZ / (nearZ - farZ);
        matrix(3, 2) = -1.0f;
    } else {
        matrix(2, 2) = 1.0f / (nearZ - farZ);
        matrix(2, 3) = nearZ / (nearZ - farZ);
        matrix(3, 3) = 1.0f;
    }
}

// A viewport without width or height has no aspect ratio for a projection to follow.
bool hasAspectRatio(std::size_t width, std::size_t height)
{
    return width != 0 && height != 0;
}

Eigen::Vector3f leastAlignedAxis(const Eigen::Vector3f& direction)
{
    Eigen::Index axis = 0;
    direction.cwiseAbs().minCoeff(&axis);
    return Eigen::Vector3f::Unit(axis);
}

} // namespace

Camera::Camera(bool isZBufferReversed) : zBufferReversed_(isZBufferReversed)
{
    updateProducts();
    setPerspective(60.0f, 0.01f, 20000.0f, 0.0f, 0.0f);
}

float Camera::fovYDeg() const
{
    return fovY_ * 180.0f / pi;
}

bool Camera::isOrthographic() const
{
    return projectionMatrix_(3, 3) != 0.0f;
}

bool Camera::isPerspective() const
{
    return !isOrthographic();
}

float Camera::clearDepthValue() const
{
    return zBufferReversed_ ? viewport_.minDepth() : viewport_.maxDepth();
}

bool Camera::needsRedraw() const
{
    return needsRedrawFlag_.load();
}

void Camera::setNeedsRedraw(bool needsRedraw)
{
    needsRedrawFlag_.exchange(needsRedraw);
}

Math::Point<float, 3> Camera::eye() const
{
    const Eigen::Vector4f position = viewMatrix_.inverse().col(3);
    return position.hnormalized();
}

Eigen::Vector3f Camera::rightDirection() const
{
    return viewMatrix_.block<1, 3>(0, 0).transpose();
}

Eigen::Vector3f Camera::upDirection() const
{
    return viewMatrix_.block<1, 3>(1, 0).transpose();
}

Eigen::Vector3f Camera::viewDirection() const
{
    return -viewMatrix_.block<1, 3>(2, 0).transpose();
}

float Camera::viewportAspect() const
{
    return hasAspectRatio(viewport_.width(), viewport_.height()) ? static_cast<float>(viewport_.aspectRatio()) : 1.0f;
}

void Camera::setViewport(std::size_t width, std::size_t height)
{
    const std::size_t oldWidth = viewport_.width();
    const std::size_t oldHeight = viewport_.height();
    viewport_.set(viewport_.x(), viewport_.y(), width, height);
    if (!hasAspectRatio(oldWidth, oldHeight) || !hasAspectRatio(width, height)) {
        return;
    }
    const double oldAspect = static_cast<double>(oldWidth) / static_cast<double>(oldHeight);
    const double newAspect = static_cast<double>(width) / static_cast<double>(height);
    if (oldAspect == newAspect || !adaptProjectionToViewport_) {
        return;
    }
    // Only the horizontal scale depends on the aspect ratio (the offsets are in device units), so
    // scaling it is the same as rebuilding the projection from its parameters.
    Eigen::Matrix4f adapted = projectionMatrix_;
    adapted(0, 0) = static_cast<float>(adapted(0, 0) * oldAspect / newAspect);
    if (isOrthographic()) {
        horizontalExtent_ = static_cast<float>(horizontalExtent_ * newAspect / oldAspect);
    }
    storeProjection(adapted);
}

void Camera::setViewMatrix(const Eigen::Matrix4f& viewMatrix)
{
    if (viewMatrix != viewMatrix_) {
        viewMatrix_ = viewMatrix;
        updateProducts();
    }
}

void Camera::setPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection, const Eigen::Vector3f& up)
{
    if (!(viewDirection.squaredNorm() > 0.0f) || !viewDirection.allFinite()) {
        std::ostringstream message;
        message << "Camera::setPose: the view direction (" << viewDirection.transpose()
                << ") must be finite and non-zero";
        throw std::invalid_argument(message.str());
    }
    const Eigen::Vector3f forward = viewDirection.normalized();
    Eigen::Vector3f right = forward.cross(up);
    if (!(right.squaredNorm() > 1e-12f * up.squaredNorm()) || !right.allFinite()) {
        right = forward.cross(leastAlignedAxis(forward));
    }
    right.normalize();
    const Eigen::Vector3f trueUp = right.cross(forward);

    Eigen::Matrix4f view = Eigen::Matrix4f::Identity();
    view.block<1, 3>(0, 0) = right.transpose();
    view.block<1, 3>(1, 0) = trueUp.transpose();
    view.block<1, 3>(2, 0) = -forward.transpose();
    view(0, 3) = -right.dot(eye);
    view(1, 3) = -trueUp.dot(eye);
    view(2, 3) = forward.dot(eye);
    setViewMatrix(view);
}

void Camera::setPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target, const Eigen::Vector3f& up)
{
    const Eigen::Vector3f direction = target - eye;
    setPose(eye, direction, up);
}

void Camera::setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY)
{
    zNear_ = zNear;
    zFar_ = zFar;
    offCenterX_ = offCenterX;
    offCenterY_ = offCenterY;
    fovY_ = fovYDeg * pi / 180.0f;
    adaptProjectionToViewport_ = true;

    const float yScale = std::cos(fovY_ / 2.0f) / std::sin(fovY_ / 2.0f);
    const float xScale = yScale / viewportAspect();

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = xScale;
    projection(1, 1) = yScale;
    projection(0, 2) = offCenterX;
    projection(1, 2) = offCenterY;
    setDepthRows(projection, zBufferReversed_ ? zFar : zNear, zBufferReversed_ ? zNear : zFar, true);
    storeProjection(projection);
}

void Camera::setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar,
                                     bool adaptToViewport)
{
    if (!(right != left) || !(top != bottom) || !(zNear != 0.0f)) {
        std::ostringstream message;
        message << "Camera::setPerspectiveOffCenter: degenerate volume (left " << left << ", right " << right
                << ", bottom " << bottom << ", top " << top << ", near " << zNear << ")";
        throw std::invalid_argument(message.str());
    }
    zNear_ = zNear;
    zFar_ = zFar;
    offCenterX_ = (right + left) / (right - left);
    offCenterY_ = (top + bottom) / (top - bottom);
    fovY_ = 2.0f * std::atan((top - bottom) / (2.0f * zNear));
    adaptProjectionToViewport_ = adaptToViewport;

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = 2.0f * zNear / (right - left);
    projection(1, 1) = 2.0f * zNear / (top - bottom);
    projection(0, 2) = offCenterX_;
    projection(1, 2) = offCenterY_;
    setDepthRows(projection, zBufferReversed_ ? zFar : zNear, zBufferReversed_ ? zNear : zFar, true);
    storeProjection(projection);
}

void Camera::setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar)
{
    horizontalExtent_ = horizontalExtent;
    verticalExtent_ = verticalExtent;
    zNear_ = zNear;
    zFar_ = zFar;
    adaptProjectionToViewport_ = true;

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = 2.0f / horizontalExtent;
    projection(1, 1) = 2.0f / verticalExtent;
    setDepthRows(projection, zBufferReversed_ ? zFar : zNear, zBufferReversed_ ? zNear : zFar, false);
    storeProjection(projection);
}

void Camera::setOrthographic(float verticalExtent, float zNear, float zFar)
{
    setOrthographic(verticalExtent * viewportAspect(), verticalExtent, zNear, zFar);
}

void Camera::setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool adaptToViewport)
{
    zNear_ = zNear;
    zFar_ = zFar;
    adaptProjectionToViewport_ = adaptToViewport;
    storeProjection(projection);
}

void Camera::setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box)
{
    if (box.isEmpty()) {
        return;
    }
    const Eigen::Vector3f direction = viewDirection();
    const Eigen::Vector3f halfExtent = box.size() / 2.0f;
    const float radius = halfExtent.cwiseProduct(direction).cwiseAbs().sum();
    const Eigen::Vector3f toCenter = box.center() - eye();
    const float distance = direction.dot(toCenter);

    float nearZ = distance - radius;
    float farZ = distance + radius;
    if (isPerspective()) {
        nearZ = std::max(nearZ, smallestPerspectiveNear);
        farZ = std::max(farZ, nearZ + smallestPerspectiveDepthRange);
        setPerspective(fovYDeg(), nearZ, farZ, offCenterX_, offCenterY_);
    } else {
        setOrthographic(horizontalExtent_, verticalExtent_, nearZ, farZ);
    }
}

Math::Point<float, 3> Camera::unProject(std::size_t x, std::size_t y, float depth) const
{
    const float width = static_cast<float>(viewport_.width());
    const float height = static_cast<float>(viewport_.height());
    const Eigen::Vector4f ndc(2.0f * static_cast<float>(x) / width - 1.0f,
                              2.0f * (height - static_cast<float>(y)) / height - 1.0f, depth, 1.0f);
    const Eigen::Vector4f world = invViewProjectionMatrix_ * ndc;
    return world.hnormalized();
}

Math::Point<float, 3> Camera::project(const Math::Point<float, 3>& point) const
{
    const float width = static_cast<float>(viewport_.width());
    const float height = static_cast<float>(viewport_.height());
    const Eigen::Vector4f clip = viewProjectionMatrix_ * point.homogeneous();
    const Eigen::Vector3f ndc = clip.hnormalized();
    return Math::Point<float, 3>((ndc.x() + 1.0f) * width * 0.5f, height - (ndc.y() + 1.0f) * height * 0.5f,
                                 point.z());
}

Math::Frustum<float> Camera::frustum() const
{
    return Math::Frustum<float>(viewProjectionMatrix_);
}

Math::Frustum<float> Camera::frustum(const Eigen::Matrix4f& modelMatrix) const
{
    return Math::Frustum<float>(viewProjectionMatrix_ * modelMatrix);
}

Math::Frustum<float> Camera::scaledFrustum(float scaleX, float scaleY, float scaleZ,
                                           const Eigen::Matrix4f& modelMatrix) const
{
    if (!(scaleX > 0.0f) || !(scaleY > 0.0f) || !(scaleZ > 0.0f)) {
        std::ostringstream message;
        message << "Camera::scaledFrustum: scale factors must be positive, got " << scaleX << ", " << scaleY << ", "
                << scaleZ;
        throw std::invalid_argument(message.str());
    }
    // Dividing the clip coordinates by the factors lets the unit clip volume take in that much more.
    const Eigen::Matrix4f shrink = Eigen::Vector4f(1.0f / scaleX, 1.0f / scaleY, 1.0f / scaleZ, 1.0f).asDiagonal();
    return Math::Frustum<float>(shrink * viewProjectionMatrix_ * modelMatrix);
}

bool Camera::operator==(const Camera& other) const
{
    return viewport_ == other.viewport_ && viewMatrix_ == other.viewMatrix_
        && projectionMatrix_ == other.projectionMatrix_ && zNear_ == other.zNear_ && zFar_ == other.zFar_
        && zBufferReversed_ == other.zBufferReversed_;
}

bool Camera::operator!=(const Camera& other) const
{
    return !(*this == other);
}

void Camera::storeProjection(const Eigen::Matrix4f& projection)
{
    if (projection != projectionMatrix_) {
        projectionMatrix_ = projection;
        updateProducts();
    }
}

void Camera::updateProducts()
{
    viewProjectionMatrix_ = projectionMatrix_ * viewMatrix_;
    invViewProjectionMatrix_ = viewProjectionMatrix_.inverse();
}

} // namespace Render
