#include <lumaro/measure/Volume.h>

#include "HeightGrid.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Measure {

namespace {

// The polygon between every height, its plan grown by `margin` (the band of a fitted base).
class PrismRegion : public Region {
public:
    PrismRegion(const Math::Polygon& polygon, double margin) : mPolygon(polygon), mMargin(margin) {}

    Math::BoxTestResult testCube(const Math::NBoundingBox<double, 3>& cube) const override
    {
        if (cube.isEmpty())
            return Math::BoxTestResult::Outside;
        // Grown square by square, which holds every point within the margin of the cube.
        const Math::NBoundingBox<double, 2> plan(
            Math::Point<double, 2>(cube.min().head<2>() - Eigen::Vector2d::Constant(mMargin)),
            Math::Point<double, 2>(cube.max().head<2>() + Eigen::Vector2d::Constant(mMargin)));
        return mPolygon.testRectangle(plan);
    }

private:
    const Math::Polygon& mPolygon;
    double mMargin;
};

// Least squares of z = c + a (x - cx) + b (y - cy) over the points given, by its normal equations
// around the polygon's centroid (small numbers, whatever the coordinates).
class BasePlaneFit {
public:
    explicit BasePlaneFit(const Math::Point<double, 2>& centre) : mCentre(centre) {}

    void add(double x, double y, double z)
    {
        const Eigen::Vector3d row(1.0, x - mCentre.x(), y - mCentre.y());
        mNormal += row * row.transpose();
        mRight += row * z;
        ++mCount;
    }

    std::uint64_t count() const { return mCount; }

    // c, a, b; throws when the points do not fix a plane (fewer than three, or all on a line).
    Eigen::Vector3d solve(double cellSize) const
    {
        const Eigen::FullPivLU<Eigen::Matrix3d> lu(mNormal);
        if (mCount < 3 || lu.rank() < 3)
            throw std::runtime_error("the " + std::to_string(mCount) + " points within " + std::to_string(cellSize)
                                     + " of the polygon's edge do not fix a base plane: it needs points near the edge "
                                       "that do not lie on one line");
        return lu.solve(mRight);
    }

private:
    Math::Point<double, 2> mCentre;
    Eigen::Matrix3d mNormal = Eigen::Matrix3d::Zero();
    Eigen::Vector3d mRight = Eigen::Vector3d::Zero();
    std::uint64_t mCount = 0;
};

} // namespace

Volume measureVolume(const Stores& stores, const VolumeOptions& options, const Progress& progress, std::stop_token stop)
{
    const Math::Polygon& polygon = options.polygon;
    const double cellSize = options.cellSize;
    HeightGrid grid(polygon, cellSize);
    const bool fit = options.base.kind == VolumeBase::Kind::Fit;
    if (options.base.kind == VolumeBase::Kind::Height && !std::isfinite(options.base.height))
        throw std::invalid_argument("the base height must be a finite number");
    const double margin = fit ? cellSize : 0.0;
    const PrismRegion region(polygon, margin);
    const Math::NBoundingBox<double, 3> bounds = storeBounds(stores);
    if (region.testCube(bounds) == Math::BoxTestResult::Outside)
        throw std::invalid_argument("the polygon lies outside the stores, whose points lie from ("
                                    + std::to_string(bounds.min().x()) + ", " + std::to_string(bounds.min().y())
                                    + ") to (" + std::to_string(bounds.max().x()) + ", "
                                    + std::to_string(bounds.max().y()) + ")");

    Volume volume;
    double lowest = std::numeric_limits<double>::infinity();
    BasePlaneFit plane(polygon.centroid());
    const auto& box = polygon.bounds();
    volume.read = readRegion(
        stores, region,
        [&](const NodePoints& node) {
            const Octree::StorePoints& points = node.points;
            for (std::size_t i = 0; i < points.size(); ++i) {
                const auto& p = points.positions[i];
                if (!points.isVisible(i) || p[0] < box.min().x() - margin || p[0] > box.max().x() + margin
                    || p[1] < box.min().y() - margin || p[1] > box.max().y() + margin)
                    continue;
                const HeightGrid::Place place = grid.place(p[0], p[1]);
                if (fit && place.nearEdge && polygon.distanceToEdge(Math::Point<double, 2>(p[0], p[1])) <= cellSize)
                    plane.add(p[0], p[1], p[2]);
                if (!place.inside)
                    continue;
                grid.add(place.cell, p[2]);
                lowest = std::min(lowest, p[2]);
                ++volume.points;
            }
        },
        progress, stop);

    const HeightGrid::Counts counts = grid.finish();
    volume.cells = counts.withPoints;
    volume.filledCells = counts.filled;
    volume.area = polygon.area();
    if (options.base.kind == VolumeBase::Kind::Height) {
        volume.baseHeight = options.base.height;
    } else if (options.base.kind == VolumeBase::Kind::Lowest) {
        volume.baseHeight = lowest;
    } else {
        const Eigen::Vector3d solved = plane.solve(cellSize);
        volume.baseHeight = solved[0];
        volume.baseSlope = solved.tail<2>();
        volume.basePoints = plane.count();
    }
    for (std::size_t row = 0; row < grid.rows(); ++row) {
        for (std::size_t column = 0; column < grid.columns(); ++column) {
            const std::optional<double> height = grid.height(column, row);
            if (!height)
                continue;
            const Math::Polygon::Piece piece = grid.piece(column, row);
            const double base = volume.baseHeight + volume.baseSlope.dot(piece.centroid - polygon.centroid());
            const double difference = *height - base;
            if (difference > 0.0)
                volume.above += difference * piece.area;
            else
                volume.below -= difference * piece.area;
        }
    }
    return volume;
}

} // namespace Measure
