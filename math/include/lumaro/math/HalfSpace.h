#pragma once

#include <lumaro/math/BoxTestResult.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>

namespace Math {

// The closed side n·p + d >= 0 of a plane: the side its normal points to. This is the convention
// of the clipping planes in the shaders, which cull a point when dot(p, plane) < 0.
template <typename T, int N>
class HalfSpace {
public:
    using PointType = Point<T, N>;
    using VectorType = Eigen::Matrix<T, N, 1>;
    using MatrixType = Eigen::Matrix<T, N + 1, N + 1>;

    HalfSpace() = default;
    explicit HalfSpace(const NPlane<T, N>& boundary) : mBoundary(boundary) {}
    HalfSpace(const VectorType& normal, T offset) : mBoundary(normal, offset) {}

    const NPlane<T, N>& plane() const { return mBoundary; }

    bool contains(const PointType& point) const { return mBoundary.signedDistance(point) >= T(0); }

    // Uses the two box corners farthest along and against the normal, so a plane costs two dot
    // products whatever the dimension. An empty box has no points and is outside.
    BoxTestResult testBox(const NBoundingBox<T, N>& box) const
    {
        if (box.isEmpty()) {
            return BoxTestResult::Outside;
        }
        PointType farthest;
        PointType nearest;
        const VectorType& normal = mBoundary.normal();
        for (int axis = 0; axis < N; ++axis) {
            const bool alongAxis = normal[axis] > T(0);
            farthest[axis] = alongAxis ? box.max()[axis] : box.min()[axis];
            nearest[axis] = alongAxis ? box.min()[axis] : box.max()[axis];
        }
        if (mBoundary.signedDistance(farthest) < T(0)) {
            return BoxTestResult::Outside;
        }
        if (mBoundary.signedDistance(nearest) >= T(0)) {
            return BoxTestResult::Inside;
        }
        return BoxTestResult::Intersecting;
    }

    // The half-space that the points of this one land on when every point p is moved to matrix · p.
    HalfSpace transformed(const MatrixType& matrix) const { return HalfSpace(mBoundary.transformed(matrix)); }

    bool operator==(const HalfSpace& other) const { return mBoundary == other.mBoundary; }
    bool operator!=(const HalfSpace& other) const { return !(*this == other); }

private:
    NPlane<T, N> mBoundary;
};

} // namespace Math
