#include "PlaneFit.h"

#include <Eigen/SVD>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

namespace Render {

std::optional<RobustPlane> fitPlaneRobustly(const PickedPoints& points, double maxDistance)
{
    constexpr int iterations = 100;
    // Three points are collinear when their cross product is tiny against the lengths it is
    // made of, so that a patch in degrees fits as well as one in metres.
    constexpr float collinear = 1e-6f;
    if (points.size() < 3)
        return std::nullopt;
    std::mt19937 random;
    std::vector<std::size_t> indices(points.size());
    std::iota(indices.begin(), indices.end(), std::size_t(0));
    const double limit = maxDistance * maxDistance;
    std::optional<RobustPlane> best;
    for (int iteration = 0; iteration < iterations; ++iteration) {
        std::array<std::size_t, 3> chosen{};
        std::sample(indices.begin(), indices.end(), chosen.begin(), 3, random);
        const Math::Point<float, 3>& p0 = points[chosen[0]];
        const Eigen::Vector3f a = points[chosen[1]] - p0;
        const Eigen::Vector3f b = points[chosen[2]] - p0;
        const Eigen::Vector3f cross = a.cross(b);
        const float length = cross.norm();
        if (!(length > collinear * a.norm() * b.norm()))
            continue;
        const Eigen::Vector3f normal = cross / length;
        const Math::NPlane<float, 3> candidate(normal, -normal.dot(p0));
        PickedPoints inliers;
        for (const Math::Point<float, 3>& point : points) {
            const double distance =
                normal.cast<double>().dot(point.cast<double>()) + static_cast<double>(candidate.offset());
            if (distance * distance < limit)
                inliers.push_back(point);
        }
        if (!best || inliers.size() > best->inliers.size())
            best = RobustPlane{candidate, std::move(inliers)};
    }
    if (!best || best->inliers.empty())
        return std::nullopt;
    return best;
}

std::optional<Math::NPlane<float, 3>> fitPlaneLeastSquares(const PickedPoints& points)
{
    if (points.size() < 3)
        return std::nullopt;
    Eigen::MatrixX3f centred(points.size(), 3);
    Eigen::Vector3f centroid = Eigen::Vector3f::Zero();
    for (const Math::Point<float, 3>& point : points)
        centroid += point;
    centroid /= static_cast<float>(points.size());
    for (std::size_t i = 0; i < points.size(); ++i)
        centred.row(static_cast<Eigen::Index>(i)) = (points[i] - centroid).transpose();
    const Eigen::JacobiSVD<Eigen::MatrixX3f> svd(centred, Eigen::ComputeFullV);
    // Singular values come in decreasing order: the last column spans the least spread.
    const Eigen::Vector3f normal = svd.matrixV().col(2).normalized();
    if (!normal.allFinite())
        return std::nullopt;
    return Math::NPlane<float, 3>(normal, -normal.dot(centroid));
}

std::optional<Math::Point<float, 3>> rayPlaneIntersection(const Math::Point<float, 3>& origin,
                                                          const Eigen::Vector3f& direction,
                                                          const Math::NPlane<float, 3>& plane)
{
    const float height = plane.signedDistance(origin);
    const float along = plane.normal().dot(direction);
    if (along != 0.0f) {
        const float s = -height / along;
        if (s < 0.0f)
            return std::nullopt;
        return Math::Point<float, 3>(origin + s * direction);
    }
    if (height == 0.0f)
        return origin;
    return std::nullopt;
}

SearchSquare searchSquare(std::size_t x, std::size_t y, std::size_t tolerance, std::size_t width, std::size_t height)
{
    const auto clamp = [](long long value, std::size_t size) {
        return static_cast<int>(std::clamp<long long>(value, 0, static_cast<long long>(size) - 1));
    };
    const long long cx = static_cast<long long>(x);
    const long long cy = static_cast<long long>(y);
    const long long t = static_cast<long long>(tolerance);
    if (width == 0 || height == 0)
        return {};
    return {clamp(cx - t, width), clamp(cx + t, width), clamp(cy - t, height), clamp(cy + t, height)};
}

} // namespace Render
