#pragma once

#include <lumaro/math/ConvexPolytope.h>

#include <Eigen/Core>

#include <cstddef>
#include <initializer_list>

namespace Math {

// The view volume of a Direct3D-style projection: the points p whose clip coordinates
// c = M · (p, 1) satisfy -w <= x <= w, -w <= y <= w and 0 <= z <= w. Each inequality is a
// half-space whose coefficients are sums and differences of the matrix rows, so the six planes
// are exact for perspective and orthographic projections alike and come out in the coordinates
// that M maps from (world coordinates for a view-projection, model coordinates for a
// model-view-projection). With a reversed depth buffer the Near and Far sides exchange places;
// the volume is the same.
// A default-constructed frustum is that of the identity matrix: the clip box itself.
template <typename T>
class Frustum : public ConvexPolytope<T, 3> {
public:
    using MatrixType = Eigen::Matrix<T, 4, 4>;

    // Order of the six half-spaces in halfSpaces().
    enum Side {
        Left = 0,
        Right = 1,
        Bottom = 2,
        Top = 3,
        Near = 4,
        Far = 5
    };
    static constexpr int sideCount = 6;

    Frustum() : Frustum(MatrixType::Identity()) {}

    explicit Frustum(const MatrixType& matrix)
    {
        const Eigen::Matrix<T, 1, 4> x = matrix.row(0);
        const Eigen::Matrix<T, 1, 4> y = matrix.row(1);
        const Eigen::Matrix<T, 1, 4> z = matrix.row(2);
        const Eigen::Matrix<T, 1, 4> w = matrix.row(3);
        for (const Eigen::Matrix<T, 1, 4>& row :
             {Eigen::Matrix<T, 1, 4>(w + x), Eigen::Matrix<T, 1, 4>(w - x), Eigen::Matrix<T, 1, 4>(w + y),
              Eigen::Matrix<T, 1, 4>(w - y), z, Eigen::Matrix<T, 1, 4>(w - z)}) {
            this->add(HalfSpace<T, 3>(NPlane<T, 3>::fromCoefficients(row.transpose()).normalized()));
        }
    }

    const HalfSpace<T, 3>& side(Side which) const { return this->halfSpaces()[static_cast<std::size_t>(which)]; }
};

} // namespace Math
