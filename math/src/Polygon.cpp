#include <lumaro/math/Polygon.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace Math {

namespace {

using Vertex = Polygon::Vertex;

double cross(const Vertex& o, const Vertex& a, const Vertex& b)
{
    return (a.x() - o.x()) * (b.y() - o.y()) - (a.y() - o.y()) * (b.x() - o.x());
}

int sign(double value)
{
    return (value > 0.0) - (value < 0.0);
}

// Whether p, known to lie on the line through a and b, lies on the segment.
bool onSegment(const Vertex& a, const Vertex& b, const Vertex& p)
{
    return std::min(a.x(), b.x()) <= p.x() && p.x() <= std::max(a.x(), b.x()) && std::min(a.y(), b.y()) <= p.y()
        && p.y() <= std::max(a.y(), b.y());
}

// The signed area (positive counter-clockwise) and the first moments of a closed vertex ring: the
// shoelace formula, which holds for rings that touch themselves, as clipped rings do.
struct Moments {
    double area = 0.0;
    Vertex centroid;
};

Moments moments(const std::vector<Vertex>& ring)
{
    double twiceArea = 0.0;
    double cx = 0.0;
    double cy = 0.0;
    if (ring.empty())
        return {};
    // Relative to the first vertex, so that georeferenced coordinates keep their digits.
    const Vertex origin = ring.front();
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Vertex a = ring[i] - origin;
        const Vertex b = ring[(i + 1) % ring.size()] - origin;
        const double term = a.x() * b.y() - b.x() * a.y();
        twiceArea += term;
        cx += (a.x() + b.x()) * term;
        cy += (a.y() + b.y()) * term;
    }
    Moments result;
    result.area = 0.5 * twiceArea;
    result.centroid =
        twiceArea == 0.0 ? origin : Vertex(origin + Vertex(cx / (3.0 * twiceArea), cy / (3.0 * twiceArea)));
    return result;
}

// Keeps the part of a ring on the inner side of one edge of a rectangle (Sutherland-Hodgman).
template <typename Inside, typename Cut>
std::vector<Vertex> clipRing(const std::vector<Vertex>& ring, Inside inside, Cut cut)
{
    std::vector<Vertex> kept;
    kept.reserve(ring.size() + 4);
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Vertex& current = ring[i];
        const Vertex& previous = ring[(i + ring.size() - 1) % ring.size()];
        const bool currentIn = inside(current);
        if (currentIn != inside(previous))
            kept.push_back(cut(previous, current));
        if (currentIn)
            kept.push_back(current);
    }
    return kept;
}

// The point of segment ab where coordinate `axis` has `value`.
Vertex at(const Vertex& a, const Vertex& b, int axis, double value)
{
    const double t = (value - a[axis]) / (b[axis] - a[axis]);
    Vertex point = a + t * (b - a);
    point[axis] = value;
    return point;
}

// Whether the closed segment ab meets the closed rectangle (Liang-Barsky).
bool segmentMeetsRectangle(const Vertex& a, const Vertex& b, const NBoundingBox<double, 2>& rectangle)
{
    double enter = 0.0;
    double leave = 1.0;
    for (int axis = 0; axis < 2; ++axis) {
        const double delta = b[axis] - a[axis];
        const double low = rectangle.min()[axis];
        const double high = rectangle.max()[axis];
        if (delta == 0.0) {
            if (a[axis] < low || a[axis] > high)
                return false;
            continue;
        }
        double t0 = (low - a[axis]) / delta;
        double t1 = (high - a[axis]) / delta;
        if (t0 > t1)
            std::swap(t0, t1);
        enter = std::max(enter, t0);
        leave = std::min(leave, t1);
        if (enter > leave)
            return false;
    }
    return true;
}

} // namespace

bool segmentsMeet(const Vertex& a, const Vertex& b, const Vertex& c, const Vertex& d)
{
    const int d1 = sign(cross(c, d, a));
    const int d2 = sign(cross(c, d, b));
    const int d3 = sign(cross(a, b, c));
    const int d4 = sign(cross(a, b, d));
    if (d1 * d2 < 0 && d3 * d4 < 0)
        return true;
    return (d1 == 0 && onSegment(c, d, a)) || (d2 == 0 && onSegment(c, d, b)) || (d3 == 0 && onSegment(a, b, c))
        || (d4 == 0 && onSegment(a, b, d));
}

