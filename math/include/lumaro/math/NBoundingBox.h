#pragma once

#include <lumaro/math/Point.h>

#include <Eigen/Core>
#include <Eigen/Geometry>

#include <limits>
#include <ostream>

namespace Math {

// An axis-aligned box given by its minimum and maximum corners. A box is empty when its minimum
// exceeds its maximum in any axis; a default-constructed box is empty in every axis (min at the
// largest value, max at the lowest), so extending it by a point yields exactly that point.
// The accessors are named min() and max(): Windows hosts must define NOMINMAX (our builds do).
template <typename T, int N>
class NBoundingBox {
public:
    using PointType = Point<T, N>;
    using VectorType = Eigen::Matrix<T, N, 1>;
    using MatrixType = Eigen::Matrix<T, N + 1, N + 1>;
    static constexpr unsigned cornerCount = 1u << N;

    NBoundingBox()
        : mMin(VectorType::Constant(std::numeric_limits<T>::max())),
          mMax(VectorType::Constant(std::numeric_limits<T>::lowest()))
    {}

    NBoundingBox(const PointType& min, const PointType& max) : mMin(min), mMax(max) {}

    const PointType& min() const { return mMin; }
    const PointType& max() const { return mMax; }
    void setMin(const PointType& min) { mMin = min; }
    void setMax(const PointType& max) { mMax = max; }

    bool isEmpty() const { return (mMin.array() > mMax.array()).any(); }

    void extend(const PointType& point)
    {
        mMin = mMin.cwiseMin(point);
        mMax = mMax.cwiseMax(point);
    }

    void extend(const NBoundingBox& other)
    {
        if (other.isEmpty()) {
            return;
        }
        mMin = mMin.cwiseMin(other.mMin);
        mMax = mMax.cwiseMax(other.mMax);
    }

    PointType center() const { return (mMin + mMax) / T(2); }

    // Extent per axis (max - min); negative in the axes where the box is empty.
    VectorType size() const { return mMax - mMin; }

    // Length of the diagonal from min to max; 0 for an empty box.
    T diagonal() const { return isEmpty() ? T(0) : size().norm(); }

    bool contains(const PointType& point) const
    {
        return (mMin.array() <= point.array()).all() && (point.array() <= mMax.array()).all();
    }

    // An empty box is contained nowhere: it has no points to be contained.
    bool contains(const NBoundingBox& other) const
    {
        return !other.isEmpty() && contains(other.mMin) && contains(other.mMax);
    }

    // Boxes that touch along a face intersect.
    bool intersects(const NBoundingBox& other) const
    {
        return !isEmpty() && !other.isEmpty() && (mMin.array() <= other.mMax.array()).all()
            && (other.mMin.array() <= mMax.array()).all();
    }

    // Corner number `index`: bit i chooses max (1) or min (0) in axis i.
    PointType corner(unsigned index) const
    {
        PointType result;
        for (int axis = 0; axis < N; ++axis) {
            result[axis] = ((index >> axis) & 1u) ? mMax[axis] : mMin[axis];
        }
        return result;
    }

    // The axis-aligned box around the transformed corners (homogeneous coordinates, divided by w).
    // An empty box stays empty: its "corners" are not points and transforming them would give
    // infinite or meaningless bounds.
    NBoundingBox transformed(const MatrixType& matrix) const
    {
        if (isEmpty()) {
            return *this;
        }
        NBoundingBox result;
        for (unsigned index = 0; index < cornerCount; ++index) {
            const Eigen::Matrix<T, N + 1, 1> transformed = matrix * corner(index).homogeneous();
            result.extend(PointType(transformed.hnormalized()));
        }
        return result;
    }

    template <typename U>
    NBoundingBox<U, N> cast() const
    {
        return NBoundingBox<U, N>(mMin.template cast<U>(), mMax.template cast<U>());
    }

    bool operator==(const NBoundingBox& other) const { return mMin == other.mMin && mMax == other.mMax; }
    bool operator!=(const NBoundingBox& other) const { return !(*this == other); }

private:
    PointType mMin;
    PointType mMax;
};

template <typename T, int N>
std::ostream& operator<<(std::ostream& stream, const NBoundingBox<T, N>& box)
{
    const Eigen::IOFormat row(Eigen::StreamPrecision, Eigen::DontAlignCols, ", ", ", ", "", "", "(", ")");
    return stream << "[" << box.min().transpose().format(row) << " .. " << box.max().transpose().format(row) << "]";
}

} // namespace Math
