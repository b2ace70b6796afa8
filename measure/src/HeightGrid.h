#pragma once

#include <lumaro/math/Polygon.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Measure {

// The scanned surface over a polygon as a grid of square cells aligned with the polygon's bounds:
// each cell's mean height, then heights for the polygon's empty cells from their neighbours.
class HeightGrid {
public:
    static constexpr std::size_t maxCells = std::size_t(1) << 22;

    // Throws std::invalid_argument for a cell size that is not above 0 or a grid of more than
    // maxCells cells.
    HeightGrid(const Math::Polygon& polygon, double cellSize);

    std::size_t columns() const { return mColumns; }
    std::size_t rows() const { return mRows; }

    // Where a point in plan lies, known from its cell where the polygon's edges do not pass
    // through it: `inside`, and `nearEdge` when it may lie within one cell of an edge (its cell or
    // a neighbour holds an edge, or it lies beyond the grid). `cell` is its cell, when inside.
    struct Place {
        bool inside = false;
        bool nearEdge = true;
        std::size_t cell = 0;
    };
    Place place(double x, double y) const;

    // Adds the height of a point inside the polygon, in the cell place() gave.
    void add(std::size_t cell, double z)
    {
        mHeights[cell] += z;
        ++mCounts[cell];
    }

    // The cell's square.
    Math::NBoundingBox<double, 2> square(std::size_t column, std::size_t row) const;

    // Turns the sums into mean heights and gives the polygon's empty cells the mean of their
    // neighbours, ring by ring. Returns the cells with points and the cells filled. Throws
    // std::runtime_error when no cell has points.
    struct Counts {
        std::size_t withPoints = 0;
        std::size_t filled = 0;
    };
    Counts finish();

    // After finish(): the cell's height; nothing for a cell outside the polygon.
    std::optional<double> height(std::size_t column, std::size_t row) const;
    // The part of the cell's square inside the polygon.
    Math::Polygon::Piece piece(std::size_t column, std::size_t row) const;

private:
    std::size_t index(std::size_t column, std::size_t row) const { return row * mColumns + column; }

    const Math::Polygon& mPolygon;
    double mCellSize;
    Math::Point<double, 2> mOrigin;
    std::size_t mColumns = 0;
    std::size_t mRows = 0;
    std::vector<double> mHeights; // sums until finish()
    std::vector<std::uint32_t> mCounts;
    std::vector<double> mAreas; // of the part of the cell's square inside the polygon
    // Per cell: an edge of the polygon may pass through it; one passes through it or a neighbour.
    std::vector<std::uint8_t> mEdge;
    std::vector<std::uint8_t> mNearEdge;

    // Marks the cells of each row that the edges pass through, and their neighbours.
    void findEdgeCells();
    // The column of an x, clamped to the grid.
    std::size_t columnOf(double x) const;
    std::size_t rowOf(double y) const;
};

} // namespace Measure
