#include <lumaro/octree/entwine/Key.h>

#include <array>
#include <charconv>
#include <stdexcept>

namespace Entwine {

namespace {

// Deeper keys could not name their cells in 32 bits.
constexpr std::uint32_t MAX_PARSED_DEPTH = 31;

[[noreturn]] void rejectKey(std::string_view text, const char* problem)
{
    throw std::invalid_argument("'" + std::string(text) + "' is not a node key D-X-Y-Z: " + problem);
}

} // namespace

Key Key::parse(std::string_view text)
{
    std::array<std::uint32_t, 4> numbers{};
    std::size_t position = 0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0) {
            if (position >= text.size() || text[position] != '-') {
                rejectKey(text, "expected four numbers joined by '-'");
            }
            ++position;
        }
        const char* begin = text.data() + position;
        const char* end = text.data() + text.size();
        if (begin == end || *begin < '0' || *begin > '9') {
            rejectKey(text, "expected a decimal number");
        }
        const auto [next, error] = std::from_chars(begin, end, numbers[i]);
        if (error != std::errc()) {
            rejectKey(text, "a number is too large");
        }
        if (*begin == '0' && next - begin > 1) {
            rejectKey(text, "numbers must not have leading zeros");
        }
        position = static_cast<std::size_t>(next - text.data());
    }
    if (position != text.size()) {
        rejectKey(text, "unexpected text after the fourth number");
    }
    Key key{numbers[0], numbers[1], numbers[2], numbers[3]};
    if (key.depth > MAX_PARSED_DEPTH) {
        rejectKey(text, "the depth is too large");
    }
    const std::uint64_t cells = std::uint64_t{1} << key.depth;
    if (key.x >= cells || key.y >= cells || key.z >= cells) {
        rejectKey(text, "the cell lies outside the grid of its depth");
    }
    return key;
}

Key Key::of(Octree::OctreeNodeId id)
{
    const auto cell = id.gridPosition();
    return Key{static_cast<std::uint32_t>(id.level()), cell[0], cell[1], cell[2]};
}

Octree::OctreeNodeId Key::nodeId() const
{
    if (depth > Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL) {
        throw std::invalid_argument("node " + toString() + " is deeper than the "
                                    + std::to_string(Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL)
                                    + " levels that node ids can hold");
    }
    return Octree::OctreeNodeId::fromGridPosition(depth, x, y, z);
}

std::string Key::toString() const
{
    return std::to_string(depth) + "-" + std::to_string(x) + "-" + std::to_string(y) + "-" + std::to_string(z);
}

Key Key::child(unsigned index) const
{
    return Key{depth + 1, 2 * x + ((index >> 2) & 1u), 2 * y + ((index >> 1) & 1u), 2 * z + (index & 1u)};
}

bool Key::contains(const Key& other) const
{
    if (other.depth < depth) {
        return false;
    }
    const std::uint32_t shift = other.depth - depth;
    if (shift >= 32) {
        return depth == 0;
    }
    return (other.x >> shift) == x && (other.y >> shift) == y && (other.z >> shift) == z;
}

Math::NBoundingBox<double, 3> Key::bounds(const Math::NBoundingBox<double, 3>& root) const
{
    Math::Point<double, 3> min = root.min();
    Math::Point<double, 3> max = root.max();
    const std::array<std::uint32_t, 3> cell{x, y, z};
    for (std::uint32_t level = depth; level-- > 0;) {
        for (int axis = 0; axis < 3; ++axis) {
            const double mid = min[axis] + (max[axis] - min[axis]) / 2;
            if ((cell[axis] >> level) & 1u) {
                min[axis] = mid;
            } else {
                max[axis] = mid;
            }
        }
    }
    return {min, max};
}

} // namespace Entwine
