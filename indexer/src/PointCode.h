#pragma once

#include "InputSet.h"
#include "PointRecord.h"

#include <lumaro/octree/OctreeNodeId.h>

#include <cmath>
#include <cstdint>

namespace Index {

// A point's place in the octree: the path from the root to its cell at the deepest level, three
// bits a level in OctreeNodeId's child order (4 = upper x, 2 = upper y, 1 = upper z half). The
// node of level L that holds the point is the code's top 3L bits; points sorted by code are sorted
// depth-first, so every node's points are one run of them.
class PointCoder {
public:
    static constexpr unsigned DEPTH = static_cast<unsigned>(Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL);

    PointCoder(const Cube& cube, const std::array<double, 3>& scale, const std::array<double, 3>& offset)
        : mCube(cube), mScale(scale), mOffset(offset)
    {}

    // False when the point lies outside the cube.
    bool code(const char* record, std::uint64_t& code) const
    {
        constexpr double cells = double(1u << DEPTH);
        std::uint64_t spread[3];
        for (int axis = 0; axis < 3; ++axis) {
            const double world = loadField<std::int32_t>(record, 4 * axis) * mScale[axis] + mOffset[axis];
            const double unit = (world - mCube.minimum[axis]) / mCube.edge;
            if (!(unit >= 0.0 && unit <= 1.0)) {
                return false;
            }
            const auto cell = static_cast<std::uint64_t>(std::min(unit * cells, cells - 1.0));
            spread[axis] = spreadBits(cell);
        }
        code = (spread[0] << 2) | (spread[1] << 1) | spread[2];
        return true;
    }

    static Octree::OctreeNodeId nodeAt(std::uint64_t code, unsigned level)
    {
        return Octree::OctreeNodeId::fromValue((std::uint64_t{1} << (3 * level)) | (code >> (3 * (DEPTH - level))));
    }

    // The node's cube: its corner and edge.
    Cube cubeOf(Octree::OctreeNodeId node) const
    {
        const auto cell = node.gridPosition();
        const double edge = mCube.edge / double(std::uint64_t{1} << node.level());
        Cube cube;
        for (int axis = 0; axis < 3; ++axis) {
            cube.minimum[axis] = mCube.minimum[axis] + cell[axis] * edge;
        }
        cube.edge = edge;
        return cube;
    }

    const std::array<double, 3>& scale() const { return mScale; }
    const std::array<double, 3>& offset() const { return mOffset; }

private:
    static std::uint64_t spreadBits(std::uint64_t v)
    {
        v &= 0x1FFFFFu;
        v = (v | v << 32) & 0x1F00000000FFFFu;
        v = (v | v << 16) & 0x1F0000FF0000FFu;
        v = (v | v << 8) & 0x100F00F00F00F00Fu;
        v = (v | v << 4) & 0x10C30C30C30C30C3u;
        v = (v | v << 2) & 0x1249249249249249u;
        return v;
    }

    Cube mCube;
    std::array<double, 3> mScale;
    std::array<double, 3> mOffset;
};

} // namespace Index
