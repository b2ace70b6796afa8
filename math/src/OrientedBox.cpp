#include <lumaro/math/OrientedBox.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Math {

OrientedBox::OrientedBox(const Point<double, 3>& centre, const Eigen::Vector3d& halfExtents,
                         const Eigen::Matrix3d& rotation)
    : mCentre(centre), mHalfExtents(halfExtents), mRotation(rotation)
{
    if (!centre.allFinite())
        throw std::invalid_argument("the box's centre must be a finite point");
    for (int axis = 0; axis < 3; ++axis)
        if (!(halfExtents[axis] > 0.0) || !std::isfinite(halfExtents[axis]))
            throw std::invalid_argument("the box's size along each axis must be above 0, not "
                                        + std::to_string(2.0 * halfExtents[axis]));
    if (!rotation.allFinite() || !(rotation.transpose() * rotation).isIdentity(1e-9) || rotation.determinant() < 0.0)
        throw std::invalid_argument("the box's axes must be a rotation");
}

OrientedBox OrientedBox::fromAngles(const Point<double, 3>& centre, const Eigen::Vector3d& halfExtents, double heading,
                                    double pitch, double roll)
{
    const Eigen::Matrix3d rotation =
        (Eigen::AngleAxisd(heading, Eigen::Vector3d::UnitZ()) * Eigen::AngleAxisd(pitch, Eigen::Vector3d::UnitY())
         * Eigen::AngleAxisd(roll, Eigen::Vector3d::UnitX()))
            .toRotationMatrix();
    return OrientedBox(centre, halfExtents, rotation);
}

Eigen::Vector3d OrientedBox::unitCoordinates(const Point<double, 3>& point) const
{
    return (mRotation.transpose() * (point - mCentre)).cwiseQuotient(mHalfExtents);
}

Eigen::Matrix4d OrientedBox::unitFromWorld() const
{
    Eigen::Matrix4d matrix = Eigen::Matrix4d::Identity();
    const Eigen::Matrix3d linear = mHalfExtents.cwiseInverse().asDiagonal() * mRotation.transpose();
    matrix.topLeftCorner<3, 3>() = linear;
    matrix.topRightCorner<3, 1>() = -linear * mCentre;
    return matrix;
}

bool OrientedBox::contains(const Point<double, 3>& point) const
{
    return (unitCoordinates(point).array().abs() <= 1.0).all();
}

BoxTestResult OrientedBox::testBox(const NBoundingBox<double, 3>& box) const
{
    if (box.isEmpty())
        return BoxTestResult::Outside;
    // The axis-aligned box's corners in the box's unit coordinates: all within -1..1 is inside;
    // beyond one face on the same side is separated along that axis.
    Eigen::Vector3d low = Eigen::Vector3d::Constant(std::numeric_limits<double>::infinity());
    Eigen::Vector3d high = -low;
    for (unsigned corner = 0; corner < 8; ++corner) {
        const Eigen::Vector3d unit = unitCoordinates(box.corner(corner));
        low = low.cwiseMin(unit);
        high = high.cwiseMax(unit);
    }
    if ((low.array() >= -1.0).all() && (high.array() <= 1.0).all())
        return BoxTestResult::Inside;
    if ((low.array() > 1.0).any() || (high.array() < -1.0).any())
        return BoxTestResult::Outside;
    // The oriented box's own extent along the world axes.
    const Eigen::Vector3d reach = (mRotation.cwiseAbs() * mHalfExtents);
    const Eigen::Vector3d boxLow = mCentre - reach;
    const Eigen::Vector3d boxHigh = mCentre + reach;
    if ((boxLow.array() > box.max().array()).any() || (boxHigh.array() < box.min().array()).any())
        return BoxTestResult::Outside;
    return BoxTestResult::Intersecting;
}

} // namespace Math
