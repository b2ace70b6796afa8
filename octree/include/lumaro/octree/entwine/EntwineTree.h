#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/entwine/DecodedPoints.h>
#include <lumaro/octree/entwine/Hierarchy.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/entwine/Metadata.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

namespace Entwine {

// An Entwine Point Tile store (ept.json, ept-hierarchy/, ept-data/) with binary, zstandard or
// laszip node data. EPT is additive: a node's points are not repeated in its children.
class EntwineTree final : public Octree::Octree {
public:
    // What the hierarchy tells about one node.
    struct Node {
        Key key;
        std::uint64_t pointCount = 0;
        // In world coordinates, unscaled.
        Math::NBoundingBox<double, 3> bounds;
    };

    // Reads ept.json and the root hierarchy file; throws std::runtime_error naming the file when
    // either is missing or malformed.
    explicit EntwineTree(const ::Octree::Location& location, double unitScale = 1.0);
    // The same, reading through `reader` (one that Octree::open made already).
    EntwineTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader);

    const Metadata& metadata() const { return mMetadata; }

    // The node, or std::nullopt when the tree has no such node.
    std::optional<Node> nodeById(::Octree::OctreeNodeId id) const;

    // Every node of the tree in breadth-first order (reads the whole hierarchy).
    std::vector<Node> allNodes() const;

    // The path (or URL) of a node's data file, e.g. <store>/ept-data/1-0-1-0.laz.
    std::filesystem::path dataFile(const Key& key) const;

    using ::Octree::Octree::children;
    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId) const override
    {
        return ::Octree::NodeVisibility::AllVisible;
    }
    std::uint64_t pointCount() const override { return mMetadata.points; }
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override { return mAvailable; }

    // The node's points as stored, for exact export. Returns std::nullopt when `stop` was
    // signalled first. Throws std::invalid_argument for a node that is not in the tree and
    // std::runtime_error naming the data file when it is missing, of the wrong length, corrupt,
    // or holds a point outside the node's box.
    std::optional<DecodedPoints>
    decodedPoints(::Octree::OctreeNodeId node, std::stop_token stop,
                  ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const;

    std::optional<::Octree::NodePointData>
    nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                  ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const override;

    // Whether the store's colours use the 16-bit range, so that they become 8-bit by dividing by
    // 256. Decided once for the whole store, from the first node with points in breadth-first
    // order (the root, as a rule): the root samples the whole cloud, and one decision keeps
    // neighbouring nodes equally bright. std::nullopt when `stop` ended the decision.
    std::optional<bool> colorsAre16Bit(std::stop_token stop) const;
    bool colorsAre16Bit() const;

private:
    EntwineTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader,
                Metadata metadata);
    std::string dataName(const Key& key) const;

    Node requireNode(::Octree::OctreeNodeId id) const;
    DecodedPoints decode(const Node& node, std::stop_token stop, ::Octree::PointAttributes wanted) const;

    std::shared_ptr<::Octree::StoreReader> mReader;
    Metadata mMetadata;
    ::Octree::PointAttributes mAvailable;
    Hierarchy mHierarchy;
};

} // namespace Entwine
