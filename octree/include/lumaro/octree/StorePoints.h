#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <vector>

namespace Octree {

/// The points of one node in the store's own coordinates, at full precision: what exports and
/// measurements read, where the renderer's model floats would round.
struct StorePoints {
    /// World coordinates as the store defines them (stored integer x scale + offset), unscaled.
    std::vector<std::array<double, 3>> positions;
    /// Colours as the store holds them (16-bit LAS values in Potree, EPT and COPC stores); empty
    /// when the store has none.
    std::vector<std::array<std::uint16_t, 3>> colors;
    /// Empty when the store has none.
    std::vector<std::uint16_t> intensities;
    /// Empty when the store has none.
    std::vector<std::uint8_t> classifications;
    /// 0 for a visible point; empty when every point is visible.
    std::vector<std::uint8_t> visibilities;
    /// The quantisation the coordinates lie on (world = integer x scale + offset); for stores that
    /// give only model floats, a scale of 0 says that there is none.
    std::array<double, 3> scale{};
    /// See scale.
    std::array<double, 3> offset{};

    /// The number of points.
    std::size_t size() const { return positions.size(); }
    /// Whether the point is visible (stores without a visibility column show every point).
    bool isVisible(std::size_t i) const { return visibilities.empty() || visibilities[i] == 0; }
};

/// Reads and decodes the points of `node`: Potree, EPT and COPC stores exactly as stored; other
/// kinds of store through their model floats (reference position plus model coordinates, divided
/// by the unit scale), with 8-bit colours. std::nullopt when `stop` was signalled first; throws
/// what reading the node throws (std::runtime_error naming the file, std::invalid_argument for a
/// node that is not in the tree).
std::optional<StorePoints> storePoints(const Octree& tree, OctreeNodeId node, std::stop_token stop);

} // namespace Octree
