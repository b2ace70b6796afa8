#include <lumaro/octree/potree/Metadata.h>

#include <lumaro/core/ReadLocalFile.h>

#include <nlohmann/json.hpp>

#include "FileErrors.h"
#include "ParseJsonObject.h"

#include <cmath>
#include <stdexcept>

namespace PoTree {

namespace {

using Json = nlohmann::json;

// Every complaint about metadata.json names the file and the field, so a user can fix the store.
class FieldReader : public ::Octree::FileErrors {
public:
    using FileErrors::FileErrors;

    const Json& field(const Json& object, const char* name, const std::string& where) const
    {
        if (!object.is_object() || !object.contains(name)) {
            fail("missing field \"" + where + name + "\"");
        }
        return object.at(name);
    }

    double number(const Json& object, const char* name, const std::string& where = "") const
    {
        const Json& value = field(object, name, where);
        if (!value.is_number()) {
            fail("field \"" + where + name + "\" is not a number");
        }
        const double result = value.get<double>();
        if (!std::isfinite(result)) {
            fail("field \"" + where + name + "\" is not finite");
        }
        return result;
    }

    std::uint64_t count(const Json& object, const char* name, const std::string& where = "") const
    {
        const Json& value = field(object, name, where);
        if (!value.is_number_unsigned() && !(value.is_number_integer() && value.get<std::int64_t>() >= 0)) {
            fail("field \"" + where + name + "\" is not a non-negative integer");
        }
        return value.get<std::uint64_t>();
    }

    std::string text(const Json& object, const char* name, const std::string& where = "") const
    {
        const Json& value = field(object, name, where);
        if (!value.is_string()) {
            fail("field \"" + where + name + "\" is not a string");
        }
        return value.get<std::string>();
    }

    std::vector<double> numbers(const Json& value, const std::string& what) const
    {
        if (!value.is_array()) {
            fail("field \"" + what + "\" is not an array");
        }
        std::vector<double> result;
        for (const Json& element : value) {
            if (!element.is_number() || !std::isfinite(element.get<double>())) {
                fail("field \"" + what + "\" holds something other than finite numbers");
            }
            result.push_back(element.get<double>());
        }
        return result;
    }

