#include "Corridor.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace Measure {

namespace {

// The left of a direction, a quarter turn counter-clockwise.
Eigen::Vector2d leftOf(const Eigen::Vector2d& direction)
{
    return {-direction.y(), direction.x()};
}

std::string number(double value)
{
    std::string text = std::to_string(value);
    while (text.find('.') != std::string::npos && (text.back() == '0' || text.back() == '.')) {
        const bool point = text.back() == '.';
        text.pop_back();
        if (point)
            break;
    }
    return text;
}

} // namespace

Corridor::Corridor(const ProfileOptions& options)
    : mHalfWidth(0.5 * options.width), mLowest(options.lowest), mHighest(options.highest)
{
    const auto& line = options.line;
    if (line.size() < 2)
        throw std::invalid_argument("a profile's line needs at least two points, not " + std::to_string(line.size()));
    if (!(options.width > 0.0) || !std::isfinite(options.width))
        throw std::invalid_argument("the corridor's width must be a number above 0, not " + number(options.width));
    if (std::isnan(options.lowest) || std::isnan(options.highest) || !(options.lowest <= options.highest))
        throw std::invalid_argument("the corridor's lowest height " + number(options.lowest)
                                    + " must not lie above its highest " + number(options.highest));
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        if (!line[i].allFinite() || !line[i + 1].allFinite())
            throw std::invalid_argument("the profile's line has a point that is not finite");
        const Eigen::Vector2d step = line[i + 1] - line[i];
        const double length = step.norm();
        if (!(length > 0.0))
            throw std::invalid_argument("points " + std::to_string(i + 1) + " and " + std::to_string(i + 2)
                                        + " of the profile's line are the same point (" + number(line[i].x()) + ", "
                                        + number(line[i].y()) + ")");
        const Eigen::Vector2d direction = step / length;
        mSegments.push_back({line[i], direction, length, mLength});
        mLength += length;
        const Eigen::Vector2d side = mHalfWidth * leftOf(direction);
        mRectangles.emplace_back(std::vector<Math::Point<double, 2>>{line[i] - side, line[i + 1] - side,
                                                                     line[i + 1] + side, line[i] + side});
        mBounds.extend(mRectangles.back().bounds());
    }
}

Math::BoxTestResult Corridor::testCube(const Math::NBoundingBox<double, 3>& cube) const
{
    if (cube.isEmpty() || cube.max().z() < mLowest || cube.min().z() > mHighest)
        return Math::BoxTestResult::Outside;
    const Math::NBoundingBox<double, 2> plan(Math::Point<double, 2>(cube.min().head<2>()),
                                             Math::Point<double, 2>(cube.max().head<2>()));
    Math::BoxTestResult result = Math::BoxTestResult::Outside;
    for (const Math::Polygon& rectangle : mRectangles) {
        const Math::BoxTestResult single = rectangle.testRectangle(plan);
        if (single == Math::BoxTestResult::Inside && cube.min().z() >= mLowest && cube.max().z() <= mHighest)
            return Math::BoxTestResult::Inside;
        if (single != Math::BoxTestResult::Outside)
            result = Math::BoxTestResult::Intersecting;
    }
    return result;
}

std::optional<Corridor::Place> Corridor::place(const std::array<double, 3>& point) const
{
    if (!(point[2] >= mLowest && point[2] <= mHighest))
        return std::nullopt;
    std::optional<Place> best;
    for (const Segment& segment : mSegments) {
        const Eigen::Vector2d offset(point[0] - segment.start.x(), point[1] - segment.start.y());
        const double along = offset.dot(segment.direction);
        const double across = offset.dot(leftOf(segment.direction));
        if (along < 0.0 || along > segment.length || std::abs(across) > mHalfWidth)
            continue;
        if (!best || std::abs(across) < std::abs(best->across))
            best = Place{segment.before + along, across};
    }
    return best;
}

} // namespace Measure
