#pragma once

#include <lumaro/math/BoxTestResult.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>

#include <cstddef>
#include <vector>

/// Points, boxes, planes, polygons and colours: the geometry the other libraries share.
namespace Math {

/// A simple polygon in the plane (x, y), in double precision: the footprint of a measured volume,
/// of a clip prism, of a measured area. Its edges join each vertex to the next and the last to
/// the first; they do not cross or touch except where neighbours share a vertex, so the polygon
/// has an inside. Either orientation.
class Polygon {
public:
    /// A vertex, (x, y).
    using Vertex = Point<double, 2>;

    /// Throws std::invalid_argument, naming the problem, for fewer than three vertices, a vertex
    /// that is not finite, two edges that cross or touch (named by their first vertices, counted
    /// from 1), or no area.
    explicit Polygon(std::vector<Vertex> vertices);

    /// The vertices, as given.
    const std::vector<Vertex>& vertices() const { return mVertices; }
    /// The number of vertices.
    std::size_t size() const { return mVertices.size(); }
    /// The area inside, positive whatever the orientation.
    double area() const { return mArea; }
    /// The centre of mass of the inside.
    const Vertex& centroid() const { return mCentroid; }
    /// The smallest rectangle that holds the polygon.
    const NBoundingBox<double, 2>& bounds() const { return mBounds; }

    /// Whether the point lies inside (even-odd rule; a point on an edge may count either way).
    bool contains(const Vertex& point) const;
    /// The distance from the point to the nearest edge.
    double distanceToEdge(const Vertex& point) const;
    /// Where a closed rectangle lies: inside or outside when no edge meets it, otherwise
    /// intersecting. Exact, unlike the conservative box tests of convex volumes.
    BoxTestResult testRectangle(const NBoundingBox<double, 2>& rectangle) const;

    /// The part of a rectangle inside the polygon: its area and its centre of mass (the
    /// rectangle's centre when the area is zero).
    struct Piece {
        /// The area of the part; 0 when the rectangle lies outside.
        double area = 0.0;
        /// Its centre of mass.
        Vertex centroid;
    };
    /// See Piece.
    Piece clip(const NBoundingBox<double, 2>& rectangle) const;

    /// The same vertices in the same order.
    bool operator==(const Polygon& other) const { return mVertices == other.mVertices; }

private:
    std::vector<Vertex> mVertices;
    double mArea = 0.0;
    Vertex mCentroid;
    NBoundingBox<double, 2> mBounds;
};

/// Whether two closed segments ab and cd share a point.
bool segmentsMeet(const Polygon::Vertex& a, const Polygon::Vertex& b, const Polygon::Vertex& c,
                  const Polygon::Vertex& d);

} // namespace Math
