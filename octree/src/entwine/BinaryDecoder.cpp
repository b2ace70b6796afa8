#include <lumaro/octree/entwine/BinaryDecoder.h>

#include "ColumnReader.h"

#include <stdexcept>

namespace Entwine {

namespace {

using Octree::PointAttribute;

template <typename Column>
void fillClamped(const Dimension& dimension, const char* records, std::size_t stride, std::size_t count, Column& column)
{
    column.resize(count);
    using Out = typename Column::value_type;
    forEachValue(dimension, records, stride, count,
                 [&column](std::size_t i, auto value) { column[i] = clampTo<Out>(value); });
}

} // namespace

DecodedPoints decodeBinaryPoints(std::string_view records, const Schema& schema, std::uint64_t count,
                                 Octree::PointAttributes wanted, const std::filesystem::path& file)
{
    const std::size_t stride = schema.recordSize();
    if (stride == 0 || count > records.size() / stride || records.size() != count * stride) {
        throw std::runtime_error(file.string() + ": holds " + std::to_string(records.size()) + " bytes, but "
                                 + std::to_string(count) + " points of " + std::to_string(stride) + " bytes need "
                                 + std::to_string(count * stride));
    }
    const std::size_t n = static_cast<std::size_t>(count);
    const char* data = records.data();

    DecodedPoints decoded;
    ::Octree::RawPoints& raw = decoded.points;
    raw.attributes = wanted & schema.pointAttributes();
    raw.count = n;

    if (raw.attributes.contains(PointAttribute::Position)) {
        raw.positions.resize(n);
        const char* names[3] = {"X", "Y", "Z"};
        for (int axis = 0; axis < 3; ++axis) {
            const Dimension& dimension = *schema.find(names[axis]);
            if (!dimension.isInteger()) {
                throw std::runtime_error(file.string() + ": dimension " + names[axis]
                                         + " is a float; only integer coordinates are supported");
            }
            decoded.scale[axis] = dimension.scale;
            decoded.offset[axis] = dimension.offset;
            forEachValue(dimension, data, stride, n, [&raw, axis](std::size_t i, auto value) {
                if constexpr (std::is_integral_v<decltype(value)>) {
                    raw.positions[i][axis] = static_cast<std::int64_t>(value);
                }
            });
        }
    }
    if (raw.attributes.contains(PointAttribute::Color)) {
        raw.colors.resize(n);
        const char* names[3] = {"Red", "Green", "Blue"};
        for (int channel = 0; channel < 3; ++channel) {
            forEachValue(*schema.find(names[channel]), data, stride, n, [&raw, channel](std::size_t i, auto value) {
                raw.colors[i][channel] = clampTo<std::uint16_t>(value);
            });
        }
    }
    if (raw.attributes.contains(PointAttribute::Intensity)) {
        fillClamped(*schema.find("Intensity"), data, stride, n, raw.intensities);
    }
    if (raw.attributes.contains(PointAttribute::Classification)) {
        fillClamped(*schema.find("Classification"), data, stride, n, raw.classifications);
    }
    if (raw.attributes.contains(PointAttribute::ScanIndex)) {
        fillClamped(*schema.scanIndexDimension(), data, stride, n, raw.scanIndices);
    }
    if (raw.attributes.contains(PointAttribute::Normal)) {
        raw.normals.resize(n);
        const char* names[3] = {"NormalX", "NormalY", "NormalZ"};
        for (int axis = 0; axis < 3; ++axis) {
            const Dimension& dimension = *schema.find(names[axis]);
            forEachValue(dimension, data, stride, n, [&raw, &dimension, axis](std::size_t i, auto value) {
                raw.normals[i][axis] =
                    static_cast<float>(static_cast<double>(value) * dimension.scale + dimension.offset);
            });
        }
    }
    return decoded;
}

} // namespace Entwine