Polygon::Polygon(std::vector<Vertex> vertices) : mVertices(std::move(vertices))
{
    const std::size_t n = mVertices.size();
    if (n < 3)
        throw std::invalid_argument("a polygon needs at least three vertices, not " + std::to_string(n));
    for (std::size_t i = 0; i < n; ++i) {
        if (!mVertices[i].allFinite())
            throw std::invalid_argument("vertex " + std::to_string(i + 1) + " of the polygon is not a finite point");
        mBounds.extend(mVertices[i]);
    }
    for (std::size_t i = 0; i < n; ++i)
        if (mVertices[i] == mVertices[(i + 1) % n])
            throw std::invalid_argument(
                "vertex " + std::to_string(i + 1 < n ? i + 2 : n) + " of the polygon is the same point as vertex "
                + std::to_string(i + 1 < n ? i + 1 : 1) + " (a polygon closes without repeating its first vertex)");
    bool onOneLine = true;
    for (std::size_t i = 2; i < n && onOneLine; ++i)
        onOneLine = cross(mVertices[0], mVertices[1], mVertices[i]) == 0.0;
    if (onOneLine)
        throw std::invalid_argument("the polygon has no area: its vertices lie on one line");
    // Edge i runs from vertex i to vertex i + 1. Neighbouring edges share a vertex and may meet
    // only there: they must not fold back along each other.
    for (std::size_t i = 0; i < n; ++i) {
        const Vertex& a = mVertices[i];
        const Vertex& b = mVertices[(i + 1) % n];
        for (std::size_t j = i + 1; j < n; ++j) {
            const Vertex& c = mVertices[j];
            const Vertex& d = mVertices[(j + 1) % n];
            const bool next = j == i + 1;
            const bool previous = i == 0 && j == n - 1;
            bool meet = false;
            if (next)
                meet = cross(a, b, d) == 0.0 && (b - a).dot(d - b) < 0.0;
            else if (previous)
                meet = cross(c, a, b) == 0.0 && (a - c).dot(b - a) < 0.0;
            else
                meet = segmentsMeet(a, b, c, d);
            if (meet)
                throw std::invalid_argument("the polygon's edges from vertex " + std::to_string(i + 1)
                                            + " and from vertex " + std::to_string(j + 1)
                                            + " cross or touch: it must not cross itself");
        }
    }
    const Moments whole = moments(mVertices);
    mArea = std::abs(whole.area);
    mCentroid = whole.centroid;
    if (!(mArea > 0.0))
        throw std::invalid_argument("the polygon has no area");
}

bool Polygon::contains(const Vertex& point) const
{
    bool inside = false;
    const std::size_t n = mVertices.size();
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
        const Vertex& a = mVertices[i];
        const Vertex& b = mVertices[j];
        if ((a.y() > point.y()) != (b.y() > point.y())) {
            const double x = a.x() + (point.y() - a.y()) * (b.x() - a.x()) / (b.y() - a.y());
            if (point.x() < x)
                inside = !inside;
        }
    }
    return inside;
}

double Polygon::distanceToEdge(const Vertex& point) const
{
    double nearest = std::numeric_limits<double>::infinity();
    const std::size_t n = mVertices.size();
    for (std::size_t i = 0; i < n; ++i) {
        const Vertex& a = mVertices[i];
        const Vertex& b = mVertices[(i + 1) % n];
        const Eigen::Vector2d edge = b - a;
        const double t = std::clamp((point - a).dot(edge) / edge.squaredNorm(), 0.0, 1.0);
        nearest = std::min(nearest, (point - (a + t * edge)).norm());
    }
    return nearest;
}

BoxTestResult Polygon::testRectangle(const NBoundingBox<double, 2>& rectangle) const
{
    if (!mBounds.intersects(rectangle))
        return BoxTestResult::Outside;
    const std::size_t n = mVertices.size();
    for (std::size_t i = 0; i < n; ++i)
        if (segmentMeetsRectangle(mVertices[i], mVertices[(i + 1) % n], rectangle))
            return BoxTestResult::Intersecting;
    // No edge meets it: the rectangle lies wholly on one side.
    return contains(rectangle.center()) ? BoxTestResult::Inside : BoxTestResult::Outside;
}

Polygon::Piece Polygon::clip(const NBoundingBox<double, 2>& rectangle) const
{
    const BoxTestResult where = testRectangle(rectangle);
    if (where == BoxTestResult::Outside)
        return {0.0, rectangle.center()};
    if (where == BoxTestResult::Inside)
        return {rectangle.size().prod(), rectangle.center()};
    std::vector<Vertex> ring = mVertices;
    for (int axis = 0; axis < 2; ++axis) {
        const double low = rectangle.min()[axis];
        const double high = rectangle.max()[axis];
        ring = clipRing(
            ring, [&](const Vertex& p) { return p[axis] >= low; },
            [&](const Vertex& a, const Vertex& b) { return at(a, b, axis, low); });
        ring = clipRing(
            ring, [&](const Vertex& p) { return p[axis] <= high; },
            [&](const Vertex& a, const Vertex& b) { return at(a, b, axis, high); });
    }
    const Moments part = moments(ring);
    if (part.area == 0.0)
        return {0.0, rectangle.center()};
    return {std::abs(part.area), part.centroid};
}

} // namespace Math
