#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/ClipVolumes.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/core/Renderable.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/pointcloud/NodeCaches.h>
#include <lumaro/render/pointcloud/NodePriority.h>
#include <lumaro/render/pointcloud/NodeVertexSource.h>

#include <lumaro/math/Color.h>
#include <lumaro/math/ConvexPolytope.h>
#include <lumaro/math/Frustum.h>
#include <lumaro/math/HalfSpace.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>
#include <lumaro/octree/Location.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OctreeNodeId.h>

#include <Eigen/Core>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

namespace Core {
class BackgroundThread;
}

namespace Render {

class IFilter;
class NodePrioritizer;
class PointCloudQuery;
struct NodeRating;
struct PointCloudFrameConstants;

/// One octree point cloud (a Potree 2.0 or Entwine store, or any Octree::Octree), streamed: it is
/// never held whole. A walk over the octree, best first by how large each node looks on screen,
/// offers nodes to the prioritizer that all point clouds of a renderer share, which keeps the most
/// important nodes within the point budget; from time to time the walk publishes the resident
/// nodes through a triple buffer, and every frame draws what was published last.
///
/// Walks run synchronously (reloadPoints) or on a background thread (startAsyncReload) that every
/// change of view, matrix, visibility or colorization restarts. A damaged part of a store costs
/// only that part: a node or hierarchy chunk that cannot be read is skipped, the walk goes on with
/// the rest, and the first error is reported when the walk ends (thrown by reloadPoints, kept for
/// isAsyncReloadHealthy by the background thread).
///
/// Points are in the store's model coordinates: relative to its reference position, so that
/// georeferenced clouds keep millimetre precision in floats; the world matrix places them.
///
/// Everything but the loading thread belongs to the thread that renders.
class LUMARO_RENDER_API PointCloudRenderable : public Renderable,
                                               public std::enable_shared_from_this<PointCloudRenderable>,
                                               private NodeVertexSource {
    struct Private {
        explicit Private() = default;
    };

public:
    /// The interval at which a running walk publishes its progress, in 100 ns ticks.
    using UpdateInterval = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;

    /// Opens the store at `location` (Octree::Octree::open); throws what opening throws. `budget`
    /// is the most points the cloud keeps resident (the clouds of one renderer share the smallest
    /// of their budgets); `unitScale` multiplies the store's coordinates.
    static std::shared_ptr<PointCloudRenderable> create(const Octree::Location& location, const std::string& name,
                                                        std::size_t budget, double unitScale);
    /// Shows an octree that is already open. Throws std::invalid_argument for a null octree.
    static std::shared_ptr<PointCloudRenderable> create(std::shared_ptr<Octree::Octree> octree, const std::string& name,
                                                        std::size_t budget);

    /// Use create(): the Private tag keeps these for it (std::make_shared needs them public).
    ///@{
    PointCloudRenderable(Private, const Octree::Location& location, const std::string& name, std::size_t budget,
                         double unitScale);
    PointCloudRenderable(Private, std::shared_ptr<Octree::Octree> octree, const std::string& name, std::size_t budget);
    ///@}
    /// Not copyable: it owns its loading thread and its share of the budget.
    ///@{
    PointCloudRenderable(const PointCloudRenderable&) = delete;
    PointCloudRenderable& operator=(const PointCloudRenderable&) = delete;
    ///@}
    ~PointCloudRenderable() override;

    /// The shared caches of a store at a unit scale, created with the given sizes by the first
    /// caller (later sizes are ignored). Throws std::invalid_argument for a capacity of 0 or a unit
    /// scale that is not a finite number greater than 0. Any thread may call them.
    ///@{
    static std::shared_ptr<VertexContainerCache> createOrGetSharedVertexContainerCache(const Octree::Location& location,
                                                                                       double unitScale,
                                                                                       std::size_t capacity,
                                                                                       std::size_t expectedEntries);
    static std::shared_ptr<MeshDistanceCache>
    createOrGetSharedMeshDistanceCache(const Octree::Location& location, double unitScale, std::size_t capacity);
    ///@}

    /// Joins the prioritizer of the renderer `rendererId` and makes the device's drawer. Throws
    /// std::runtime_error "Error init was called on an already initialized
    /// PointCloudRenderable" when initialised already.
    void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override;
    /// Stops loading and releases the camera and the GPU side; the cloud's nodes leave the shared
    /// budget. May be initialised again afterwards.
    void deinit() override;
    /// Whether init was called, and deinit not since.
    bool isInitialized() const;

    /// Adds a further source of attributes for the same points, kept for stores that can use it.
    void addExternalAttributeLocation(const Octree::Location& location) const;
    /// The store.
    const std::shared_ptr<Octree::Octree>& octree() const { return mOctree; }

    /// One walk, on the calling thread, down to maxLevel. A stop request ends it quietly, without
    /// publishing. Throws std::runtime_error "reloadingPoints is not allowed if
    /// PointCloudRenderable is not initialized" before init, and the first node or hierarchy error
    /// after the walk, which went on with the rest of the tree ("Error loading point data" with the
    /// cause nested, or the store's own message naming the file). onProgress (may be empty) is
    /// called after every publication, on the calling thread.
    void reloadPoints(std::function<void()> onProgress, std::size_t maxLevel, std::stop_token stop = {});
    /// The same with a plain function, or none (nullptr).
    void reloadPoints(void (*onProgress)(), std::size_t maxLevel, std::stop_token stop = {});

    /// Starts the background walk (nothing happens while one exists). onProgress is called after
    /// every publication, on the loading thread.
    void startAsyncReload(std::function<void()> onProgress, std::size_t maxLevel);
    /// The same with a plain function, or none (nullptr).
    void startAsyncReload(void (*onProgress)(), std::size_t maxLevel);
    /// Stops the background walk and waits for it.
    void stopAsyncReload();
    /// Whether a background walk was started, and neither stopAsyncReload nor deinit came since.
    bool isAsyncReloadActive() const;
    /// True without a background walk, and with one whose last complete walk failed nowhere.
    /// Otherwise false, or, with `rethrow`, the stored error is thrown.
    bool isAsyncReloadHealthy(bool rethrow) const;

    /// How often a running walk publishes what it has (every half second at first). The setter
    /// throws std::invalid_argument "updateInterval must be larger than 0!" for zero (and for a
    /// negative interval).
    ///@{
    UpdateInterval updateInterval() const;
    void setUpdateInterval(UpdateInterval interval);
    ///@}
    /// Whether a change of the view restarts the background walk (on at first). Off, the walk
    /// goes on for the view it started with.
    ///@{
    bool restartLoadingAfterCameraChange() const;
    void setRestartLoadingAfterCameraChange(bool restart);
    ///@}

    /// Nodes that look smaller than this many pixels are not loaded (15 at first). Setting it
    /// drops the resident nodes and loads again.
    ///@{
    float octreeNodePriorityThreshold() const;
    void setOctreeNodePriorityThreshold(float threshold);
    ///@}
    /// Nodes above minLevelToKeep are always kept; nodes below maxLevelToKeep never loaded (levels
    /// 0 and 23 at first). A change applies from the next walk.
    ///@{
    std::size_t minLevelToKeep() const;
    void setMinLevelToKeep(std::size_t level);
    std::size_t maxLevelToKeep() const;
    void setMaxLevelToKeep(std::size_t level);
    ///@}

    /// The priority of a node of `level` with the bounding cube `box` (model coordinates) for the
    /// current view and settings.
    NodePriority boundingBoxPriority(std::size_t level, const Math::NBoundingBox<float, 3>& box);

    /// The prioritizer that this cloud shares with the other point clouds of its renderer: the
    /// points resident for all of them and their budget. Null before init.
    std::shared_ptr<NodePrioritizer> nodePrioritizer() const;

    /// Drops the cloud's resident nodes, publishes the empty set and starts loading again.
    void clearVisibleOctreeNodes();
    /// What the last published set holds: its nodes (0 before init).
    std::size_t numVisibleOctreeNodes() const;
    /// What the last published set holds: its points (0 before init).
    std::size_t numVisiblePoints() const;

    /// The tight bounds of the points as the store declares them (model coordinates); empty for a
    /// store without points.
    Math::NBoundingBox<float, 3> boundingBox() override;
    /// The octree's root cube, in model coordinates.
    Math::NBoundingBox<float, 3> boundingCube() const;
    /// The cube of a node of the octree, in model coordinates.
    Math::NBoundingBox<float, 3> boundingCube(Octree::OctreeNodeId node) const;
    /// Where the model coordinates' origin lies in the store's coordinates times the unit scale
    /// (the root cube's minimum corner), in double precision.
    Math::Point<double, 3> referencePosition() const;
    /// The nominal distance between points of a node of `level`, in model units.
    double spacing(std::size_t level) const;
    /// The factor that multiplies the store's coordinates (see setUnitScale).
    double unitScale() const;
    /// Rescales the store's coordinates (and empties the shared caches of the old scale for
    /// everyone, since their vertices no longer fit); nothing happens for the current scale.
    /// Throws std::invalid_argument, changing nothing, for a scale that is not a finite number
    /// greater than 0.
    void setUnitScale(double unitScale);
    /// Also takes the new world matrix for loading, drops the resident nodes and loads again.
    void invalidateWorldMatrix() override;
    /// Half-spaces in world coordinates that points must lie in (n · p + d >= 0). Throws
    /// std::runtime_error "Error: volume contains too many clipping planes, plane count = N" for
    /// more than 8, keeping the previous ones.
    void setClippingVolume(const std::vector<Math::HalfSpace<float, 3>>& halfSpaces);
    /// Boxes and prisms in world coordinates that cut away or highlight points (see
    /// ClipVolumes); none at first. Nodes that they clip away whole are not loaded: a change
    /// loads again.
    ///@{
    void setClipVolumes(const ClipVolumes& volumes);
    const ClipVolumes& clipVolumes() const { return mClipVolumes; }
    ///@}
    /// The view volume in model coordinates.
    Math::Frustum<float> frustumModelCs() const;

    /// Point size in model units at level 0 (halved per level deeper, clamped on screen to 1 to
    /// maxPointSize pixels); defaultPointSize at first.
    ///@{
    float pointSize() const;
    void setPointSize(float pointSize);
    ///@}
    /// The largest point size on screen, in pixels (5 at first).
    ///@{
    float maxPointSize() const;
    void setMaxPointSize(float pixels);
    ///@}
    /// The spacing of level 0 times 5.1.
    float defaultPointSize() const;
    /// The opacity of a point in the tomographic modes, at its centre and fading to its rim (0.01 at
    /// first): only where many points lie behind each other does the picture build up.
    ///@{
    float tomographicContrast() const;
    void setTomographicContrast(float contrast);
    ///@}
    /// The colour of the uniform-colour mode: by default one per store, distinct between stores.
    ///@{
    Math::Color uniformColor() const;
    void setUniformColor(const Math::Color& color);
    ///@}
    /// Whether the cubes of the drawn nodes are outlined, in the uniform colour (off at first).
    ///@{
    bool showBoundingBoxes() const;
    void setShowBoundingBoxes(bool show);
    ///@}
    void setSelected(bool selected) override;
    /// Hidden, the cloud drops its resident nodes and stops loading; shown again, it loads again.
    void setVisible(bool visible) override;
    /// Transparent in the two tomographic modes, over a transparent black background.
    bool isTransparent() const override;
    /// Transparent black in the tomographic modes; none otherwise.
    std::optional<Math::Color> backgroundColor() override;
    /// Proposes brightness and contrast for the post-processing of this cloud as loaded: the
    /// grey levels (intensity in the intensity mode, else the mean of red, green and blue) of the
    /// points drawn now are sorted, and the levels at the fractions `lowerFraction` and
    /// `upperFraction` (clamped to 0..1; for example 0.02 and 0.98) are stretched to black and
    /// white: contrast = 1 / (upper - lower), at most 4 and at least 1, and brightness moves the
    /// middle of the two to mid-grey, at most 0.5 either way. Without points, or with fractions
    /// that leave nothing between them, brightness 0 and contrast 1.
    void brightnessAndContrast(float lowerFraction, float upperFraction, float& brightness, float& contrast) override;

    void onUpdateRenderMode(RenderMode mode) override;
    void onUpdateColorMap(ColorMap map) override;
    void onUpdateColorMapRange(float minDistance, float maxDistance) override;
    void onUpdatePassFailDistanceRange(float minDistance, float maxDistance) override;
    void onUpdateWarnDistanceRange(float minDistance, float maxDistance) override;
    void onUpdateTomographicColor(const Math::Color& color) override;
    void onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors) override;
    void onUpdateUseSignedDistance(bool useSignedDistance) override;
    void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane) override;
    void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh) override;
    void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewport(const std::shared_ptr<Camera>& camera) override;
    void onUpdateZRange(const std::shared_ptr<Camera>& camera) override;
    void onUpdatePointClasses(const PointClasses& classes) override;

    /// Draws the nodes published last, uploading them first when they are new.
    void render() override;
    /// Draws the nodes that render() drew once more, as weighted splats.
    void renderSplats() override;

    /// A query of this cloud's points in world coordinates (see PointCloudQuery), through the
    /// store's shared query cache. `filter` stays the caller's.
    std::shared_ptr<PointCloudQuery> createPointCloudQuery(IFilter* filter, std::size_t maxLevel, float minSpacing,
                                                           std::chrono::nanoseconds fetchTimeLimit);

