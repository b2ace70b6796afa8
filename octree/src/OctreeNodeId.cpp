#include <lumaro/octree/OctreeNodeId.h>

#include <stdexcept>

namespace Octree {

OctreeNodeId OctreeNodeId::fromValue(std::uint64_t value)
{
    if (value == 0 || (std::bit_width(value) - 1) % 3 != 0) {
        throw std::invalid_argument("not an octree node id: " + std::to_string(value));
    }
    return OctreeNodeId(value);
}

OctreeNodeId OctreeNodeId::fromGridPosition(std::size_t level, std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    if (level > MAX_REPRESENTABLE_LEVEL) {
        throw std::invalid_argument("octree level " + std::to_string(level) + " is deeper than "
                                    + std::to_string(MAX_REPRESENTABLE_LEVEL));
    }
    const std::uint64_t cells = std::uint64_t(1) << level;
    if (x >= cells || y >= cells || z >= cells) {
        throw std::invalid_argument("grid position (" + std::to_string(x) + ", " + std::to_string(y) + ", "
                                    + std::to_string(z) + ") lies outside level " + std::to_string(level));
    }
    std::uint64_t value = 1;
    for (std::size_t bit = level; bit-- > 0;) {
        const std::uint64_t index = ((x >> bit) & 1u) << 2 | ((y >> bit) & 1u) << 1 | ((z >> bit) & 1u);
        value = value << 3 | index;
    }
    return OctreeNodeId(value);
}

OctreeNodeId OctreeNodeId::fromName(std::string_view name)
{
    if (name.empty() || name.front() != 'r' || name.size() - 1 > MAX_REPRESENTABLE_LEVEL) {
        throw std::invalid_argument("not an octree node name: \"" + std::string(name) + "\"");
    }
    OctreeNodeId id;
    for (const char digit : name.substr(1)) {
        if (digit < '0' || digit > '7') {
            throw std::invalid_argument("not an octree node name: \"" + std::string(name) + "\"");
        }
        id = id.child(static_cast<std::size_t>(digit - '0'));
    }
    return id;
}

OctreeNodeId OctreeNodeId::child(std::size_t index) const
{
    if (index > 7) {
        throw std::out_of_range("child index " + std::to_string(index) + " is not in 0..7");
    }
    if (level() >= MAX_REPRESENTABLE_LEVEL) {
        throw std::out_of_range("node " + name() + " is at the deepest representable level");
    }
    return OctreeNodeId(mValue << 3 | index);
}

OctreeNodeId OctreeNodeId::parent() const
{
    if (isRoot()) {
        throw std::logic_error("the root node has no parent");
    }
    return OctreeNodeId(mValue >> 3);
}

std::array<std::uint32_t, 3> OctreeNodeId::gridPosition() const
{
    std::array<std::uint32_t, 3> position{0, 0, 0};
    const std::size_t depth = level();
    for (std::size_t step = 0; step < depth; ++step) {
        const std::uint64_t index = mValue >> (3 * (depth - 1 - step)) & 7u;
        position[0] = position[0] << 1 | static_cast<std::uint32_t>(index >> 2 & 1u);
        position[1] = position[1] << 1 | static_cast<std::uint32_t>(index >> 1 & 1u);
        position[2] = position[2] << 1 | static_cast<std::uint32_t>(index & 1u);
    }
    return position;
}

std::string OctreeNodeId::name() const
{
    const std::size_t depth = level();
    std::string result(depth + 1, 'r');
    for (std::size_t step = 0; step < depth; ++step) {
        result[step + 1] = static_cast<char>('0' + (mValue >> (3 * (depth - 1 - step)) & 7u));
    }
    return result;
}

} // namespace Octree
