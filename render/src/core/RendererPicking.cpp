// Picking in the renderer's last frame: points, distances and planes under a pixel.
#include <lumaro/render/core/Renderer.h>

#include <lumaro/math/TriangleMesh.h>

#include "PlaneFit.h"
#include "ReadBack.h"
#include "pointcloud/MeshDistances.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

namespace Render {

bool Renderer::pickPoint(std::size_t x, std::size_t y, Math::Point<float, 3>& point)
{
    if (x >= viewport().width() || y >= viewport().height())
        return false;
    bool drawn = false;
    readBack(mExactWorldPositionStaging, mScenePass.texture("exactWorldPosition"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) {
                 const Eigen::Vector4f texel = worldTexel(mapped, x, y);
                 point = Math::Point<float, 3>(texel.head<3>());
                 drawn = texel.w() > 0.0f;
             });
    return drawn;
}

std::optional<std::vector<Math::Point<float, 3>>> Renderer::drawnPointsAround(std::size_t x, std::size_t y,
                                                                              std::size_t tolerance)
{
    const SearchSquare square = searchSquare(x, y, tolerance, viewport().width(), viewport().height());
    if (square.empty())
        return std::nullopt;
    std::vector<Math::Point<float, 3>> points;
    readBack(mExactWorldPositionStaging, mScenePass.texture("exactWorldPosition"),
             [&](const D3D11_MAPPED_SUBRESOURCE& mapped) {
                 for (int i = square.x0; i < square.x1; ++i)
                     for (int j = square.y0; j < square.y1; ++j)
                         if (const Eigen::Vector4f texel = worldTexel(mapped, i, j); texel.w() > 0.0f)
                             points.emplace_back(texel.head<3>());
             });
    return points;
}

bool Renderer::pickClosestPointWithTolerance(std::size_t x, std::size_t y, std::size_t tolerance,
                                             Math::Point<float, 3>& point)
{
    const auto points = drawnPointsAround(x, y, tolerance);
    if (!points)
        return false;
    const Math::Point<float, 3> eye = mCamera->eye();
    float best = std::numeric_limits<float>::max();
    for (const Math::Point<float, 3>& candidate : *points) {
        const float distance = (candidate - eye).squaredNorm();
        if (distance < best) {
            best = distance;
            point = candidate;
        }
    }
    return best != std::numeric_limits<float>::max();
}

bool Renderer::pickPointWithDistanceToColorizationMesh(std::size_t x, std::size_t y, std::size_t tolerance,
                                                       Math::Point<float, 3>& point, float& distance)
{
    if (!mMeshForDistanceColorization || !pickClosestPointWithTolerance(x, y, tolerance, point))
        return false;
    const std::optional<float> signedDistance = signedDistanceToMesh(*mMeshForDistanceColorization, point);
    if (!signedDistance)
        return false;
    distance = mUseSignedDistance ? *signedDistance : std::abs(*signedDistance);
    return true;
}

bool Renderer::pickPointWithDistanceToColorizationPlane(std::size_t x, std::size_t y, std::size_t tolerance,
                                                        Math::Point<float, 3>& point, float& distance)
{
    if (!mMeshForDistanceColorization || !pickClosestPointWithTolerance(x, y, tolerance, point))
        return false;
    const float signedDistance = mPlaneForDistanceColorization.signedDistance(point);
    distance = mUseSignedDistance ? signedDistance : std::abs(signedDistance);
    return true;
}

bool Renderer::pickPlane(std::size_t x, std::size_t y, std::size_t tolerance, Math::NPlane<float, 3>& plane,
                         Math::Point<float, 3>& point, double maxDistance)
{
    std::optional<std::vector<Math::Point<float, 3>>> points = drawnPointsAround(x, y, tolerance);
    if (!points)
        return false;
    // Neighbouring pixels of one point sprite repeat its position.
    points->erase(std::unique(points->begin(), points->end()), points->end());
    const std::optional<RobustPlane> robust = fitPlaneRobustly(*points, maxDistance);
    if (!robust)
        return false;
    const std::optional<Math::NPlane<float, 3>> fitted = fitPlaneLeastSquares(robust->inliers);
    if (!fitted)
        return false;
    const Math::Point<float, 3> eye = mCamera->eye();
    plane = fitted->signedDistance(eye) < 0.0f ? fitted->flipped() : *fitted;
    const std::optional<Math::Point<float, 3>> hit =
        rayPlaneIntersection(eye, mCamera->unProject(x, y, 0.0f) - eye, plane);
    if (!hit)
        return false;
    point = *hit;
    return true;
}

Math::Point<float, 3> Renderer::unProject(std::size_t x, std::size_t y, float depth)
{
    return mCamera->unProject(x, y, depth);
}

Math::Point<float, 3> Renderer::project(const Math::Point<float, 3>& point)
{
    return mCamera->project(point);
}

} // namespace Render
