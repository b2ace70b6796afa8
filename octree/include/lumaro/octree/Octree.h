#pragma once

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>
#include <lumaro/octree/CacheIdentifier.h>
#include <lumaro/octree/Location.h>
#include <lumaro/octree/NodePointData.h>
#include <lumaro/octree/NodeVisibility.h>
#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/octree/PointAttributes.h>
#include <lumaro/octree/RawPoints.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace Octree {

struct ModelTransform;

// A point-cloud octree store as the renderer sees it: a tree of nodes with bounding cubes, a
// nominal point spacing per level, and the decoded points of each node.
//
// Coordinates: every box and every point handed out is in "model" coordinates, which are the
// store's world coordinates multiplied by the unit scale, minus referencePosition(). This keeps
// floats precise near the cloud. referencePosition() itself is in double precision.
//
// All member functions may be called from several threads at once. setUnitScale must not race
// with reads whose results the caller mixes with results read after it.
class Octree {
public:
    // Opens the store at `location`: a file is a COPC file; in a folder, metadata.json makes a
    // Potree 2.0 store and ept.json an Entwine store. Throws std::runtime_error naming the path
    // when there is no such store or it cannot be read.
    static std::shared_ptr<Octree> open(const Location& location, double unitScale = 1.0);

    virtual ~Octree() = default;
    Octree(const Octree&) = delete;
    Octree& operator=(const Octree&) = delete;

    const Location& location() const { return mLocation; }
    CacheIdentifier cacheIdentifier() const { return {mLocation, unitScale()}; }

    double unitScale() const { return mUnitScale.load(std::memory_order_relaxed); }
    // Throws std::invalid_argument unless the scale is finite and positive.
    void setUnitScale(double unitScale);

    // The model origin in scaled world coordinates: the minimum corner of the root cube.
    Math::Point<double, 3> referencePosition() const;

    // The root cube and the cube of any node, in model coordinates.
    Math::NBoundingBox<float, 3> boundingCube() const { return boundingCube(OctreeNodeId::root()); }
    Math::NBoundingBox<float, 3> boundingCube(OctreeNodeId node) const;
    // The same cubes in scaled world coordinates, at full precision.
    Math::NBoundingBox<double, 3> worldBoundingCube(OctreeNodeId node) const;

    // The tight bounds of the points in model coordinates (empty when the store has no points).
    Math::NBoundingBox<float, 3> boundingBox() const;
    // The tight bounds in scaled world coordinates.
    Math::NBoundingBox<double, 3> worldBoundingBox() const;

    // Nominal distance between points of a node of `level`, in scaled units.
    double spacing(std::size_t level) const;

    static std::size_t level(OctreeNodeId node) { return node.level(); }

    // The existing children of a node, in ascending child index. May read hierarchy data from
    // the store the first time a part of the tree is visited: a read failure throws
    // std::runtime_error naming the file, and a stop requested before the data were read throws
    // OperationCancelled. Hierarchy data are read without holding any lock, so a slow or stopped
    // read never keeps other threads from the parts of the tree that are already known.
    virtual std::vector<OctreeNodeId> children(OctreeNodeId node, std::stop_token stop) const = 0;
    std::vector<OctreeNodeId> children(OctreeNodeId node) const { return children(node, {}); }
    // True when the node has no children.
    bool isLeaf(OctreeNodeId node, std::stop_token stop = {}) const { return children(node, stop).empty(); }
    // Whether the node exists in the tree (the root always does).
    virtual bool contains(OctreeNodeId node) const = 0;

    virtual NodeVisibility nodeVisibility(OctreeNodeId node) const = 0;

    // Total number of points of the store, and of one node.
    virtual std::uint64_t pointCount() const = 0;
    virtual std::uint64_t pointCount(OctreeNodeId node) const = 0;

    // Which attributes the store's points have.
    virtual PointAttributes availableAttributes() const = 0;

    // Reads and decodes the points of a node: the requested attributes that the store has.
    // Returns std::nullopt when `stop` was signalled before the data were complete. Throws
    // std::runtime_error naming the file when the data cannot be read or are malformed, and
    // std::invalid_argument for a node that is not in the tree.
    virtual std::optional<NodePointData> nodePointData(OctreeNodeId node, std::stop_token stop,
                                                       PointAttributes wanted = PointAttributes::all()) const = 0;

