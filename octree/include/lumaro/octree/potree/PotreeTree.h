#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/RawPoints.h>
#include <lumaro/octree/potree/FileLoader.h>
#include <lumaro/octree/potree/Metadata.h>
#include <lumaro/octree/potree/Node.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

namespace PoTree {

struct ChunkSource;

// A Potree 2.0 store (metadata.json, hierarchy.bin, octree.bin) in either encoding. The
// hierarchy is read chunk by chunk as the tree is walked.
class PotreeTree final : public Octree::Octree {
public:
    // Reads metadata.json and the first hierarchy chunk; throws std::runtime_error naming the
    // file when either is missing or malformed.
    explicit PotreeTree(const ::Octree::Location& location, double unitScale = 1.0);
    // The same, reading through `reader` (one that Octree::open made already).
    PotreeTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader);

    const Metadata& metadata() const { return mMetadata; }
    const FileLoader& loader() const { return mLoader; }

    // The node, with its hierarchy chunk loaded; nullptr when the tree has no such node.
    std::shared_ptr<const Node> node(::Octree::OctreeNodeId id) const;

    // Every node of the tree in breadth-first order (reads the whole hierarchy).
    std::vector<std::shared_ptr<const Node>> allNodes() const;

    using ::Octree::Octree::children;
    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId node) const override;
    std::uint64_t pointCount() const override { return mMetadata.points; }
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override { return mAvailable; }
    std::optional<::Octree::NodePointData>
    nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                  ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const override;

    // The node's points as the store holds them (see Octree::RawPoints), for exact export. Returns
    // std::nullopt when `stop` was signalled; throws like nodePointData.
    std::optional<::Octree::RawPoints>
    rawPoints(::Octree::OctreeNodeId node, std::stop_token stop,
              ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const;

private:
    PotreeTree(const ::Octree::Location& location, double unitScale, FileLoader loader);
    PotreeTree(const ::Octree::Location& location, double unitScale, FileLoader loader, Metadata metadata);

    // The node with its own hierarchy chunk read (proxies on the way are expanded, reading their
    // chunks without holding mHierarchyMutex); nullptr when the tree has no such node. Expanded
    // nodes never change again, so callers may read them without the lock.
    std::shared_ptr<Node> findNode(::Octree::OctreeNodeId id, std::stop_token stop) const;
    std::shared_ptr<const Node> requireNode(::Octree::OctreeNodeId id) const;
    // One decision for the whole store, so neighbouring nodes never differ in brightness: the
    // metadata's declared colour range, or, where it declares none, the colours of the first
    // node with points (the root, which samples the whole cloud). std::nullopt when `stop` ended
    // the reading.
    std::optional<bool> colorsAre16Bit(std::stop_token stop) const;
    // Node chunks as the decoders read them: through Octree::nodeBytes, so that the node sampled
    // for the colour and intensity decisions is fetched once.
    ChunkSource chunks() const;

    Metadata mMetadata;
    FileLoader mLoader;
    ::Octree::PointAttributes mAvailable;
    mutable std::mutex mHierarchyMutex;
    std::shared_ptr<Node> mRoot;
};

} // namespace PoTree
