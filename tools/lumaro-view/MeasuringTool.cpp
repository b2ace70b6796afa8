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
        std::snprintf(line, sizeof line, "area %.2f in plan, %.2f in space, perimeter %.2f", area.horizontal, area.spatial,
                      area.perimeter);
    }
    return line;
}

void MeasuringTool::toggle(Mode mode)
{
    m_mode = m_mode == mode ? Mode::Off : mode;
    m_points.clear();
    m_last.reset();
}

bool MeasuringTool::undo()
{
    if (m_points.empty())
        return false;
    m_points.pop_back();
    return true;
}

std::optional<Measurement> MeasuringTool::add(const Eigen::Vector3d& point)
{
    if (m_mode == Mode::Off)
        return std::nullopt;
    if (m_mode == Mode::Line && m_points.size() == 2)
        m_points.clear();
    m_points.push_back(point);
    if (m_mode != Mode::Line || m_points.size() < 2)
        return std::nullopt;
    Measurement line;
    line.kind = Measurement::Kind::Line;
    line.points = m_points;
    line.segment = Measure::measureSegment(m_points[0], m_points[1]);
    m_last = line;
    return line;
}

Measurement MeasuringTool::close()
{
    if (m_mode != Mode::Polygon)
        throw std::invalid_argument("only a polygon closes (P starts one)");
    Measurement polygon;
    polygon.kind = Measurement::Kind::Polygon;
    polygon.points = m_points;
    polygon.footprint = footprintOf(m_points); // throws for points that make no polygon
    polygon.area = Measure::measureArea(m_points);
    m_last = polygon;
    m_points.clear();
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
    if (m_last && m_last->kind == Measurement::Kind::Line && m_points.size() != 1) {
        add(alongSegment(m_last->points[0] - origin, m_last->points[1] - origin, marker));
    } else if (m_last && m_last->kind == Measurement::Kind::Polygon && m_points.empty()
               && m_last->footprint->size() <= roomForVertices) {
        std::vector<Math::Point<double, 2>> corners;
        for (const Math::Point<double, 2>& corner : m_last->footprint->vertices())
            corners.emplace_back(corner - origin.head<2>());
        add(Render::ClipPrism{Math::Polygon(corners)});
    }
    for (const Eigen::Vector3d& point : m_points)
        add(Math::OrientedBox(Math::Point<double, 3>(point - origin), Eigen::Vector3d::Constant(0.5 * marker)));
    return volumes;
}

std::string MeasuringTool::status() const
{
    if (m_mode == Mode::Off)
        return "";
    const std::string points = std::to_string(m_points.size()) + (m_points.size() == 1 ? " point" : " points");
    if (m_mode == Mode::Line)
        return "measuring lines: click two points (" + points + ")";
    return "measuring a polygon: click its corners, Enter closes (" + points + ")";
}

} // namespace Tool
