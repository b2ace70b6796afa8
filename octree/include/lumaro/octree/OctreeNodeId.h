#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Octree {

// Identifies a node of an octree by its path from the root, packed into 64 bits: a leading 1 bit
// followed by three bits per level, the child index of each step (4 = upper x half, 2 = upper y
// half, 1 = upper z half). The leading bit makes the level recoverable from the bit width, so 21
// levels fit into one machine word and ids hash and compare as plain integers.
class OctreeNodeId {
public:
    static constexpr std::size_t MAX_REPRESENTABLE_LEVEL = 21;

    // The root.
    constexpr OctreeNodeId() = default;

    static constexpr OctreeNodeId root() { return OctreeNodeId(); }

    // Throws std::invalid_argument when `value` is not an id made by this class (no leading bit,
    // or a bit width that is not one plus a multiple of three).
    static OctreeNodeId fromValue(std::uint64_t value);

    // The node of `level` whose cell is (x, y, z) in the grid of 2^level cells per axis. Throws
    // std::invalid_argument when the level is too deep or a coordinate lies outside the grid.
    static OctreeNodeId fromGridPosition(std::size_t level, std::uint32_t x, std::uint32_t y, std::uint32_t z);

    // Parses the conventional name: "r" for the root, then one digit 0-7 per level ("r0", "r40").
    static OctreeNodeId fromName(std::string_view name);

    constexpr std::uint64_t value() const { return mValue; }

    constexpr std::size_t level() const { return (static_cast<std::size_t>(std::bit_width(mValue)) - 1) / 3; }

    constexpr bool isRoot() const { return mValue == 1; }

    // Child `index` (0-7). Throws std::out_of_range for an index above 7 or when this node already
    // sits at MAX_REPRESENTABLE_LEVEL.
    OctreeNodeId child(std::size_t index) const;

    // Throws std::logic_error for the root.
    OctreeNodeId parent() const;

    // The index of this node among its parent's children; 0 for the root.
    constexpr std::size_t childIndex() const { return isRoot() ? 0 : static_cast<std::size_t>(mValue & 7u); }

    // Cell coordinates (x, y, z) of this node in the grid of its level.
    std::array<std::uint32_t, 3> gridPosition() const;

    std::string name() const;

    friend constexpr bool operator==(OctreeNodeId, OctreeNodeId) = default;
    friend constexpr auto operator<=>(OctreeNodeId, OctreeNodeId) = default;

private:
    constexpr explicit OctreeNodeId(std::uint64_t value) : mValue(value) {}

    std::uint64_t mValue = 1;
};

static_assert(sizeof(OctreeNodeId) == 8);

} // namespace Octree

template <>
struct std::hash<Octree::OctreeNodeId> {
    std::size_t operator()(Octree::OctreeNodeId id) const noexcept
    {
        // Ids of one level differ only in their low bits; a multiplicative mix spreads them over
        // the whole word so that hash tables with power-of-two bucket counts stay balanced.
        std::uint64_t x = id.value() * 0x9E3779B97F4A7C15ull;
        return static_cast<std::size_t>(x ^ (x >> 32));
    }
};
