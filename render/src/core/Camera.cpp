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

Camera::Camera(bool isZBufferReversed) : mZBufferReversed(isZBufferReversed)
{
    updateProducts();
    setPerspective(60.0f, 0.01f, 20000.0f, 0.0f, 0.0f);
}

float Camera::fovYDeg() const
{
    return mFovY * 180.0f / pi;
}

bool Camera::isOrthographic() const
{
    return mProjectionMatrix(3, 3) != 0.0f;
}

bool Camera::isPerspective() const
{
    return !isOrthographic();
}

float Camera::clearDepthValue() const
{
    return mZBufferReversed ? mViewport.minDepth() : mViewport.maxDepth();
}

bool Camera::needsRedraw() const
{
    return mNeedsRedrawFlag.load();
}

void Camera::setNeedsRedraw(bool needsRedraw)
{
    mNeedsRedrawFlag.exchange(needsRedraw);
}

Math::Point<float, 3> Camera::eye() const
{
    const Eigen::Vector4f position = mViewMatrix.inverse().col(3);
    return position.hnormalized();
}

Eigen::Vector3f Camera::rightDirection() const
{
    return mViewMatrix.block<1, 3>(0, 0).transpose();
}

Eigen::Vector3f Camera::upDirection() const
{
    return mViewMatrix.block<1, 3>(1, 0).transpose();
}

Eigen::Vector3f Camera::viewDirection() const
{
    return -mViewMatrix.block<1, 3>(2, 0).transpose();
}

float Camera::viewportAspect() const
{
    return hasAspectRatio(mViewport.width(), mViewport.height()) ? static_cast<float>(mViewport.aspectRatio()) : 1.0f;
}

void Camera::setViewport(std::size_t width, std::size_t height)
{
    const std::size_t oldWidth = mViewport.width();
    const std::size_t oldHeight = mViewport.height();
    mViewport.set(mViewport.x(), mViewport.y(), width, height);
    if (!hasAspectRatio(oldWidth, oldHeight) || !hasAspectRatio(width, height)) {
        return;
    }
    const double oldAspect = static_cast<double>(oldWidth) / static_cast<double>(oldHeight);
    const double newAspect = static_cast<double>(width) / static_cast<double>(height);
    if (oldAspect == newAspect || !mAdaptProjectionToViewport) {
        return;
    }
    // Only the horizontal scale depends on the aspect ratio (the offsets are in device units), so
    // scaling it is the same as rebuilding the projection from its parameters.
    Eigen::Matrix4f adapted = mProjectionMatrix;
    adapted(0, 0) = static_cast<float>(adapted(0, 0) * oldAspect / newAspect);
    if (isOrthographic()) {
        mHorizontalExtent = static_cast<float>(mHorizontalExtent * newAspect / oldAspect);
    }
    storeProjection(adapted);
}

void Camera::setViewMatrix(const Eigen::Matrix4f& viewMatrix)
{
    if (viewMatrix != mViewMatrix) {
        mViewMatrix = viewMatrix;
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
    mZNear = zNear;
    mZFar = zFar;
    mOffCenterX = offCenterX;
    mOffCenterY = offCenterY;
    mFovY = fovYDeg * pi / 180.0f;
    mAdaptProjectionToViewport = true;

    const float yScale = std::cos(mFovY / 2.0f) / std::sin(mFovY / 2.0f);
    const float xScale = yScale / viewportAspect();

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = xScale;
    projection(1, 1) = yScale;
    projection(0, 2) = offCenterX;
    projection(1, 2) = offCenterY;
    setDepthRows(projection, mZBufferReversed ? zFar : zNear, mZBufferReversed ? zNear : zFar, true);
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
    mZNear = zNear;
    mZFar = zFar;
    mOffCenterX = (right + left) / (right - left);
    mOffCenterY = (top + bottom) / (top - bottom);
    mFovY = 2.0f * std::atan((top - bottom) / (2.0f * zNear));
    mAdaptProjectionToViewport = adaptToViewport;

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = 2.0f * zNear / (right - left);
    projection(1, 1) = 2.0f * zNear / (top - bottom);
    projection(0, 2) = mOffCenterX;
    projection(1, 2) = mOffCenterY;
    setDepthRows(projection, mZBufferReversed ? zFar : zNear, mZBufferReversed ? zNear : zFar, true);
    storeProjection(projection);
}

void Camera::setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar)
{
    mHorizontalExtent = horizontalExtent;
    mVerticalExtent = verticalExtent;
    mZNear = zNear;
    mZFar = zFar;
    mAdaptProjectionToViewport = true;

    Eigen::Matrix4f projection = Eigen::Matrix4f::Zero();
    projection(0, 0) = 2.0f / horizontalExtent;
    projection(1, 1) = 2.0f / verticalExtent;
    setDepthRows(projection, mZBufferReversed ? zFar : zNear, mZBufferReversed ? zNear : zFar, false);
    storeProjection(projection);
}

