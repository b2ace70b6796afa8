#pragma once

#include <string_view>
#include <vector>

namespace Shaders {

// One HLSL source compiled into the library: its file name inside the "shaders" folder and its
// bytes (not NUL-terminated).
struct EmbeddedFile {
    std::string_view name;
    const char* begin;
    const char* end;
};

// Every shader source of the library, in the order the build listed them.
const std::vector<EmbeddedFile>& embeddedFiles();

} // namespace Shaders
