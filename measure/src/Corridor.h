#pragma once

#include <lumaro/measure/Profile.h>

#include <lumaro/math/Polygon.h>

#include <optional>
#include <vector>

namespace Measure {

// The corridor of a profile: a rectangle per segment of the line, between two heights.
class Corridor : public Region {
public:
    // Throws std::invalid_argument for options that make no corridor (see measureProfile).
    explicit Corridor(const ProfileOptions& options);

    double length() const { return mLength; }
    // The plan bounds of all the rectangles.
    const Math::NBoundingBox<double, 2>& bounds() const { return mBounds; }

    Math::BoxTestResult testCube(const Math::NBoundingBox<double, 3>& cube) const override;

    // Where the point lies along and across the line, when it lies in the corridor.
    struct Place {
        double along;
        double across;
    };
    std::optional<Place> place(const std::array<double, 3>& point) const;

private:
    struct Segment {
        Math::Point<double, 2> start;
        Eigen::Vector2d direction; // unit
        double length;
        double before; // the length of the line before the segment
    };

    std::vector<Segment> mSegments;
    std::vector<Math::Polygon> mRectangles;
    Math::NBoundingBox<double, 2> mBounds;
    double mHalfWidth;
    double mLowest;
    double mHighest;
    double mLength = 0.0;
};

} // namespace Measure
