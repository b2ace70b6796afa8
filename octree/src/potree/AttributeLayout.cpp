#include "AttributeLayout.h"

namespace PoTree {

namespace {

bool declaredAs(const AttributeDescription& attribute, const char* name, std::size_t size)
{
    return attribute.name == name && attribute.size == size;
}

} // namespace

AttributeLayout AttributeLayout::of(const Metadata& metadata)
{
    const bool brotli = metadata.encoding == Encoding::Brotli;
    AttributeLayout layout;
    std::size_t offset = 0;
    for (const AttributeDescription& attribute : metadata.attributes) {
        if (declaredAs(attribute, "position", 12))
            layout.position = offset;
        else if (declaredAs(attribute, "rgb", 6))
            layout.rgb = offset;
        else if (declaredAs(attribute, "intensity", 2))
            layout.intensity = offset;
        else if (declaredAs(attribute, "ScanIndex", 4))
            layout.scanIndex = offset;
        else if (declaredAs(attribute, "classification", 1))
            layout.classification = offset;
        else if (declaredAs(attribute, "visibility", 1))
            layout.visibility = offset;
        else if (declaredAs(attribute, "normal_oct16", 2))
            layout.normalOct16 = offset;
        else if (declaredAs(attribute, "NormalX", 8))
            layout.normalX = offset;
        else if (declaredAs(attribute, "NormalY", 8))
            layout.normalY = offset;
        else if (declaredAs(attribute, "NormalZ", 8))
            layout.normalZ = offset;
        offset += brotli ? Metadata::brotliColumnWidth(attribute) : attribute.size;
    }
    return layout;
}

::Octree::PointAttributes AttributeLayout::available() const
{
    using ::Octree::PointAttribute;
    ::Octree::PointAttributes result;
    if (position)
        result = result | PointAttribute::Position;
    if (rgb)
        result = result | PointAttribute::Color;
    if (intensity)
        result = result | PointAttribute::Intensity;
    if (scanIndex)
        result = result | PointAttribute::ScanIndex;
    if (classification)
        result = result | PointAttribute::Classification;
    if (visibility)
        result = result | PointAttribute::Visibility;
    if (hasNormals())
        result = result | PointAttribute::Normal;
    return result;
}

} // namespace PoTree
