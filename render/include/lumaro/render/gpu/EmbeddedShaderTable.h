#pragma once

#include <lumaro/render/Export.h>

#include <map>
#include <string>
#include <string_view>

namespace Render {

// The HLSL sources that ship inside the library, as a read-only table of named files under the
// directory entry "shaders". Built once on first use; lookups are safe from any thread.
class LUMARO_RENDER_API EmbeddedShaderTable {
public:
    // A table entry: a file refers to its bytes in the library's constant data (not
    // NUL-terminated); a directory has no content.
    struct Entry {
        bool isFile = false;
        const char* begin = nullptr;
        const char* end = nullptr;

        std::string text() const { return isFile ? std::string(begin, end) : std::string(); }
    };

    using Map = std::map<std::string, Entry, std::less<>>;

    // Strips leading and trailing slashes and collapses runs of slashes. Case and backslashes
    // are kept, so "shaders\\box.hlsl" and "shaders/Box.hlsl" stay different names.
    static std::string normalizePath(std::string path);

    // The entry for `name` after normalisation, or null when there is none.
    static const Entry* find(const std::string& name);

    // The bytes of the file `name`. Throws std::system_error (no such file or directory) with
    // the name as given when it is missing or names a directory.
    static std::string fileContent(const std::string& name);

    static const Map& entries();
};

} // namespace Render