    // The intensity that stands for full brightness when intensities are shown as grey levels:
    // most scanners use only a small part of the 16-bit range. Decided once per store, from the
    // first node with points in breadth-first order that can be read (the root, as a rule, which
    // samples the whole cloud): the 99th percentile of its intensities, at least 1. A store without intensities
    // gives 65535. std::nullopt when `stop` ended the reading; read failures throw.
    std::optional<std::uint16_t> fullIntensity(std::stop_token stop) const;

    // Further attribute sources for the same points (kept for stores that can use them).
    void addExternalAttributeLocation(const Location& location);
    std::vector<Location> externalAttributeLocations() const;

protected:
    // `cube` is the root cube and `tightBounds` the bounds of the points, both in unscaled world
    // coordinates; `rootSpacing` is the nominal spacing of level 0, also unscaled.
    Octree(const Location& location, double unitScale, const Math::NBoundingBox<double, 3>& cube,
           const Math::NBoundingBox<double, 3>& tightBounds, double rootSpacing);

    // Calls `visit` for every node of the tree in breadth-first order, each before its children
    // are asked for, so a failure to read a node surfaces at that node.
    void visitBreadthFirst(const std::function<void(OctreeNodeId)>& visit) const;

    // The point data handed to the renderer for points stored as integers with the store's
    // `scale` and `offset` (world = integer x scale + offset): model coordinates, and colours
    // divided by 256 when `colorsAre16Bit`.
    NodePointData modelPointData(const RawPoints& raw, const std::array<double, 3>& scale,
                                 const std::array<double, 3>& offset, bool colorsAre16Bit) const;

    // The mapping modelPointData applies, for decoders that write model data directly.
    ModelTransform modelTransform(const std::array<double, 3>& scale, const std::array<double, 3>& offset) const;

    // Calls `sample` with the nodes with points in breadth-first order (the root, as a rule, which
    // samples the whole cloud) until one call returns without throwing, trying at most eight: a
    // damaged root leaves a store-wide decision to the next node instead of making every node
    // unreadable. False for a store without points. When no node could be sampled, the first
    // node's error is thrown; OperationCancelled (a stop) passes through at once.
    bool sampleNodes(const std::function<void(OctreeNodeId)>& sample, std::stop_token stop = {}) const;

    // Whether the store's colours use the 16-bit range, so that they become 8-bit by dividing by
    // 256. Decided once for the whole store from the stored colours of the node sampleNodes()
    // samples, which `colorsOf` decodes: one decision keeps neighbouring nodes equally bright. A store
    // without colours decides false without reading. std::nullopt when `colorsOf` or the search
    // for the node was stopped (OperationCancelled); read failures throw.
    using StoredColors = std::vector<std::array<std::uint16_t, 3>>;
    std::optional<bool> decideColorsAre16Bit(const std::function<StoredColors(OctreeNodeId)>& colorsOf,
                                             std::stop_token stop = {}) const;
    // For stores that declare their colour range: no node is read to decide it.
    void declareColorsAre16Bit(bool wide) const;

    // The stored bytes of `node`, as `read` reads them. The store-wide decisions (fullIntensity,
    // decideColorsAre16Bit) sample one node; the bytes they read of it are kept until the next
    // read of that node outside a decision takes them, so that the walk that follows does not
    // fetch the node again (for a remote store, the root costs a request and its bytes).
    std::string nodeBytes(OctreeNodeId node, const std::function<std::string()>& read) const;

private:
    Location mLocation;
    std::atomic<double> mUnitScale;
    std::array<double, 3> mCubeMin;
    std::array<double, 3> mCubeMax;
    std::array<double, 3> mTightMin;
    std::array<double, 3> mTightMax;
    double mRootSpacing;
    mutable std::mutex mExternalMutex;
    std::vector<Location> mExternalLocations;
    // Not std::call_once: with MinGW's threads a throwing call_once never releases its waiters.
    mutable std::mutex mIntensityMutex;
    mutable std::optional<std::uint16_t> mFullIntensity;
    mutable std::mutex mColorMutex;
    mutable std::optional<bool> mColorsAre16Bit;
    // The sampled node's bytes between the decisions and the next read of the node.
    struct KeptBytes {
        OctreeNodeId node;
        std::string bytes;
    };
    mutable std::mutex mKeptMutex;
    mutable std::optional<KeptBytes> mKept;
};

} // namespace Octree
