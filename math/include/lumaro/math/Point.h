#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry> // homogeneous() and hnormalized(), how points meet 4x4 matrices

#include <type_traits>

namespace Math {

// A position in N-dimensional space. It is an Eigen fixed-size column vector by inheritance, so
// all of Eigen's arithmetic applies and Point<float,3> stays a plain tuple of three floats (12
// bytes, no padding) that vertex records can hold. It is nonetheless a type of its own, so that an
// interface can take a position and a direction (Eigen::Vector3f) as different overloads; any
// Eigen expression converts to a Point implicitly.
// Unlike a bare Eigen vector, a default-constructed Point is the origin, never uninitialised.
template <typename T, int N>
class Point : public Eigen::Matrix<T, N, 1> {
public:
    using Base = Eigen::Matrix<T, N, 1>;
    using Scalar = T;
    static constexpr int dimension = N;

    Point() : Base(Base::Zero()) {}

    template <typename... Coordinates>
        requires(sizeof...(Coordinates) == N && N >= 2 && N <= 4 && (std::is_arithmetic_v<Coordinates> && ...))
    Point(Coordinates... coordinates) : Base(static_cast<T>(coordinates)...)
    {}

    template <typename Derived>
    Point(const Eigen::MatrixBase<Derived>& other) : Base(other)
    {}

    template <typename Derived>
    Point& operator=(const Eigen::MatrixBase<Derived>& other)
    {
        Base::operator=(other);
        return *this;
    }
};

static_assert(sizeof(Point<float, 3>) == 12, "Point<float,3> must be three packed floats");
static_assert(sizeof(Point<float, 2>) == 8, "Point<float,2> must be two packed floats");

} // namespace Math
