#include "ParseJsonObject.h"

#include "FileErrors.h"

#include <string>

namespace Octree {

nlohmann::json parseJsonObject(std::string_view json, const std::filesystem::path& file, std::string_view expected)
{
    const FileErrors errors(file);
    nlohmann::json root;
    try {
        root = nlohmann::json::parse(json);
    } catch (const nlohmann::json::exception& error) {
        errors.fail(std::string("not valid JSON: ") + error.what());
    }
    if (!root.is_object()) {
        errors.fail("not " + std::string(expected));
    }
    return root;
}

} // namespace Octree
