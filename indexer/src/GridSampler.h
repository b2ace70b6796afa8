#pragma once

#include "PointCode.h"

#include <lumaro/octree/OctreeNodeId.h>

#include <cstdint>
#include <vector>

namespace Index {

// Picks the points a node keeps from the points of its children: the node's cube is divided into
// a grid of CELLS_PER_EDGE cells per axis (so cell size = COPC spacing at the node's level) and in
// every cell the point nearest the cell's centre is taken. Each level thus covers the footprint
// evenly at twice the spacing of the level below, without holes where data are and without
// clumps where cells meet. A node that would keep more than `maxPoints` (volumes rather than
// surfaces) is sampled on a grid half as fine, until it keeps few enough.
class GridSampler {
public:
    static constexpr unsigned CELLS_PER_EDGE = 128;

    GridSampler(const PointCoder& coder, std::size_t recordLength, std::size_t maxPoints)
        : mCoder(coder), mRecordLength(recordLength), mMaxPoints(maxPoints)
    {}

    // Positions in `candidates` (ascending) of the points the node keeps; `candidates` are
    // indices of records in `records`.
    std::vector<std::uint32_t> sample(Octree::OctreeNodeId node, const char* records,
                                      const std::vector<std::uint32_t>& candidates) const;

private:
    std::vector<std::uint32_t> sampleOnGrid(const std::vector<std::array<float, 3>>& units, unsigned cells) const;

    const PointCoder& mCoder;
    std::size_t mRecordLength;
    std::size_t mMaxPoints;
};

} // namespace Index
