#pragma once

#include <lumaro/math/Point.h>

#include <Eigen/Core>
#include <Eigen/LU>

#include <stdexcept>

namespace Math {

// A hyperplane n·p + d = 0, kept as normal n and offset d. The normal need not be of unit length;
// signedDistance is a true distance only for a unit normal (see normalized()).
// The default plane is the one through the origin with normal along the second axis (y up).
template <typename T, int N>
class NPlane {
public:
    using PointType = Point<T, N>;
    using VectorType = Eigen::Matrix<T, N, 1>;
    using CoefficientsType = Eigen::Matrix<T, N + 1, 1>;
    using MatrixType = Eigen::Matrix<T, N + 1, N + 1>;

    NPlane() : mNormal(VectorType::Unit(1)), mOffset(0) {}
    NPlane(const VectorType& normal, T offset) : mNormal(normal), mOffset(offset) {}

    NPlane(T a, T b, T c, T d)
        requires(N == 3)
        : mNormal(a, b, c), mOffset(d)
    {}

    static NPlane throughPoint(const PointType& point, const VectorType& normal)
    {
        return NPlane(normal, -normal.dot(point));
    }

    static NPlane fromCoefficients(const CoefficientsType& coefficients)
    {
        return NPlane(coefficients.template head<N>(), coefficients[N]);
    }

    const VectorType& normal() const { return mNormal; }
    T offset() const { return mOffset; }

    // (n, d): what a shader multiplies with a homogeneous point.
    CoefficientsType coefficients() const
    {
        CoefficientsType result;
        result << mNormal, mOffset;
        return result;
    }

    T signedDistance(const PointType& point) const { return mNormal.dot(point) + mOffset; }

    // The same plane scaled to a unit normal. A plane with a zero normal has no direction to keep
    // and is returned unchanged.
    NPlane normalized() const
    {
        const T length = mNormal.norm();
        if (length == T(0)) {
            return *this;
        }
        return NPlane(mNormal / length, mOffset / length);
    }

    // The same plane with its sides exchanged.
    NPlane flipped() const { return NPlane(-mNormal, -mOffset); }

    // The plane that the points of this plane land on when every point p is moved to matrix · p
    // (homogeneous). Its coefficients are the inverse transpose of the matrix times ours; the result
    // is normalized so that signed distances stay distances under rotations and scalings.
    NPlane transformed(const MatrixType& matrix) const
    {
        Eigen::FullPivLU<MatrixType> lu(matrix);
        if (!lu.isInvertible()) {
            throw std::invalid_argument("NPlane::transformed: the transformation matrix is singular");
        }
        const MatrixType inverseTransposed = lu.inverse().transpose();
        return fromCoefficients(inverseTransposed * coefficients()).normalized();
    }

    template <typename U>
    NPlane<U, N> cast() const
    {
        return NPlane<U, N>(mNormal.template cast<U>(), static_cast<U>(mOffset));
    }

    bool operator==(const NPlane& other) const { return mNormal == other.mNormal && mOffset == other.mOffset; }
    bool operator!=(const NPlane& other) const { return !(*this == other); }

private:
    VectorType mNormal;
    T mOffset;
};

} // namespace Math