void Camera::setOrthographic(float verticalExtent, float zNear, float zFar)
{
    setOrthographic(verticalExtent * viewportAspect(), verticalExtent, zNear, zFar);
}

void Camera::setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool adaptToViewport)
{
    mZNear = zNear;
    mZFar = zFar;
    mAdaptProjectionToViewport = adaptToViewport;
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
        setPerspective(fovYDeg(), nearZ, farZ, mOffCenterX, mOffCenterY);
    } else {
        setOrthographic(mHorizontalExtent, mVerticalExtent, nearZ, farZ);
    }
}

Math::Point<float, 3> Camera::unProject(std::size_t x, std::size_t y, float depth) const
{
    const float width = static_cast<float>(mViewport.width());
    const float height = static_cast<float>(mViewport.height());
    const Eigen::Vector4f ndc(2.0f * static_cast<float>(x) / width - 1.0f,
                              2.0f * (height - static_cast<float>(y)) / height - 1.0f, depth, 1.0f);
    const Eigen::Vector4f world = mInvViewProjectionMatrix * ndc;
    return world.hnormalized();
}

Math::Point<float, 3> Camera::project(const Math::Point<float, 3>& point) const
{
    const float width = static_cast<float>(mViewport.width());
    const float height = static_cast<float>(mViewport.height());
    const Eigen::Vector4f clip = mViewProjectionMatrix * point.homogeneous();
    const Eigen::Vector3f ndc = clip.hnormalized();
    return Math::Point<float, 3>((ndc.x() + 1.0f) * width * 0.5f, height - (ndc.y() + 1.0f) * height * 0.5f, point.z());
}

Math::Frustum<float> Camera::frustum() const
{
    return Math::Frustum<float>(mViewProjectionMatrix);
}

Math::Frustum<float> Camera::frustum(const Eigen::Matrix4f& modelMatrix) const
{
    return Math::Frustum<float>(mViewProjectionMatrix * modelMatrix);
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
    return Math::Frustum<float>(shrink * mViewProjectionMatrix * modelMatrix);
}

bool Camera::operator==(const Camera& other) const
{
    return mViewport == other.mViewport && mViewMatrix == other.mViewMatrix
        && mProjectionMatrix == other.mProjectionMatrix && mZNear == other.mZNear && mZFar == other.mZFar
        && mZBufferReversed == other.mZBufferReversed;
}

bool Camera::operator!=(const Camera& other) const
{
    return !(*this == other);
}

void Camera::storeProjection(const Eigen::Matrix4f& projection)
{
    if (projection != mProjectionMatrix) {
        mProjectionMatrix = projection;
        updateProducts();
    }
}

void Camera::updateProducts()
{
    mViewProjectionMatrix = mProjectionMatrix * mViewMatrix;
    mInvViewProjectionMatrix = mViewProjectionMatrix.inverse();
}

} // namespace Render
