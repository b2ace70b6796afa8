#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string_view>

namespace Octree {

// Parses a store's JSON file, which must hold one object. Throws std::runtime_error naming
// `file` when the text is not JSON or not "`expected`" (a description such as "a JSON object").
nlohmann::json parseJsonObject(std::string_view json, const std::filesystem::path& file,
                               std::string_view expected = "a JSON object");

} // namespace Octree
