#pragma once

#include <lumaro/math/Polygon.h>
#include <lumaro/measure/PickedPoints.h>
#include <lumaro/render/core/ClipVolumes.h>

#include <Eigen/Core>

#include <optional>
#include <string>
#include <vector>

namespace Tool {

// A measurement of picked points, in the stores' coordinates.
struct Measurement {
    enum class Kind {
        Line,
        Polygon
    };
    Kind kind = Kind::Line;
    std::vector<Eigen::Vector3d> points;
    // Line: from the first point to the second.
    Measure::Segment segment;
    // Polygon: its area, and its outline in plan, over which a volume can be measured.
    Measure::Area area;
    std::optional<Math::Polygon> footprint;

    // One line for the title bar and the console: "distance 12.346 horizontal 12.000 height
    // +2.900 slope 24.2 % (13.6 deg)", "area 120.50 in plan, 130.20 in space, perimeter 44.10".
    std::string text() const;
};

// The viewer's measuring tool, without a window: picked points become measurements. In line mode
// every two points make a line (distance, height difference, slope); in polygon mode points make
// an outline that Enter closes (area; the window measures the volume over it).
class MeasuringTool {
public:
    enum class Mode {
        Off,
        Line,
        Polygon
    };

    Mode mode() const { return mMode; }
    // Starts measuring in `mode`, dropping the points picked so far; the mode that runs stops.
    void toggle(Mode mode);
    // Drops the points picked so far; the mode stays.
    void cancel() { mPoints.clear(); }
    // Drops the last point picked; false when there was none.
    bool undo();

    // A picked point (stores' coordinates). A second point of a line makes its measurement, and
    // the next line starts afresh; a polygon's points wait for close().
    std::optional<Measurement> add(const Eigen::Vector3d& point);
    // Closes the polygon: its measurement. Throws std::invalid_argument, keeping the points, when
    // they make no polygon (fewer than three, crossing itself, no area in plan).
    Measurement close();

    // The points of the measurement under way.
    const std::vector<Eigen::Vector3d>& points() const { return mPoints; }
    // The last measurement made, shown until the next one starts.
    const std::optional<Measurement>& last() const { return mLast; }

    // What shows the points and the last measurement in the scene, as highlighting clip volumes
    // in scene coordinates (the stores' less `origin`): a cube of `marker` edge at each point, a
    // box of that width along a measured line, a prism over a measured polygon; no more than
    // `room` volumes and `roomForVertices` polygon vertices.
    Render::ClipVolumes highlights(const Eigen::Vector3d& origin, double marker, std::size_t room,
                                   std::size_t roomForVertices) const;
    // A one-line description of the mode and the points picked, for the title bar.
    std::string status() const;

private:
    Mode mMode = Mode::Off;
    std::vector<Eigen::Vector3d> mPoints;
    std::optional<Measurement> mLast;
};

} // namespace Tool
