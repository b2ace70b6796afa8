#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Octree {

// A fixed-size LAS text field (a record's user id, an attribute's name), which is zero-padded but
// need not end with a zero.
inline std::string_view fixedLasText(const char* text, std::size_t size)
{
    return std::string_view(text, static_cast<std::size_t>(std::find(text, text + size, '\0') - text));
}

// The bytes of a LAS 1.4 point of format 6, 7 or 8 before any extra bytes.
inline std::size_t corePointLength(unsigned format)
{
    return format == 6 ? 30 : format == 7 ? 36 : 38;
}

} // namespace Octree
