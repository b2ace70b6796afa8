#pragma once

#include <lumaro/math/BoxTestResult.h>
#include <lumaro/math/HalfSpace.h>
#include <lumaro/math/NBoundingBox.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace Math {

// A convex volume as the intersection of half-spaces (a clipping volume). A polytope without
// half-spaces bounds nothing: it contains every point and passes every box as inside.
template <typename T, int N>
class ConvexPolytope {
public:
    using PointType = Point<T, N>;
    using MatrixType = Eigen::Matrix<T, N + 1, N + 1>;

    ConvexPolytope() = default;
    explicit ConvexPolytope(std::vector<HalfSpace<T, N>> halfSpaces) : mHalfSpaces(std::move(halfSpaces)) {}

    const std::vector<HalfSpace<T, N>>& halfSpaces() const { return mHalfSpaces; }
    std::size_t size() const { return mHalfSpaces.size(); }
    bool empty() const { return mHalfSpaces.empty(); }
    void add(const HalfSpace<T, N>& halfSpace) { mHalfSpaces.push_back(halfSpace); }

    bool contains(const PointType& point) const
    {
        for (const auto& halfSpace : mHalfSpaces) {
            if (!halfSpace.contains(point)) {
                return false;
            }
        }
        return true;
    }

    // Outside as soon as one half-space excludes the whole box; inside when every half-space holds
    // it whole; otherwise intersecting (possibly a box outside near an edge of the volume).
    BoxTestResult testBox(const NBoundingBox<T, N>& box) const
    {
        BoxTestResult result = BoxTestResult::Inside;
        for (const auto& halfSpace : mHalfSpaces) {
            const BoxTestResult single = halfSpace.testBox(box);
            if (single == BoxTestResult::Outside) {
                return BoxTestResult::Outside;
            }
            if (single == BoxTestResult::Intersecting) {
                result = BoxTestResult::Intersecting;
            }
        }
        return result;
    }

    // The volume that the points of this one land on when every point p is moved to matrix · p.
    ConvexPolytope transformed(const MatrixType& matrix) const
    {
        std::vector<HalfSpace<T, N>> moved;
        moved.reserve(mHalfSpaces.size());
        for (const auto& halfSpace : mHalfSpaces) {
            moved.push_back(halfSpace.transformed(matrix));
        }
        return ConvexPolytope(std::move(moved));
    }

    bool operator==(const ConvexPolytope& other) const { return mHalfSpaces == other.mHalfSpaces; }
    bool operator!=(const ConvexPolytope& other) const { return !(*this == other); }

private:
    std::vector<HalfSpace<T, N>> mHalfSpaces;
};

} // namespace Math
