#pragma once

#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>
#include <optional>
#include <vector>

namespace Render {

using PickedPoints = std::vector<Math::Point<float, 3>>;

// A plane through most of the points despite outliers (RANSAC): 100 times, three distinct points
// chosen at random (a Mersenne Twister with its default seed, new for every call, so the same
// points give the same plane; the indices drawn as std::sample draws them) span a candidate unless
// they are nearly collinear; the candidate with strictly the most inliers, points nearer to it than
// maxDistance (checked in double precision), wins. Empty with fewer than three points or without
// any inlier.
struct RobustPlane {
    Math::NPlane<float, 3> plane;
    PickedPoints inliers;
};
std::optional<RobustPlane> fitPlaneRobustly(const PickedPoints& points, double maxDistance);

// The least-squares plane: through the centroid, its normal the direction of least spread (the
// right singular vector of the smallest singular value of the centred points). Empty with fewer
// than three points.
std::optional<Math::NPlane<float, 3>> fitPlaneLeastSquares(const PickedPoints& points);

// Where the ray from `origin` along `direction` meets the plane: empty when the plane lies behind
// the origin or the ray runs parallel beside it; the origin itself when it lies in the plane.
std::optional<Math::Point<float, 3>> rayPlaneIntersection(const Math::Point<float, 3>& origin,
                                                          const Eigen::Vector3f& direction,
                                                          const Math::NPlane<float, 3>& plane);

// The pixels a tolerance pick at (x, y) examines: x0 <= i < x1 and y0 <= j < y1, the square of
// half-side `tolerance` clamped to the picture, its right column and bottom row left out.
struct SearchSquare {
    int x0 = 0;
    int x1 = 0;
    int y0 = 0;
    int y1 = 0;
    bool empty() const { return x0 == x1 || y0 == y1; }
};
SearchSquare searchSquare(std::size_t x, std::size_t y, std::size_t tolerance, std::size_t width, std::size_t height);

} // namespace Render
