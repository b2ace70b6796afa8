#include "StoreInfo.h"

#include <lumaro/octree/TreeSummary.h>
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/entwine/EntwineTree.h>
#include <lumaro/octree/potree/PotreeTree.h>

namespace Tool {

namespace {

nlohmann::json triple(const Math::Point<double, 3>& point)
{
    return {point.x(), point.y(), point.z()};
}

nlohmann::json potreeFacts(const PoTree::PotreeTree& tree)
{
    const PoTree::Metadata& metadata = tree.metadata();
    nlohmann::json attributes = nlohmann::json::array();
    for (const auto& attribute : metadata.attributes) {
        attributes.push_back({{"name", attribute.name},
                              {"type", attribute.type},
                              {"size", attribute.size},
                              {"numElements", attribute.numElements},
                              {"elementSize", attribute.elementSize},
                              {"brotliBytesPerPoint", PoTree::Metadata::brotliColumnWidth(attribute)}});
    }
    return {{"kind", "potree2"},
            {"version", metadata.version},
            {"encoding", metadata.encoding == PoTree::Encoding::Brotli ? "BROTLI" : "DEFAULT"},
            {"bytes_per_point", metadata.bytesPerPoint()},
            {"scale", metadata.scale},
            {"offset", metadata.offset},
            {"attributes", attributes}};
}

nlohmann::json eptFacts(const Entwine::EntwineTree& tree)
{
    const Entwine::Metadata& metadata = tree.metadata();
    nlohmann::json schema = nlohmann::json::array();
    std::array<double, 3> scale{};
    std::array<double, 3> offset{};
    for (const auto& dimension : metadata.schema.dimensions()) {
        static constexpr const char* types[] = {"signed", "unsigned", "float"};
        schema.push_back({{"name", dimension.name},
                          {"type", types[static_cast<int>(dimension.type)]},
                          {"size", dimension.size},
                          {"scale", dimension.scale},
                          {"offset", dimension.offset}});
        const int axis = dimension.name == "X" ? 0 : dimension.name == "Y" ? 1 : dimension.name == "Z" ? 2 : -1;
        if (axis >= 0) {
            scale[axis] = dimension.scale;
            offset[axis] = dimension.offset;
        }
    }
    return {{"kind", "ept"},
            {"version", metadata.version},
            {"dataType", std::string(Entwine::dataTypeName(metadata.dataType))},
            {"span", metadata.span},
            {"bytes_per_point", metadata.schema.recordSize()},
            {"scale", scale},
            {"offset", offset},
            {"schema", schema}};
}

nlohmann::json copcFacts(const Copc::CopcTree& tree)
{
    const Copc::FileHead& head = tree.head();
    return {{"kind", "copc"},
            {"point_format", head.pointFormat},
            {"bytes_per_point", head.recordLength},
            {"scale", head.scale},
            {"offset", head.offset},
            {"gps_time", {head.gpsTimeMinimum, head.gpsTimeMaximum}},
            {"hierarchy_pages_read", tree.pagesRead().size()}};
}

} // namespace

nlohmann::json storeInfo(const Octree::Octree& tree)
{
    // Facts in the store's own units, whatever unit scale a viewer might apply.
    const Octree::TreeSummary summary = Octree::summarizeTree(tree);
    const auto cube = tree.worldBoundingCube(Octree::OctreeNodeId::root());
    const auto bounds = tree.worldBoundingBox();

    nlohmann::json spacingPerLevel = nlohmann::json::array();
    for (std::size_t level = 0; level <= summary.depth; ++level) {
        spacingPerLevel.push_back(tree.spacing(level));
    }
    nlohmann::json info = {
        {"store", tree.location().toString()},
        {"points", tree.pointCount()},
        {"points_in_nodes", summary.pointsInNodes},
        {"nodes", summary.nodes},
        {"nodes_per_level", summary.nodesPerLevel},
        {"max_depth", summary.depth},
        {"leaf_nodes", summary.leafNodes},
        {"nodes_with_zero_points", summary.nodesWithoutPoints},
        {"boundingBox", {{"min", triple(cube.min())}, {"max", triple(cube.max())}}},
        {"cube", {{"min", triple(cube.min())}, {"edge", cube.max().x() - cube.min().x()}}},
        {"tight_bounds",
         bounds.isEmpty() ? nlohmann::json(nullptr)
                          : nlohmann::json{{"min", triple(bounds.min())}, {"max", triple(bounds.max())}}},
        {"spacing", tree.spacing(0)},
        {"spacing_per_level", spacingPerLevel},
    };
    if (const auto* potree = dynamic_cast<const PoTree::PotreeTree*>(&tree)) {
        info.update(potreeFacts(*potree));
    }
    if (const auto* ept = dynamic_cast<const Entwine::EntwineTree*>(&tree)) {
        info.update(eptFacts(*ept));
    }
    if (const auto* copc = dynamic_cast<const Copc::CopcTree*>(&tree)) {
        info.update(copcFacts(*copc));
    }
    return info;
}

} // namespace Tool