    std::array<double, 3> triple(const Json& object, const char* name, const std::string& where = "") const
    {
        const auto values = numbers(field(object, name, where), where + name);
        if (values.size() != 3) {
            fail("field \"" + where + name + "\" does not hold three numbers");
        }
        return {values[0], values[1], values[2]};
    }
};

AttributeDescription readAttribute(const FieldReader& reader, const Json& object, std::size_t index)
{
    const std::string where = "attributes[" + std::to_string(index) + "].";
    AttributeDescription attribute;
    attribute.name = reader.text(object, "name", where);
    attribute.size = reader.count(object, "size", where);
    if (object.contains("type") && object.at("type").is_string()) {
        attribute.type = object.at("type").get<std::string>();
    }
    if (object.contains("numElements")) {
        attribute.numElements = reader.count(object, "numElements", where);
    }
    if (object.contains("elementSize")) {
        attribute.elementSize = reader.count(object, "elementSize", where);
    }
    if (object.contains("min")) {
        attribute.min = reader.numbers(object.at("min"), where + "min");
    }
    if (object.contains("max")) {
        attribute.max = reader.numbers(object.at("max"), where + "max");
    }
    // Sizes far beyond any real attribute would overflow byte counts of large nodes.
    if (attribute.size > 4096) {
        reader.fail("attribute \"" + attribute.name + "\" declares an implausible size of "
                    + std::to_string(attribute.size) + " bytes");
    }
    return attribute;
}

} // namespace

Metadata Metadata::parse(std::string_view json, const std::filesystem::path& file)
{
    const FieldReader reader(file);
    const Json root = ::Octree::parseJsonObject(json, file);

    Metadata metadata;
    if (root.contains("version") && root.at("version").is_string()) {
        metadata.version = root.at("version").get<std::string>();
    }
    if (root.contains("name") && root.at("name").is_string()) {
        metadata.name = root.at("name").get<std::string>();
    }
    metadata.points = reader.count(root, "points");
    const Json& hierarchy = reader.field(root, "hierarchy", "");
    metadata.firstChunkSize = reader.count(hierarchy, "firstChunkSize", "hierarchy.");
    metadata.stepSize = hierarchy.contains("stepSize")
        ? static_cast<std::uint32_t>(reader.count(hierarchy, "stepSize", "hierarchy."))
        : 4u;
    metadata.offset = reader.triple(root, "offset");
    metadata.scale = reader.triple(root, "scale");
    for (const double s : metadata.scale) {
        if (!(s > 0)) {
            reader.fail("field \"scale\" must hold positive numbers");
        }
    }
    metadata.spacing = reader.number(root, "spacing");
    if (!(metadata.spacing > 0)) {
        reader.fail("field \"spacing\" must be a positive number");
    }
    const Json& box = reader.field(root, "boundingBox", "");
    metadata.cubeMin = reader.triple(box, "min", "boundingBox.");
    metadata.cubeMax = reader.triple(box, "max", "boundingBox.");
    for (int axis = 0; axis < 3; ++axis) {
        if (!(metadata.cubeMin[axis] < metadata.cubeMax[axis])) {
            reader.fail("field \"boundingBox\" has a minimum that is not below its maximum");
        }
    }
    // Converters before 2.0.2 wrote no encoding; anything but "BROTLI" is the interleaved layout.
    if (root.contains("encoding")) {
        metadata.encoding = reader.text(root, "encoding") == "BROTLI" ? Encoding::Brotli : Encoding::Default;
    }
    if (root.contains("nodeVisibility") && root.at("nodeVisibility").is_boolean()) {
        metadata.hasNodeVisibility = root.at("nodeVisibility").get<bool>();
    }

    const Json& attributes = reader.field(root, "attributes", "");
    if (!attributes.is_array()) {
        reader.fail("field \"attributes\" is not an array");
    }
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        metadata.attributes.push_back(readAttribute(reader, attributes[i], i));
    }
    // Every point needs a place: without positions nothing of a node could be drawn or exported.
    // Both encodings declare the three 32-bit integers, whatever the chunk holds them as.
    const AttributeDescription* position = metadata.attribute("position");
    if (position == nullptr) {
        reader.fail("field \"attributes\" has no \"position\" attribute");
    }
    if (position->size != 12) {
        reader.fail("the \"position\" attribute must take 12 bytes, not " + std::to_string(position->size));
    }
    if (const AttributeDescription* rgb = metadata.attribute("rgb");
        rgb != nullptr && metadata.encoding == Encoding::Default && rgb->size != 6) {
        reader.fail("the \"rgb\" attribute must take 6 bytes, not " + std::to_string(rgb->size));
    }
    return metadata;
}

Metadata Metadata::load(const std::filesystem::path& file)
{
    return parse(Core::readLocalFile(file), file);
}

std::size_t Metadata::brotliColumnWidth(const AttributeDescription& attribute)
{
    if (attribute.name == "position") {
        return 16;
    }
    if (attribute.name == "rgb") {
        return 8;
    }
    return attribute.size;
}

std::size_t Metadata::bytesPerPoint() const
{
    std::size_t bytes = 0;
    for (const AttributeDescription& attribute : attributes) {
        bytes += encoding == Encoding::Brotli ? brotliColumnWidth(attribute) : attribute.size;
    }
    return bytes;
}

const AttributeDescription* Metadata::attribute(std::string_view name) const
{
    for (const AttributeDescription& attribute : attributes) {
        if (attribute.name == name) {
            return &attribute;
        }
    }
    return nullptr;
}

std::array<double, 3> Metadata::tightMin() const
{
    const AttributeDescription* position = attribute("position");
    if (position == nullptr || position->min.size() != 3) {
        return cubeMin;
    }
    return {position->min[0], position->min[1], position->min[2]};
}

std::array<double, 3> Metadata::tightMax() const
{
    const AttributeDescription* position = attribute("position");
    if (position == nullptr || position->max.size() != 3) {
        return cubeMax;
    }
    return {position->max[0], position->max[1], position->max[2]};
}

std::optional<bool> Metadata::colorsAre16Bit() const
{
    const AttributeDescription* rgb = attribute("rgb");
    if (rgb == nullptr || rgb->max.empty()) {
        return std::nullopt;
    }
    for (const double value : rgb->max) {
        if (value > 255) {
            return true;
        }
    }
    return false;
}

} // namespace PoTree
