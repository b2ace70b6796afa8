#include <lumaro/octree/StorePoints.h>

#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include <stdexcept>
#include <string>

namespace Octree {

namespace {

const PointAttributes wantedAttributes = PointAttribute::Position | PointAttribute::Color | PointAttribute::Intensity
    | PointAttribute::Classification | PointAttribute::Visibility;

// Stored integers and colours, exactly: world = integer x scale + offset.
StorePoints fromRaw(OctreeNodeId node, RawPoints&& raw, const std::array<double, 3>& scale,
                    const std::array<double, 3>& offset)
{
    if (raw.positions.size() != raw.count)
        throw std::runtime_error("node " + node.name() + " gave " + std::to_string(raw.positions.size())
                                 + " positions for " + std::to_string(raw.count)
                                 + " points; points without positions cannot be read");
    StorePoints points;
    points.positions.resize(raw.count);
    for (std::size_t i = 0; i < raw.count; ++i)
        for (int axis = 0; axis < 3; ++axis)
            points.positions[i][axis] = double(raw.positions[i][axis]) * scale[axis] + offset[axis];
    points.colors = std::move(raw.colors);
    points.intensities = std::move(raw.intensities);
    points.classifications = std::move(raw.classifications);
    points.visibilities = std::move(raw.visibilities);
    points.scale = scale;
    points.offset = offset;
    return points;
}

// Other kinds of store give their points through the common interface only: model coordinates
// in float and 8-bit colours.
StorePoints fromModel(const Octree& tree, const NodePointData& data)
{
    const auto reference = tree.referencePosition();
    const double toStoreUnits = 1.0 / tree.unitScale();
    StorePoints points;
    points.positions.resize(data.size());
    for (std::size_t i = 0; i < data.size(); ++i)
        for (int axis = 0; axis < 3; ++axis)
            points.positions[i][axis] = (reference[axis] + double(data.position(i)[axis])) * toStoreUnits;
    if (data.hasColors())
        for (const Math::Color color : data.colors())
            points.colors.push_back({color.r(), color.g(), color.b()});
    if (data.hasIntensities())
        points.intensities.assign(data.intensities().begin(), data.intensities().end());
    if (data.hasClassifications())
        points.classifications.assign(data.classifications().begin(), data.classifications().end());
    if (data.hasVisibility())
        points.visibilities.assign(data.visibilities().begin(), data.visibilities().end());
    return points;
}

} // namespace

std::optional<StorePoints> storePoints(const Octree& tree, OctreeNodeId node, std::stop_token stop)
{
    if (const auto* potree = dynamic_cast<const PoTree::PotreeTree*>(&tree)) {
        auto raw = potree->rawPoints(node, stop, wantedAttributes);
        if (!raw)
            return std::nullopt;
        return fromRaw(node, std::move(*raw), potree->metadata().scale, potree->metadata().offset);
    }
    // EPT and COPC nodes carry their own scale and offset (an EPT LAZ file's header may differ
    // from the schema).
    std::optional<Entwine::DecodedPoints> decoded;
    if (const auto* ept = dynamic_cast<const Entwine::EntwineTree*>(&tree))
        decoded = ept->decodedPoints(node, stop, wantedAttributes);
    else if (const auto* copc = dynamic_cast<const Copc::CopcTree*>(&tree))
        decoded = copc->decodedPoints(node, stop, wantedAttributes);
    else {
        const auto data = tree.nodePointData(node, stop, wantedAttributes);
        if (!data)
            return std::nullopt;
        return fromModel(tree, *data);
    }
    if (!decoded)
        return std::nullopt;
    return fromRaw(node, std::move(decoded->points), decoded->scale, decoded->offset);
}

} // namespace Octree