private:
    struct RenderState;
    struct LoaderState;

    std::optional<VertexContainer> fetchNodeVertices(Octree::OctreeNodeId node, std::stop_token stop) override;
    // Fills the vertices' distances to the distance-colorization mesh, when one is set, through
    // the shared mesh-distance cache; false when `stop` ended the work.
    bool updateMeshDistances(VertexContainer& vertices, Octree::OctreeNodeId node, std::stop_token stop);

    // The shared caches of the store at its current unit scale.
    void attachCaches();
    void restartLoading();
    void publish(const std::function<void()>& onProgress);
    NodeRating currentRating() const;
    // Copies of the camera and the world matrix that the loader and the constants need.
    void takeCameraView(const Camera& camera);
    void takeProjection(const Camera& camera);
    void takeWorldMatrix();
    void rebuildModelMesh();
    void markConstantsDirty();
    // Stores a setting of the frame constants and marks them for upload when it changed.
    template <typename T>
    bool changeConstant(T& stored, const T& value);
    // Changes what the walks rate nodes by: `change` alters the rating under the lock and says
    // whether anything changed; if so, the constants are marked and loading starts again.
    template <typename Change>
    void changeRating(Change&& change);
    PointCloudFrameConstants frameConstants() const;

    std::shared_ptr<Octree::Octree> mOctree;
    std::size_t mBudget;
    std::shared_ptr<VertexContainerCache> mVertexCache;
    std::shared_ptr<MeshDistanceCache> mMeshDistanceCache;
    std::shared_ptr<NodePointDataCache> mQueryCache;

    // Read by the loading thread, changed by the caller's thread: guarded by mMutex.
    mutable std::mutex mMutex;
    std::unique_ptr<LoaderState> mLoaderState;

    // The caller's thread only.
    std::shared_ptr<Camera> mCamera;
    std::shared_ptr<RenderState> mRenderState;
    bool mRestartLoadingAfterCameraChange = true;
    float mPointSize;
    float mMaxPointSize = 5.0f;
    float mTomographicContrast = 0.01f;
    Math::Color mUniformColor;
    Math::Color mTomographicColor = Math::Color::black(255);
    bool mShowBoundingBoxes = false;
    bool mUseCloudColorsInTomographicRenderModes = false;
    PointClasses mPointClasses;
    ColorMap mColorMap = ColorMap::Turbo;
    float mMinDistancePassFail = -0.5f;
    float mMaxDistancePassFail = 0.5f;
    float mMinDistanceWarn = -0.25f;
    float mMaxDistanceWarn = 0.25f;
    std::vector<Math::HalfSpace<float, 3>> mClippingHalfSpaces; // world coordinates
    ClipVolumes mClipVolumes; // world coordinates; the walk's copy is in its rating
    std::shared_ptr<Math::TriangleMesh<float>> mMesh; // world coordinates
    std::atomic<bool> mVisibleForLoader{true};

    // The loader's error, set on its thread, read on the caller's.
    mutable std::mutex mErrorMutex;
    std::exception_ptr mLoaderError;
    // Last: destroyed first, so that the walk stops before anything it uses goes away.
    std::unique_ptr<Core::BackgroundThread> mLoader;
};

} // namespace Render
