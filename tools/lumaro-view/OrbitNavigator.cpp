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
    m_pivot = center;
    m_eye = Math::Point<float, 3>(center + distance * direction);
}

void OrbitNavigator::setPivot(const Math::Point<float, 3>& pivot)
{
    if ((m_eye - pivot).norm() > 1e-6f) {
        m_pivot = pivot;
    }
}

void OrbitNavigator::orbit(float dxPixels, float dyPixels, float windowHeight)
{
    const float perPixel = PI / std::max(windowHeight, 1.0f);
    const Eigen::Vector3f offset = m_eye - m_pivot;
    const float distance = offset.norm();
    const float yaw = std::atan2(offset.y(), offset.x()) - dxPixels * perPixel;
    const float maxPitch = MAX_PITCH_DEGREES * DEGREE;
    const float pitch = std::clamp(std::asin(std::clamp(offset.z() / distance, -1.0f, 1.0f)) + dyPixels * perPixel,
                                   -maxPitch, maxPitch);
    m_eye = Math::Point<float, 3>(
        m_pivot + distance * Eigen::Vector3f(std::cos(pitch) * std::cos(yaw), std::cos(pitch) * std::sin(yaw), std::sin(pitch)));
}

Eigen::Vector3f OrbitNavigator::right() const
{
    const Eigen::Vector3f forward = (m_pivot - m_eye).normalized();
    return forward.cross(up()).normalized();
}

Eigen::Vector3f OrbitNavigator::screenUp() const
{
    return right().cross((m_pivot - m_eye).normalized());
}

void OrbitNavigator::pan(float dxPixels, float dyPixels, float windowHeight)
{
    const float distance = (m_pivot - m_eye).norm();
    const float perPixel = 2.0f * distance * std::tan(0.5f * FIELD_OF_VIEW_DEGREES * DEGREE) / std::max(windowHeight, 1.0f);
    const Eigen::Vector3f shift = (-dxPixels * right() + dyPixels * screenUp()) * perPixel;
    m_eye = Math::Point<float, 3>(m_eye + shift);
    m_pivot = Math::Point<float, 3>(m_pivot + shift);
}

void OrbitNavigator::zoomToward(const Math::Point<float, 3>& point, float factor)
{
    const float keep = 1.0f - std::min(factor, 0.95f);
    m_eye = Math::Point<float, 3>(point + keep * (m_eye - point));
    m_pivot = Math::Point<float, 3>(point + keep * (m_pivot - point));
}

} // namespace Tool
