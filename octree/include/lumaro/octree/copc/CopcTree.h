#pragma once

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/copc/FileHead.h>
#include <lumaro/octree/copc/HierarchyPage.h>
#include <lumaro/octree/entwine/DecodedPoints.h>
#include <lumaro/octree/entwine/Key.h>
#include <lumaro/octree/entwine/SubtreeIndex.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <stop_token>
#include <vector>

namespace Copc {

// A COPC file: one LAZ 1.4 file whose points are grouped into the nodes of an octree, one LAZ
// chunk per node, with the hierarchy pages in the file itself. Opening reads the header, the
// COPC info and the root hierarchy page; further pages are read when a walk first reaches their
// part of the tree, and a node's points are decoded from its own chunk alone. Like EPT, COPC is
// additive: a node's points are not repeated in its children.
class CopcTree final : public Octree::Octree {
public:
    // `location` names the .copc.laz file. Throws std::runtime_error naming the file and the
    // problem when it is missing, not LAS 1.4, not COPC, or its root page is malformed.
    explicit CopcTree(const ::Octree::Location& location, double unitScale = 1.0);
    // The same, reading through `reader` (one that Octree::open made already).
    CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader);

    // The file's path or URL, as messages name it.
    const std::string& source() const { return mSource; }
    const FileHead& head() const { return mHead; }

    // The node's hierarchy entry (reading pages on the way), or std::nullopt when the tree has
    // no such node.
    std::optional<HierarchyEntry> entry(::Octree::OctreeNodeId id, std::stop_token stop = {}) const;

    // The hierarchy pages read so far, by the key whose subtree they describe (the root first).
    std::vector<Entwine::Key> pagesRead() const { return mIndex.partsRead(); }

    using ::Octree::Octree::children;
    std::vector<::Octree::OctreeNodeId> children(::Octree::OctreeNodeId node, std::stop_token stop) const override;
    bool contains(::Octree::OctreeNodeId node) const override;
    ::Octree::NodeVisibility nodeVisibility(::Octree::OctreeNodeId) const override
    {
        return ::Octree::NodeVisibility::AllVisible;
    }
    std::uint64_t pointCount() const override { return mHead.pointCount; }
    std::uint64_t pointCount(::Octree::OctreeNodeId node) const override;
    ::Octree::PointAttributes availableAttributes() const override { return mAvailable; }

    // The node's points as stored (the file's scale and offset, 16-bit colours), for exact
    // export. Returns std::nullopt when `stop` was signalled first. Throws std::invalid_argument
    // for a node that is not in the tree and std::runtime_error naming the file, the node and the
    // problem when its chunk is truncated, corrupt, or holds a point outside the node's cube.
    std::optional<Entwine::DecodedPoints>
    decodedPoints(::Octree::OctreeNodeId node, std::stop_token stop,
                  ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const;

    std::optional<::Octree::NodePointData>
    nodePointData(::Octree::OctreeNodeId node, std::stop_token stop,
                  ::Octree::PointAttributes wanted = ::Octree::PointAttributes::all()) const override;

    // Whether the file's colours use the 16-bit range; decided once for the file (see
    // Octree::decideColorsAre16Bit). std::nullopt when `stop` ended the decision.
    std::optional<bool> colorsAre16Bit(std::stop_token stop) const;
    bool colorsAre16Bit() const;

private:
    CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader,
             std::uint64_t fileSize);
    CopcTree(const ::Octree::Location& location, double unitScale, std::shared_ptr<::Octree::StoreReader> reader,
             FileHead head, std::uint64_t fileSize);

    HierarchyEntry requireEntry(::Octree::OctreeNodeId id) const;
    Entwine::DecodedPoints decode(::Octree::OctreeNodeId id, std::stop_token stop,
                                  ::Octree::PointAttributes wanted) const;
    std::vector<std::pair<Entwine::Key, HierarchyEntry>> readPage(std::uint64_t offset, std::uint64_t size) const;
    std::string pageName(std::uint64_t offset) const;

    std::shared_ptr<::Octree::StoreReader> mReader;
    std::string mSource;
    FileHead mHead;
    HierarchyLimits mLimits;
    ::Octree::PointAttributes mAvailable;
    Entwine::SubtreeIndex<HierarchyEntry> mIndex;
};

} // namespace Copc
