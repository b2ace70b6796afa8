#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/StoreReader.h>
#include <lumaro/octree/copc/CopcTree.h>
#include <lumaro/octree/potree/PotreeTree.h>

#include "ModelTransform.h"
#include "OpenEntwineTree.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <exception>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Octree {

namespace {

void requireValidUnitScale(double unitScale)
{
    if (!std::isfinite(unitScale) || unitScale <= 0) {
        throw std::invalid_argument("unit scale must be finite and positive, not " + std::to_string(unitScale));
    }
}

std::array<double, 3> toArray(const Math::Point<double, 3>& point)
{
    return {point.x(), point.y(), point.z()};
}

// Set while this thread reads for a store-wide decision: nodeBytes then keeps what it reads.
thread_local int decisionsUnderWay = 0;

class DecisionScope {
public:
    DecisionScope() { ++decisionsUnderWay; }
    ~DecisionScope() { --decisionsUnderWay; }
    DecisionScope(const DecisionScope&) = delete;
    DecisionScope& operator=(const DecisionScope&) = delete;
};

} // namespace

std::shared_ptr<Octree> Octree::open(const Location& location, double unitScale)
{
    // One reader looks and then reads the store: for a URL, it keeps its connections open.
    const std::shared_ptr<StoreReader> reader = StoreReader::open(location);
    std::error_code error;
    const bool oneFile =
        location.isUrl() ? location.url().ends_with(".laz") : std::filesystem::is_regular_file(location.path(), error);
    if (oneFile) {
        return std::make_shared<Copc::CopcTree>(location, unitScale, reader);
    }
    // A server is asked for both metadata files at once: one round trip, not two.
    std::future<bool> hasEptJson = std::async(location.isUrl() ? std::launch::async : std::launch::deferred,
                                              [&reader] { return reader->exists("ept.json"); });
    const bool hasMetadataJson = reader->exists("metadata.json");
    const bool hasEpt = hasEptJson.get();
    if (hasMetadataJson) {
        return std::make_shared<PoTree::PotreeTree>(location, unitScale, reader);
    }
    if (hasEpt) {
        return openEntwineTree(location, unitScale, reader);
    }
    if (!location.isUrl() && !std::filesystem::is_directory(location.path(), error)) {
        throw std::runtime_error("point cloud store not found: " + location.toString());
    }
    if (location.isUrl()) {
        throw std::runtime_error(
            "no point cloud store at " + location.toString()
            + " (neither metadata.json nor ept.json is there, or the server refused access to them)");
    }
    throw std::runtime_error("no point cloud store in " + location.toString()
                             + " (neither metadata.json nor ept.json is there)");
}

Octree::Octree(const Location& location, double unitScale, const Math::NBoundingBox<double, 3>& cube,
               const Math::NBoundingBox<double, 3>& tightBounds, double rootSpacing)
    : mLocation(location),
      mUnitScale(unitScale),
      mCubeMin(toArray(cube.min())),
      mCubeMax(toArray(cube.max())),
      mTightMin(toArray(tightBounds.min())),
      mTightMax(toArray(tightBounds.max())),
      mRootSpacing(rootSpacing)
{
    requireValidUnitScale(unitScale);
}

void Octree::setUnitScale(double unitScale)
{
    requireValidUnitScale(unitScale);
    mUnitScale.store(unitScale, std::memory_order_relaxed);
}

Math::Point<double, 3> Octree::referencePosition() const
{
    const double s = unitScale();
    return {mCubeMin[0] * s, mCubeMin[1] * s, mCubeMin[2] * s};
}

Math::NBoundingBox<double, 3> Octree::worldBoundingCube(OctreeNodeId node) const
{
    const double s = unitScale();
    const auto cell = node.gridPosition();
    const double cells = std::ldexp(1.0, static_cast<int>(node.level()));
    Math::Point<double, 3> min;
    Math::Point<double, 3> max;
    for (int axis = 0; axis < 3; ++axis) {
        const double edge = (mCubeMax[axis] - mCubeMin[axis]) / cells;
        min[axis] = (mCubeMin[axis] + edge * cell[axis]) * s;
        max[axis] = (mCubeMin[axis] + edge * (cell[axis] + 1.0)) * s;
    }
    return {min, max};
}

Math::NBoundingBox<float, 3> Octree::boundingCube(OctreeNodeId node) const
{
    const auto world = worldBoundingCube(node);
    const auto reference = referencePosition();
    return {Math::Point<float, 3>((world.min() - reference).cast<float>()),
            Math::Point<float, 3>((world.max() - reference).cast<float>())};
}

Math::NBoundingBox<double, 3> Octree::worldBoundingBox() const
{
    if (pointCount() == 0) {
        return {};
    }
    const double s = unitScale();
    return {Math::Point<double, 3>(mTightMin[0] * s, mTightMin[1] * s, mTightMin[2] * s),
            Math::Point<double, 3>(mTightMax[0] * s, mTightMax[1] * s, mTightMax[2] * s)};
}

Math::NBoundingBox<float, 3> Octree::boundingBox() const
{
    const auto world = worldBoundingBox();
    if (world.isEmpty()) {
        return {};
    }
    const auto reference = referencePosition();
    return {Math::Point<float, 3>((world.min() - reference).cast<float>()),
            Math::Point<float, 3>((world.max() - reference).cast<float>())};
}

