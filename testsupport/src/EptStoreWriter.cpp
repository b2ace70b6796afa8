#include <lumaro/testsupport/EptStoreWriter.h>

#include <filesystem>

namespace TestSupport {

nlohmann::json eptTestSchema()
{
    return nlohmann::json::array({
        {{"name", "X"}, {"type", "signed"}, {"size", 4}, {"scale", 0.01}, {"offset", 100}},
        {{"name", "Y"}, {"type", "signed"}, {"size", 4}, {"scale", 0.01}, {"offset", 200}},
        {{"name", "Z"}, {"type", "signed"}, {"size", 4}, {"scale", 0.01}, {"offset", 300}},
        {{"name", "Intensity"}, {"type", "unsigned"}, {"size", 2}},
        {{"name", "Classification"}, {"type", "unsigned"}, {"size", 1}},
        {{"name", "Red"}, {"type", "unsigned"}, {"size", 2}},
        {{"name", "Green"}, {"type", "unsigned"}, {"size", 2}},
        {{"name", "Blue"}, {"type", "unsigned"}, {"size", 2}},
        {{"name", "OriginId"}, {"type", "unsigned"}, {"size", 4}},
    });
}

std::string eptTestRecord(const EptTestPoint& p)
{
    return bytesOf(static_cast<std::uint32_t>(p.x)) + bytesOf(static_cast<std::uint32_t>(p.y))
        + bytesOf(static_cast<std::uint32_t>(p.z)) + bytesOf(p.intensity) + bytesOf(p.classification) + bytesOf(p.red)
        + bytesOf(p.green) + bytesOf(p.blue) + bytesOf(p.originId);
}

nlohmann::json eptTestMetadata(const std::string& dataType, std::uint64_t points)
{
    return {
        {"bounds", {100, 200, 300, 116, 216, 316}},
        {"boundsConforming", {101, 201, 301, 115, 215, 315}},
        {"dataType", dataType},
        {"hierarchyType", "json"},
        {"points", points},
        {"schema", eptTestSchema()},
        {"span", 16},
        {"srs", nlohmann::json::object()},
        {"version", "1.0.0"},
    };
}

void EptTestStore::write(const std::string& relativePath, std::string_view bytes) const
{
    mFolder.write(relativePath, bytes);
}

} // namespace TestSupport
