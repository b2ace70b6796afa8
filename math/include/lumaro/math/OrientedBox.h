#pragma once

#include <lumaro/math/BoxTestResult.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>
#include <Eigen/Geometry>

namespace Math {

/// A box in any orientation: a centre, three perpendicular unit axes and the half extent along
/// each, in double precision.
class OrientedBox {
public:
    /// A box of `halfExtents` along the axes of `rotation` (the columns of the rotation matrix)
    /// around `centre`. Throws std::invalid_argument when a half extent is not positive and
    /// finite, or the rotation is not one.
    OrientedBox(const Point<double, 3>& centre, const Eigen::Vector3d& halfExtents,
                const Eigen::Matrix3d& rotation = Eigen::Matrix3d::Identity());

    /// A box turned by `heading` about z, then tilted by `pitch` about its y axis and `roll`
    /// about its x axis (radians; z up, heading counter-clockwise from x), as surveyors turn a
    /// box that follows a road or a pipe.
    static OrientedBox fromAngles(const Point<double, 3>& centre, const Eigen::Vector3d& halfExtents, double heading,
                                  double pitch = 0.0, double roll = 0.0);

    /// The centre.
    const Point<double, 3>& centre() const { return mCentre; }
    /// The half extents along the axes.
    const Eigen::Vector3d& halfExtents() const { return mHalfExtents; }
    /// The axes as the columns of a rotation.
    const Eigen::Matrix3d& rotation() const { return mRotation; }

    /// The point in the box's own coordinates, where the box is -1 to 1 on each axis.
    Eigen::Vector3d unitCoordinates(const Point<double, 3>& point) const;
    /// The affine matrix of unitCoordinates.
    Eigen::Matrix4d unitFromWorld() const;

    /// Whether the point lies in the closed box.
    bool contains(const Point<double, 3>& point) const;
    /// Where an axis-aligned box lies: inside when all its corners are inside; outside when an
    /// axis of either box separates them; otherwise intersecting (possibly a box outside near an
    /// edge, as the tests of convex volumes allow).
    BoxTestResult testBox(const NBoundingBox<double, 3>& box) const;

    /// The same centre, extents and axes.
    bool operator==(const OrientedBox& other) const
    {
        return mCentre == other.mCentre && mHalfExtents == other.mHalfExtents && mRotation == other.mRotation;
    }

private:
    Point<double, 3> mCentre;
    Eigen::Vector3d mHalfExtents;
    Eigen::Matrix3d mRotation;
};

} // namespace Math
