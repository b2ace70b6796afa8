#pragma once

#include <lumaro/octree/PointAttributes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Octree {

// The points of one node as a store holds them, alike for every kind of store and encoding:
// quantised integer coordinates (world = integer x scale + offset, with the store's own scale
// and offset; the Potree Brotli layout's extra one already removed) and colours in the store's
// own range (16-bit LAS values). Columns of attributes that were not asked for or that the store
// lacks are empty; `attributes` tells which are filled.
struct RawPoints {
    PointAttributes attributes;
    std::size_t count = 0;
    std::vector<std::array<std::int64_t, 3>> positions;
    std::vector<std::array<std::uint16_t, 3>> colors;
    std::vector<std::uint16_t> intensities;
    std::vector<std::uint8_t> classifications;
    std::vector<std::uint32_t> scanIndices;
    std::vector<std::uint8_t> visibilities;
    std::vector<std::array<float, 3>> normals;
};

} // namespace Octree
