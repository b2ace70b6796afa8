#pragma once

#include <stdexcept>
#include <string>

namespace TestSupport {

// The message of the `Exception` (a std::runtime_error unless named) that `action` throws, or ""
// when it throws none.
template <typename Exception = std::runtime_error, typename Action>
std::string failureOf(Action action)
{
    try {
        action();
    } catch (const Exception& error) {
        return error.what();
    }
    return "";
}

} // namespace TestSupport