double Octree::spacing(std::size_t level) const
{
    return std::ldexp(mRootSpacing, -static_cast<int>(level)) * unitScale();
}

void Octree::visitBreadthFirst(const std::function<void(OctreeNodeId)>& visit) const
{
    std::deque<OctreeNodeId> pending{OctreeNodeId::root()};
    while (!pending.empty()) {
        const OctreeNodeId id = pending.front();
        pending.pop_front();
        visit(id);
        for (const OctreeNodeId child : children(id)) {
            pending.push_back(child);
        }
    }
}

NodePointData Octree::modelPointData(const RawPoints& raw, const std::array<double, 3>& scale,
                                     const std::array<double, 3>& offset, bool colorsAre16Bit) const
{
    return toNodePointData(raw, modelTransform(scale, offset), colorsAre16Bit);
}

ModelTransform Octree::modelTransform(const std::array<double, 3>& scale, const std::array<double, 3>& offset) const
{
    ModelTransform transform{scale, {}, unitScale()};
    for (int axis = 0; axis < 3; ++axis) {
        transform.offsetFromOrigin[axis] = offset[axis] - mCubeMin[axis];
    }
    return transform;
}

bool Octree::sampleNodes(const std::function<void(OctreeNodeId)>& sample, std::stop_token stop) const
{
    constexpr int mostTried = 8;
    std::exception_ptr firstError;
    int tried = 0;
    std::deque<OctreeNodeId> pending{OctreeNodeId::root()};
    while (!pending.empty()) {
        const OctreeNodeId node = pending.front();
        pending.pop_front();
        try {
            if (pointCount(node) > 0) {
                ++tried;
                sample(node);
                return true;
            }
        } catch (const OperationCancelled&) {
            throw;
        } catch (const std::exception&) {
            if (!firstError) {
                firstError = std::current_exception();
            }
            if (tried >= mostTried) {
                break;
            }
        }
        for (const OctreeNodeId child : children(node, stop)) {
            pending.push_back(child);
        }
    }
    if (firstError) {
        std::rethrow_exception(firstError);
    }
    return false;
}

std::optional<bool> Octree::decideColorsAre16Bit(const std::function<StoredColors(OctreeNodeId)>& colorsOf,
                                                 std::stop_token stop) const
{
    const std::lock_guard lock(mColorMutex);
    if (!mColorsAre16Bit) {
        bool wide = false;
        if (availableAttributes().contains(PointAttribute::Color)) {
            try {
                sampleNodes(
                    [&](OctreeNodeId sampled) {
                        const DecisionScope deciding;
                        for (const auto& color : colorsOf(sampled)) {
                            wide = wide || color[0] > 255 || color[1] > 255 || color[2] > 255;
                        }
                    },
                    stop);
            } catch (const OperationCancelled&) {
                return std::nullopt;
            }
        }
        mColorsAre16Bit = wide;
    }
    return mColorsAre16Bit;
}

void Octree::declareColorsAre16Bit(bool wide) const
{
    const std::lock_guard lock(mColorMutex);
    mColorsAre16Bit = wide;
}

std::optional<std::uint16_t> Octree::fullIntensity(std::stop_token stop) const
{
    const std::lock_guard lock(mIntensityMutex);
    if (mFullIntensity) {
        return mFullIntensity;
    }
    std::uint16_t full = 65535;
    if (availableAttributes().contains(PointAttribute::Intensity)) {
        std::optional<NodePointData> sample;
        try {
            sampleNodes(
                [&](OctreeNodeId sampled) {
                    const DecisionScope deciding;
                    sample = nodePointData(sampled, stop, PointAttribute::Intensity);
                    if (!sample) {
                        throw OperationCancelled();
                    }
                },
                stop);
        } catch (const OperationCancelled&) {
            return std::nullopt;
        }
        if (sample) {
            std::vector<std::uint16_t> intensities(sample->intensities().begin(), sample->intensities().end());
            if (!intensities.empty()) {
                const auto percentile =
                    intensities.begin() + static_cast<std::ptrdiff_t>((intensities.size() - 1) * 99 / 100);
                std::nth_element(intensities.begin(), percentile, intensities.end());
                full = std::max<std::uint16_t>(*percentile, 1);
            }
        }
    }
    mFullIntensity = full;
    return mFullIntensity;
}

std::string Octree::nodeBytes(OctreeNodeId node, const std::function<std::string()>& read) const
{
    const bool deciding = decisionsUnderWay > 0;
    {
        const std::lock_guard lock(mKeptMutex);
        if (mKept && mKept->node == node) {
            if (deciding) {
                return mKept->bytes;
            }
            std::string bytes = std::move(mKept->bytes);
            mKept.reset();
            return bytes;
        }
    }
    // Read without the lock: a slow read must not hold up other nodes.
    std::string bytes = read();
    if (deciding) {
        const std::lock_guard lock(mKeptMutex);
        mKept = KeptBytes{node, bytes};
    }
    return bytes;
}

void Octree::addExternalAttributeLocation(const Location& location)
{
    const std::lock_guard lock(mExternalMutex);
    mExternalLocations.push_back(location);
}

std::vector<Location> Octree::externalAttributeLocations() const
{
    const std::lock_guard lock(mExternalMutex);
    return mExternalLocations;
}

} // namespace Octree
