#pragma once

#include <cstring>

namespace Octree {

// Reads a value from a byte position that need not be aligned for its type (chunk columns and
// interleaved records are packed).
template <typename T>
T loadUnaligned(const char* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

} // namespace Octree
