#include "OrbitNavigator.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Tool {

namespace {

constexpr float PI = std::numbers::pi_v<float>;
constexpr float DEGREE = PI / 180.0f;

} // namespace

void OrbitNavigator::frame(const Math::NBoundingBox<float, 3>& box)
{
    const Math::Point<float, 3> center = box.isEmpty() ? Math::Point<float, 3>(0.0f, 0.0f, 0.0f) : box.center();
    const float radius = box.isEmpty() ? 0.5f * std::sqrt(3.0f) : std::max(0.5f * box.diagonal(), 1e-3f);
    const float distance = radius / std::sin(0.5f * FIELD_OF_VIEW_DEGREES * DEGREE);
    const Eigen::Vector3f direction = Eigen::Vector3f(1.0f, -1.0f, 1.0f).normalized();
    mPivot = center;
    mEye = Math::Point<float, 3>(center + distance * direction);
}

void OrbitNavigator::setPivot(const Math::Point<float, 3>& pivot)
{
    if ((mEye - pivot).norm() > 1e-6f) {
        mPivot = pivot;
    }
}

void OrbitNavigator::orbit(float dxPixels, float dyPixels, float windowHeight)
{
    const float perPixel = PI / std::max(windowHeight, 1.0f);
    const Eigen::Vector3f offset = mEye - mPivot;
    const float distance = offset.norm();
    const float yaw = std::atan2(offset.y(), offset.x()) - dxPixels * perPixel;
    const float maxPitch = MAX_PITCH_DEGREES * DEGREE;
    const float pitch = std::clamp(std::asin(std::clamp(offset.z() / distance, -1.0f, 1.0f)) + dyPixels * perPixel,
                                   -maxPitch, maxPitch);
    mEye = Math::Point<float, 3>(
        mPivot
        + distance
            * Eigen::Vector3f(std::cos(pitch) * std::cos(yaw), std::cos(pitch) * std::sin(yaw), std::sin(pitch)));
}

Eigen::Vector3f OrbitNavigator::right() const
{
    const Eigen::Vector3f forward = (mPivot - mEye).normalized();
    return forward.cross(up()).normalized();
}

Eigen::Vector3f OrbitNavigator::screenUp() const
{
    return right().cross((mPivot - mEye).normalized());
}

void OrbitNavigator::pan(float dxPixels, float dyPixels, float windowHeight)
{
    const float distance = (mPivot - mEye).norm();
    const float perPixel =
        2.0f * distance * std::tan(0.5f * FIELD_OF_VIEW_DEGREES * DEGREE) / std::max(windowHeight, 1.0f);
    const Eigen::Vector3f shift = (-dxPixels * right() + dyPixels * screenUp()) * perPixel;
    mEye = Math::Point<float, 3>(mEye + shift);
    mPivot = Math::Point<float, 3>(mPivot + shift);
}

void OrbitNavigator::zoomToward(const Math::Point<float, 3>& point, float factor)
{
    const float keep = 1.0f - std::min(factor, 0.95f);
    mEye = Math::Point<float, 3>(point + keep * (mEye - point));
    mPivot = Math::Point<float, 3>(point + keep * (mPivot - point));
}

} // namespace Tool
