#pragma once

#include <cstddef>

namespace Core {

// Size policies of LruCache: how many capacity units one cached value takes.

// Every entry counts one, so the capacity is a number of entries.
template <typename Value>
struct CacheEntrySizeOne {
    std::size_t operator()(const Value&) const { return 1; }
};

// An entry counts its number of elements (value.size()), e.g. the points of a node, so that the
// capacity bounds the memory rather than the number of entries.
template <typename Value>
struct CacheEntrySizeCount {
    std::size_t operator()(const Value& value) const { return static_cast<std::size_t>(value.size()); }
};

} // namespace Core
