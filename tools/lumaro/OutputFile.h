#pragma once

#include <filesystem>
#include <functional>

namespace Tool {

// Writes a file whole or not at all: `write` writes a temporary file beside `path`, which then
// replaces it; when that fails, the temporary file is removed, an older file at `path` stays, and
// std::runtime_error "cannot write PATH" is thrown with the cause nested.
void writeWhole(const std::filesystem::path& path,
                const std::function<void(const std::filesystem::path& temporary)>& write);

} // namespace Tool
