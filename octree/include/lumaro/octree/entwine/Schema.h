#pragma once

#include <lumaro/octree/PointAttributes.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Entwine {

enum class DimensionType {
    Signed,
    Unsigned,
    Float
};

// One point attribute of an EPT store: its place in a binary record and how stored values become
// actual ones (stored x scale + offset).
struct Dimension {
    std::string name;
    DimensionType type = DimensionType::Signed;
    std::size_t size = 0;
    double scale = 1.0;
    double offset = 0.0;
    // Byte offset inside a record; set by Schema.
    std::size_t byteOffset = 0;

    bool isInteger() const { return type != DimensionType::Float; }
};

// The dimensions of an EPT store in record order. Records are packed without padding, so a
// dimension starts where the previous one ends.
class Schema {
public:
    Schema() = default;
    // Throws std::invalid_argument for a size that does not fit the type (1, 2, 4 or 8 bytes for
    // integers, 4 or 8 for floats), a non-finite or zero scale, a non-finite offset, or a name
    // given twice.
    explicit Schema(std::vector<Dimension> dimensions);

    const std::vector<Dimension>& dimensions() const { return mDimensions; }
    std::size_t recordSize() const { return mRecordSize; }

    // nullptr when there is no dimension of exactly this name.
    const Dimension* find(std::string_view name) const;

    // The renderer's attributes that these dimensions provide: position (X, Y, Z), colour (Red,
    // Green, Blue), intensity, classification, scan index (OriginId, else PointSourceId) and
    // normals (NormalX, NormalY, NormalZ).
    Octree::PointAttributes pointAttributes() const;

    // The dimension that carries the scan index: OriginId, the input file a point came from, or
    // failing that PointSourceId; nullptr when neither exists.
    const Dimension* scanIndexDimension() const;

private:
    std::vector<Dimension> mDimensions;
    std::size_t mRecordSize = 0;
};

} // namespace Entwine
