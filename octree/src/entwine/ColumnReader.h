#pragma once

#include <lumaro/octree/entwine/Schema.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Entwine {

static_assert(std::endian::native == std::endian::little, "EPT records are little-endian and read in place");

// Calls `use(i, value)` for the value of `dimension` in each of `count` records that start
// `stride` bytes apart at `records`, with the value in its stored C++ type. One switch per column
// instead of per value keeps the loops tight.
template <typename Use>
void forEachValue(const Dimension& dimension, const char* records, std::size_t stride, std::size_t count, Use&& use)
{
    const char* first = records + dimension.byteOffset;
    auto loop = [&]<typename Stored>() {
        for (std::size_t i = 0; i < count; ++i) {
            Stored value;
            std::memcpy(&value, first + i * stride, sizeof(Stored));
            use(i, value);
        }
    };
    switch (dimension.type) {
    case DimensionType::Signed:
        switch (dimension.size) {
        case 1: return loop.template operator()<std::int8_t>();
        case 2: return loop.template operator()<std::int16_t>();
        case 4: return loop.template operator()<std::int32_t>();
        default: return loop.template operator()<std::int64_t>();
        }
    case DimensionType::Unsigned:
        switch (dimension.size) {
        case 1: return loop.template operator()<std::uint8_t>();
        case 2: return loop.template operator()<std::uint16_t>();
        case 4: return loop.template operator()<std::uint32_t>();
        default: return loop.template operator()<std::uint64_t>();
        }
    case DimensionType::Float:
        if (dimension.size == 4) {
            return loop.template operator()<float>();
        }
        return loop.template operator()<double>();
    }
}

// Converts a stored value to a narrower unsigned column type, clamping what does not fit (and
// mapping NaN to 0) rather than wrapping around.
template <std::unsigned_integral Out, typename Stored>
Out clampTo(Stored value)
{
    constexpr auto top = std::numeric_limits<Out>::max();
    if constexpr (std::floating_point<Stored>) {
        if (!(value > 0)) {
            return 0;
        }
        return value >= static_cast<Stored>(top) ? top : static_cast<Out>(std::lround(value));
    } else if constexpr (std::signed_integral<Stored>) {
        if (value <= 0) {
            return 0;
        }
        return static_cast<std::make_unsigned_t<Stored>>(value) > top ? top : static_cast<Out>(value);
    } else {
        return value > top ? top : static_cast<Out>(value);
    }
}

} // namespace Entwine
