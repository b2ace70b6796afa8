#include <lumaro/octree/entwine/Schema.h>

#include <cmath>
#include <stdexcept>
#include <unordered_set>

namespace Entwine {

namespace {

bool sizeFitsType(DimensionType type, std::size_t size)
{
    if (type == DimensionType::Float) {
        return size == 4 || size == 8;
    }
    return size == 1 || size == 2 || size == 4 || size == 8;
}

} // namespace

Schema::Schema(std::vector<Dimension> dimensions) : mDimensions(std::move(dimensions))
{
    std::unordered_set<std::string> names;
    for (Dimension& dimension : mDimensions) {
        if (!names.insert(dimension.name).second) {
            throw std::invalid_argument("dimension '" + dimension.name + "' appears twice");
        }
        if (!sizeFitsType(dimension.type, dimension.size)) {
            throw std::invalid_argument("dimension '" + dimension.name + "' has an impossible size of "
                                        + std::to_string(dimension.size) + " bytes for its type");
        }
        if (!std::isfinite(dimension.scale) || dimension.scale == 0.0) {
            throw std::invalid_argument("dimension '" + dimension.name + "' has an unusable scale");
        }
        if (!std::isfinite(dimension.offset)) {
            throw std::invalid_argument("dimension '" + dimension.name + "' has an unusable offset");
        }
        dimension.byteOffset = mRecordSize;
        mRecordSize += dimension.size;
    }
}

const Dimension* Schema::find(std::string_view name) const
{
    for (const Dimension& dimension : mDimensions) {
        if (dimension.name == name) {
            return &dimension;
        }
    }
    return nullptr;
}

const Dimension* Schema::scanIndexDimension() const
{
    const Dimension* origin = find("OriginId");
    return origin ? origin : find("PointSourceId");
}

Octree::PointAttributes Schema::pointAttributes() const
{
    using Octree::PointAttribute;
    auto all = [this](std::initializer_list<std::string_view> names) {
        for (std::string_view name : names) {
            if (!find(name)) {
                return false;
            }
        }
        return true;
    };
    Octree::PointAttributes attributes;
    if (all({"X", "Y", "Z"})) {
        attributes = attributes | PointAttribute::Position;
    }
    if (all({"Red", "Green", "Blue"})) {
        attributes = attributes | PointAttribute::Color;
    }
    if (find("Intensity")) {
        attributes = attributes | PointAttribute::Intensity;
    }
    if (find("Classification")) {
        attributes = attributes | PointAttribute::Classification;
    }
    if (scanIndexDimension()) {
        attributes = attributes | PointAttribute::ScanIndex;
    }
    if (all({"NormalX", "NormalY", "NormalZ"})) {
        attributes = attributes | PointAttribute::Normal;
    }
    return attributes;
}

} // namespace Entwine
