#pragma once

#include <lumaro/render/Export.h>

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Render {

/// A value by the name that users give it on command lines and in the C interface.
template <typename Value>
struct Named {
    std::string_view name; ///< as users write it, in lower case with hyphens
    Value value; ///< what the name stands for
};

/// The value of `name` in `table`. Throws std::invalid_argument "unknown WHAT 'NAME' (known: A, B, ...)".
template <typename Value>
Value valueNamed(std::span<const Named<Value>> table, std::string_view name, std::string_view what)
{
    std::string known;
    for (const Named<Value>& entry : table) {
        if (entry.name == name)
            return entry.value;
        known += known.empty() ? "" : ", ";
        known += entry.name;
    }
    throw std::invalid_argument("unknown " + std::string(what) + " '" + std::string(name) + "' (known: " + known + ")");
}

/// The name of `value` in `table`; empty when it has none.
template <typename Value>
std::string_view nameIn(std::span<const Named<Value>> table, Value value)
{
    for (const Named<Value>& entry : table)
        if (entry.value == value)
            return entry.name;
    return {};
}

} // namespace Render
