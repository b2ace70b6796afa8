#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Render {

// The byte width of a GPU buffer of `count` elements of `stride` bytes each. Direct3D takes the width
// as 32 bits; a product that wrapped would create a tiny buffer while its owner records the large
// count, and the next fill would write past the buffer. Throws std::invalid_argument naming the count
// and `elements` (what is counted, e.g. "boxes") when the width does not fit, so callers check this
// before creating anything.
inline std::uint32_t bufferByteWidth(std::size_t count, std::uint32_t stride, std::string_view elements)
{
    constexpr auto largest = std::numeric_limits<std::uint32_t>::max();
    if (stride != 0 && count > largest / stride)
        throw std::invalid_argument(
            std::to_string(count) + " " + std::string(elements) + " of " + std::to_string(stride)
            + " bytes exceed the largest buffer Direct3D can describe (" + std::to_string(largest) + " bytes)");
    return static_cast<std::uint32_t>(count * stride);
}

} // namespace Render
