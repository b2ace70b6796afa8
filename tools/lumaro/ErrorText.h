#pragma once

#include <exception>
#include <string>

namespace Tool {

// An error with its nested causes on one line: "what: cause: cause of the cause".
inline std::string explain(const std::exception& error)
{
    std::string text = error.what();
    try {
        std::rethrow_if_nested(error);
    } catch (const std::exception& cause) {
        text += ": " + explain(cause);
    } catch (...) {
    }
    return text;
}

} // namespace Tool
