#include "GridSampler.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace Index {

namespace {

struct Cell {
    std::uint32_t id = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t candidate = 0;
    float distance = 0;
};

} // namespace

std::vector<std::uint32_t> GridSampler::sample(Octree::OctreeNodeId node, const char* records,
                                               const std::vector<std::uint32_t>& candidates) const
{
    // Positions in units of the node's edge, relative to its corner.
    const Cube cube = mCoder.cubeOf(node);
    std::vector<std::array<float, 3>> units(candidates.size());
    for (std::size_t c = 0; c < candidates.size(); ++c) {
        const char* record = records + std::size_t{candidates[c]} * mRecordLength;
        for (int axis = 0; axis < 3; ++axis) {
            const double world =
                loadField<std::int32_t>(record, 4 * axis) * mCoder.scale()[axis] + mCoder.offset()[axis];
            units[c][axis] = static_cast<float>((world - cube.minimum[axis]) / cube.edge);
        }
    }
    std::vector<std::uint32_t> kept;
    for (unsigned cells = CELLS_PER_EDGE; cells >= 1; cells /= 2) {
        kept = sampleOnGrid(units, cells);
        if (kept.size() <= mMaxPoints || cells == 1) {
            break;
        }
    }
    return kept;
}

std::vector<std::uint32_t> GridSampler::sampleOnGrid(const std::vector<std::array<float, 3>>& units,
                                                     unsigned cells) const
{
    const std::size_t tableSize = std::bit_ceil(std::max<std::size_t>(2 * units.size(), 16));
    const std::size_t mask = tableSize - 1;
    std::vector<Cell> table(tableSize);
    const float scale = static_cast<float>(cells);
    for (std::size_t c = 0; c < units.size(); ++c) {
        std::uint32_t id = 0;
        float distance = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float position = units[c][axis] * scale;
            const float cell = std::clamp(std::floor(position), 0.0f, scale - 1.0f);
            const float fromCentre = position - cell - 0.5f;
            distance += fromCentre * fromCentre;
            id = id * cells + static_cast<std::uint32_t>(cell);
        }
        std::size_t slot = (id * std::size_t{0x9E3779B1u}) & mask;
        while (table[slot].id != id && table[slot].id != std::numeric_limits<std::uint32_t>::max()) {
            slot = (slot + 1) & mask;
        }
        Cell& entry = table[slot];
        if (entry.id != id) {
            entry = Cell{id, static_cast<std::uint32_t>(c), distance};
        } else if (distance < entry.distance) {
            entry.candidate = static_cast<std::uint32_t>(c);
            entry.distance = distance;
        }
    }
    std::vector<std::uint32_t> kept;
    for (const Cell& entry : table) {
        if (entry.id != std::numeric_limits<std::uint32_t>::max()) {
            kept.push_back(entry.candidate);
        }
    }
    std::sort(kept.begin(), kept.end());
    return kept;
}

} // namespace Index
