#include "ModelTransform.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Octree {

NodePointData toNodePointData(const RawPoints& raw, const ModelTransform& transform, bool colorsAre16Bit)
{
    NodePointData data(raw.attributes, raw.count);
    if (data.hasPositions()) {
        auto positions = data.positions();
        for (std::size_t i = 0; i < raw.count; ++i) {
            for (int axis = 0; axis < 3; ++axis) {
                positions[i][axis] = transform.toModel(raw.positions[i][axis], axis);
            }
        }
    }
    if (data.hasColors()) {
        const unsigned shift = colorsAre16Bit ? 8 : 0;
        auto colors = data.colors();
        for (std::size_t i = 0; i < raw.count; ++i) {
            colors[i] = toEightBitColor(raw.colors[i], shift);
        }
    }
    auto copy = [&](const auto& from, auto to) {
        if (!to.empty()) {
            std::copy(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(to.size()), to.begin());
        }
    };
    copy(raw.intensities, data.intensities());
    copy(raw.classifications, data.classifications());
    copy(raw.scanIndices, data.scanIndices());
    copy(raw.visibilities, data.visibilities());
    copy(raw.normals, data.normals());
    return data;
}

} // namespace Octree
