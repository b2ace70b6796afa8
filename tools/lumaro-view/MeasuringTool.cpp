#include "MeasuringTool.h"

#include <Eigen/Geometry>

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace Tool {

namespace {

Math::Polygon footprintOf(const std::vector<Eigen::Vector3d>& points)
{
    std::vector<Math::Point<double, 2>> corners;
    for (const Eigen::Vector3d& point : points)
        corners.emplace_back(point.x(), point.y());
    return Math::Polygon(corners);
}

// A box of `width` across and up around the segment ab, turned to follow it.
Math::OrientedBox alongSegment(const Eigen::Vector3d& a, const Eigen::Vector3d& b, double width)
{
    const Eigen::Vector3d along = b - a;
    const double length = along.norm();
    const Eigen::Vector3d halfExtents(0.5 * length + 0.5 * width, 0.5 * width, 0.5 * width);
    Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
    if (length > 0.0) {
        rotation = Eigen::Quaterniond::FromTwoVectors(Eigen::Vector3d::UnitX(), along / length).toRotationMatrix();
    }
    return Math::OrientedBox(Math::Point<double, 3>(0.5 * (a + b)), halfExtents, rotation);
}

} // namespace

std::string Measurement::text() const
{
    char line[256];
    if (kind == Kind::Line) {
        char slope[64];
        if (std::isinf(segment.slopePercent))
            std::snprintf(slope, sizeof slope, "vertical");
        else
            std::snprintf(slope, sizeof slope, "%.1f %% (%.1f deg)", segment.slopePercent, segment.slopeDegrees);
        std::snprintf(line, sizeof line, "distance %.3f horizontal %.3f height %+.3f slope %s", segment.distance,
                      segment.horizontal, segment.heightDifference, slope);
    } else {
        std::snprintf(line, sizeof line, "area %.2f in plan, %.2f in space, perimeter %.2f", area.horizontal,
                      area.spatial, area.perimeter);
    }
    return line;
}

void MeasuringTool::toggle(Mode mode)
{
    mMode = mMode == mode ? Mode::Off : mode;
    mPoints.clear();
    mLast.reset();
}

bool MeasuringTool::undo()
{
    if (mPoints.empty())
        return false;
    mPoints.pop_back();
    return true;
}

std::optional<Measurement> MeasuringTool::add(const Eigen::Vector3d& point)
{
    if (mMode == Mode::Off)
        return std::nullopt;
    if (mMode == Mode::Line && mPoints.size() == 2)
        mPoints.clear();
    mPoints.push_back(point);
    if (mMode != Mode::Line || mPoints.size() < 2)
        return std::nullopt;
    Measurement line;
    line.kind = Measurement::Kind::Line;
    line.points = mPoints;
    line.segment = Measure::measureSegment(mPoints[0], mPoints[1]);
    mLast = line;
    return line;
}

Measurement MeasuringTool::close()
{
    if (mMode != Mode::Polygon)
        throw std::invalid_argument("only a polygon closes (P starts one)");
    Measurement polygon;
    polygon.kind = Measurement::Kind::Polygon;
    polygon.points = mPoints;
    polygon.footprint = footprintOf(mPoints); // throws for points that make no polygon
    polygon.area = Measure::measureArea(mPoints);
    mLast = polygon;
    mPoints.clear();
    return polygon;
}

Render::ClipVolumes MeasuringTool::highlights(const Eigen::Vector3d& origin, double marker, std::size_t room,
                                              std::size_t roomForVertices) const
{
    Render::ClipVolumes volumes;
    const auto add = [&](const Render::ClipVolumes::Shape& shape) {
        if (volumes.volumes().size() < room)
            volumes.add(shape, Render::ClipEffect::Highlight);
    };
    if (mLast && mLast->kind == Measurement::Kind::Line && mPoints.size() != 1) {
        add(alongSegment(mLast->points[0] - origin, mLast->points[1] - origin, marker));
    } else if (mLast && mLast->kind == Measurement::Kind::Polygon && mPoints.empty()
               && mLast->footprint->size() <= roomForVertices) {
        std::vector<Math::Point<double, 2>> corners;
        for (const Math::Point<double, 2>& corner : mLast->footprint->vertices())
            corners.emplace_back(corner - origin.head<2>());
        add(Render::ClipPrism{Math::Polygon(corners)});
    }
    for (const Eigen::Vector3d& point : mPoints)
        add(Math::OrientedBox(Math::Point<double, 3>(point - origin), Eigen::Vector3d::Constant(0.5 * marker)));
    return volumes;
}

std::string MeasuringTool::status() const
{
    if (mMode == Mode::Off)
        return "";
    const std::string points = std::to_string(mPoints.size()) + (mPoints.size() == 1 ? " point" : " points");
    if (mMode == Mode::Line)
        return "measuring lines: click two points (" + points + ")";
    return "measuring a polygon: click its corners, Enter closes (" + points + ")";
}

} // namespace Tool
