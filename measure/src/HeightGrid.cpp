#include "HeightGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

namespace Measure {

namespace {

constexpr double noHeight = std::numeric_limits<double>::quiet_NaN();

std::size_t cellsAcross(double extent, double cellSize)
{
    const double cells = std::ceil(extent / cellSize);
    if (!(cells < double(HeightGrid::maxCells)))
        return HeightGrid::maxCells + 1;
    return std::max<std::size_t>(1, static_cast<std::size_t>(cells));
}

} // namespace

HeightGrid::HeightGrid(const Math::Polygon& polygon, double cellSize)
    : mPolygon(polygon), mCellSize(cellSize), mOrigin(polygon.bounds().min())
{
    if (!(cellSize > 0.0) || !std::isfinite(cellSize))
        throw std::invalid_argument("the cell size must be a number above 0, not " + std::to_string(cellSize));
    const Eigen::Vector2d extent = polygon.bounds().size();
    mColumns = cellsAcross(extent.x(), cellSize);
    mRows = cellsAcross(extent.y(), cellSize);
    if (mColumns > maxCells || mRows > maxCells || mColumns * mRows > maxCells)
        throw std::invalid_argument("a cell size of " + std::to_string(cellSize) + " makes a grid of more than "
                                    + std::to_string(maxCells) + " cells over the polygon; choose a larger cell");
    mHeights.assign(mColumns * mRows, 0.0);
    mCounts.assign(mColumns * mRows, 0);
    mAreas.assign(mColumns * mRows, 0.0);
    findEdgeCells();
    // Cells that no edge passes through lie wholly inside or outside, alike along a row until the
    // next edge: one containment test a run, an exact clip only where edges pass.
    for (std::size_t row = 0; row < mRows; ++row) {
        std::optional<bool> runInside;
        for (std::size_t column = 0; column < mColumns; ++column) {
            const std::size_t i = index(column, row);
            const Math::NBoundingBox<double, 2> cell = square(column, row);
            if (mEdge[i]) {
                mAreas[i] = polygon.clip(cell).area;
                runInside.reset();
                continue;
            }
            if (!runInside)
                runInside = polygon.contains(cell.center());
            mAreas[i] = *runInside ? cell.size().prod() : 0.0;
        }
    }
}

void HeightGrid::findEdgeCells()
{
    mEdge.assign(mColumns * mRows, 0);
    const auto& vertices = mPolygon.vertices();
    for (std::size_t row = 0; row < mRows; ++row) {
        const Math::NBoundingBox<double, 2> band = square(0, row);
        const double y0 = band.min().y();
        const double y1 = band.max().y();
        for (std::size_t k = 0; k < vertices.size(); ++k) {
            const Math::Point<double, 2>& a = vertices[k];
            const Math::Point<double, 2>& b = vertices[(k + 1) % vertices.size()];
            if (std::max(a.y(), b.y()) < y0 || std::min(a.y(), b.y()) > y1)
                continue;
            // The x range of the part of the edge within the row's band.
            double x0 = std::min(a.x(), b.x());
            double x1 = std::max(a.x(), b.x());
            if (a.y() != b.y()) {
                const double t0 = std::clamp((y0 - a.y()) / (b.y() - a.y()), 0.0, 1.0);
                const double t1 = std::clamp((y1 - a.y()) / (b.y() - a.y()), 0.0, 1.0);
                const double xa = a.x() + t0 * (b.x() - a.x());
                const double xb = a.x() + t1 * (b.x() - a.x());
                x0 = std::min(xa, xb);
                x1 = std::max(xa, xb);
            }
            // A column more on each side: rounding at the cells' borders must not hide an edge.
            const std::size_t first = columnOf(x0);
            const std::size_t last = columnOf(x1);
            for (std::size_t column = first == 0 ? 0 : first - 1; column <= std::min(last + 1, mColumns - 1); ++column)
                mEdge[index(column, row)] = 1;
        }
    }
    mNearEdge.assign(mColumns * mRows, 0);
    for (std::size_t row = 0; row < mRows; ++row)
        for (std::size_t column = 0; column < mColumns; ++column)
            if (mEdge[index(column, row)])
                for (std::size_t r = row == 0 ? 0 : row - 1; r <= std::min(row + 1, mRows - 1); ++r)
                    for (std::size_t c = column == 0 ? 0 : column - 1; c <= std::min(column + 1, mColumns - 1); ++c)
                        mNearEdge[index(c, r)] = 1;
}

std::size_t HeightGrid::columnOf(double x) const
{
    const double at = std::floor((x - mOrigin.x()) / mCellSize);
    return at <= 0.0 ? std::size_t(0) : std::min(static_cast<std::size_t>(at), mColumns - 1);
}

std::size_t HeightGrid::rowOf(double y) const
{
    const double at = std::floor((y - mOrigin.y()) / mCellSize);
    return at <= 0.0 ? std::size_t(0) : std::min(static_cast<std::size_t>(at), mRows - 1);
}

HeightGrid::Place HeightGrid::place(double x, double y) const
{
    const Math::NBoundingBox<double, 2>& bounds = mPolygon.bounds();
    if (x < bounds.min().x() || x > bounds.max().x() || y < bounds.min().y() || y > bounds.max().y())
        return {false, true, 0};
    const std::size_t cell = index(columnOf(x), rowOf(y));
    const bool inside = mEdge[cell] ? mPolygon.contains(Math::Point<double, 2>(x, y)) : mAreas[cell] > 0.0;
    return {inside, mNearEdge[cell] != 0, cell};
}

Math::NBoundingBox<double, 2> HeightGrid::square(std::size_t column, std::size_t row) const
{
    const Math::Point<double, 2> low(mOrigin.x() + double(column) * mCellSize, mOrigin.y() + double(row) * mCellSize);
    return {low, Math::Point<double, 2>(low + Eigen::Vector2d::Constant(mCellSize))};
}

HeightGrid::Counts HeightGrid::finish()
{
    Counts counts;
    for (std::size_t i = 0; i < mHeights.size(); ++i) {
        if (mCounts[i] > 0) {
            mHeights[i] /= double(mCounts[i]);
            ++counts.withPoints;
        } else {
            mHeights[i] = noHeight;
        }
    }
    if (counts.withPoints == 0)
        throw std::runtime_error("no point lies inside the polygon");
    // Ring by ring inward from the cells with points; each ring takes its heights from the cells
    // known before it, so the order within a ring does not matter.
    std::vector<std::size_t> known;
    for (std::size_t i = 0; i < mHeights.size(); ++i)
        if (!std::isnan(mHeights[i]))
            known.push_back(i);
    std::vector<bool> queued(mHeights.size(), false);
    std::vector<std::size_t> ring;
    std::vector<double> ringHeights;
    const auto forNeighbours = [this](std::size_t i, auto&& visit) {
        const std::size_t row = i / mColumns;
        const std::size_t column = i % mColumns;
        for (std::size_t r = row == 0 ? 0 : row - 1; r <= std::min(row + 1, mRows - 1); ++r)
            for (std::size_t c = column == 0 ? 0 : column - 1; c <= std::min(column + 1, mColumns - 1); ++c)
                if (r != row || c != column)
                    visit(index(c, r));
    };
    while (!known.empty()) {
        ring.clear();
        for (const std::size_t i : known)
            forNeighbours(i, [&](std::size_t n) {
                if (mAreas[n] > 0.0 && std::isnan(mHeights[n]) && !queued[n]) {
                    queued[n] = true;
                    ring.push_back(n);
                }
            });
        ringHeights.clear();
        for (const std::size_t i : ring) {
            double sum = 0.0;
            int count = 0;
            forNeighbours(i, [&](std::size_t n) {
                if (!std::isnan(mHeights[n])) {
                    sum += mHeights[n];
                    ++count;
                }
            });
            ringHeights.push_back(sum / count);
        }
        for (std::size_t k = 0; k < ring.size(); ++k)
            mHeights[ring[k]] = ringHeights[k];
        counts.filled += ring.size();
        known.swap(ring);
    }
    return counts;
}

std::optional<double> HeightGrid::height(std::size_t column, std::size_t row) const
{
    const std::size_t i = index(column, row);
    if (!(mAreas[i] > 0.0) || std::isnan(mHeights[i]))
        return std::nullopt;
    return mHeights[i];
}

Math::Polygon::Piece HeightGrid::piece(std::size_t column, std::size_t row) const
{
    const Math::NBoundingBox<double, 2> cell = square(column, row);
    if (mAreas[index(column, row)] >= mCellSize * mCellSize)
        return {mAreas[index(column, row)], cell.center()};
    return mPolygon.clip(cell);
}

} // namespace Measure
