#include <lumaro/octree/entwine/Metadata.h>

#include <lumaro/core/ReadLocalFile.h>

#include <nlohmann/json.hpp>

#include "FileErrors.h"
#include "ParseJsonObject.h"

#include <cmath>
#include <stdexcept>

namespace Entwine {

namespace {

using Json = nlohmann::json;

class Reader : public ::Octree::FileErrors {
public:
    using FileErrors::FileErrors;

    const Json& member(const Json& object, const char* name, const std::string& context = "") const
    {
        const auto found = object.find(name);
        if (found == object.end()) {
            fail(context + "member \"" + name + "\" is missing");
        }
        return *found;
    }

    double number(const Json& value, const std::string& what) const
    {
        if (!value.is_number() || !std::isfinite(value.get<double>())) {
            fail(what + " is not a finite number");
        }
        return value.get<double>();
    }

    std::uint64_t unsignedInteger(const Json& value, const std::string& what) const
    {
        if (!value.is_number_unsigned()) {
            fail(what + " is not a non-negative integer");
        }
        return value.get<std::uint64_t>();
    }

    std::string string(const Json& value, const std::string& what) const
    {
        if (!value.is_string()) {
            fail(what + " is not a string");
        }
        return value.get<std::string>();
    }

    // A box [xmin, ymin, zmin, xmax, ymax, zmax] with min < max on every axis.
    void box(const Json& value, const char* name, std::array<double, 3>& min, std::array<double, 3>& max) const
    {
        if (!value.is_array() || value.size() != 6) {
            fail(std::string("\"") + name + "\" is not an array of six numbers");
        }
        for (int axis = 0; axis < 3; ++axis) {
            min[axis] = number(value[axis], std::string("\"") + name + "\" entry " + std::to_string(axis));
            max[axis] = number(value[axis + 3], std::string("\"") + name + "\" entry " + std::to_string(axis + 3));
            if (!(min[axis] < max[axis])) {
                fail(std::string("\"") + name + "\" has its minimum above or at its maximum on axis "
                     + std::to_string(axis));
            }
        }
    }

    DataType dataType(const Json& value) const
    {
        const std::string text = string(value, "\"dataType\"");
        for (const DataType type : {DataType::Binary, DataType::Zstandard, DataType::Laszip}) {
            if (text == dataTypeName(type)) {
                return type;
            }
        }
        fail("unknown \"dataType\" '" + text + "' (binary, zstandard or laszip)");
    }

    Dimension dimension(const Json& value, std::size_t index) const
    {
        const std::string where = "schema entry " + std::to_string(index);
        if (!value.is_object()) {
            fail(where + " is not an object");
        }
        Dimension dimension;
        dimension.name = string(member(value, "name", where + ": "), where + " \"name\"");
        const std::string type = string(member(value, "type", where + ": "), where + " \"type\"");
        if (type == "signed") {
            dimension.type = DimensionType::Signed;
        } else if (type == "unsigned") {
            dimension.type = DimensionType::Unsigned;
        } else if (type == "float") {
            dimension.type = DimensionType::Float;
        } else {
            fail(where + " has unknown type '" + type + "'");
        }
        dimension.size =
            static_cast<std::size_t>(unsignedInteger(member(value, "size", where + ": "), where + " \"size\""));
        if (const auto scale = value.find("scale"); scale != value.end()) {
            dimension.scale = number(*scale, where + " \"scale\"");
        }
        if (const auto offset = value.find("offset"); offset != value.end()) {
            dimension.offset = number(*offset, where + " \"offset\"");
        }
        return dimension;
    }

    Schema schema(const Json& value) const
    {
        if (!value.is_array()) {
            fail("\"schema\" is not an array");
        }
        std::vector<Dimension> dimensions;
        for (std::size_t i = 0; i < value.size(); ++i) {
            dimensions.push_back(dimension(value[i], i));
        }
        try {
            return Schema(std::move(dimensions));
        } catch (const std::invalid_argument& error) {
            fail(std::string("\"schema\": ") + error.what());
        }
    }
};

} // namespace

std::string_view dataTypeName(DataType type)
{
    switch (type) {
    case DataType::Binary: return "binary";
    case DataType::Zstandard: return "zstandard";
    case DataType::Laszip: return "laszip";
    }
    return "binary";
}

std::string_view fileExtension(DataType type)
{
    switch (type) {
    case DataType::Binary: return "bin";
    case DataType::Zstandard: return "zst";
    case DataType::Laszip: return "laz";
    }
    return "bin";
}

Metadata Metadata::parse(std::string_view json, const std::filesystem::path& file)
{
    const Reader read(file);
    const Json root = ::Octree::parseJsonObject(json, file);

    Metadata metadata;
    read.box(read.member(root, "bounds"), "bounds", metadata.cubeMin, metadata.cubeMax);
    if (root.contains("boundsConforming")) {
        read.box(root["boundsConforming"], "boundsConforming", metadata.conformingMin, metadata.conformingMax);
    } else {
        metadata.conformingMin = metadata.cubeMin;
        metadata.conformingMax = metadata.cubeMax;
    }
    metadata.dataType = read.dataType(read.member(root, "dataType"));
    if (const auto hierarchyType = root.find("hierarchyType"); hierarchyType != root.end()) {
        const std::string type = read.string(*hierarchyType, "\"hierarchyType\"");
        if (type != "json") {
            read.fail("\"hierarchyType\" '" + type + "' is not supported (only json)");
        }
    }
    metadata.points = read.unsignedInteger(read.member(root, "points"), "\"points\"");
    metadata.schema = read.schema(read.member(root, "schema"));
    const char* spanName = root.contains("span") ? "span" : "ticks";
    metadata.span = read.unsignedInteger(read.member(root, spanName), std::string("\"") + spanName + "\"");
    if (metadata.span == 0) {
        read.fail(std::string("\"") + spanName + "\" must be positive");
    }
    if (const auto version = root.find("version"); version != root.end()) {
        metadata.version = read.string(*version, "\"version\"");
    }

    for (const char* axis : {"X", "Y", "Z"}) {
        const Dimension* dimension = metadata.schema.find(axis);
        if (!dimension) {
            read.fail(std::string("\"schema\" has no dimension ") + axis);
        }
        // LAZ files describe their own coordinates; only packed records use the schema's types.
        if (metadata.dataType != DataType::Laszip && !dimension->isInteger()) {
            read.fail(std::string("dimension ") + axis + " is a float; only integer coordinates are supported");
        }
    }
    return metadata;
}

Metadata Metadata::load(const std::filesystem::path& file)
{
    return parse(Core::readLocalFile(file), file);
}

double Metadata::rootSpacing() const
{
    return (cubeMax[0] - cubeMin[0]) / static_cast<double>(span);
}

} // namespace Entwine
