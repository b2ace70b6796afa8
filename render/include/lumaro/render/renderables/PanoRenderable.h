#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/Renderable.h>

#include <lumaro/core/JobState.h>
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/graphics/PanoramaLoader.h>

#include <Eigen/Core>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Render {

class PanoDrawer;
struct PanoConstants;

/// A spherical panorama around its origin, streamed tile by tile from a Graphics::PanoramaLoader:
/// coarse levels first and, within a level, the tiles nearest the view direction first, on a
/// loading thread of its own; each frame uploads what has arrived and samples, per tile, the finest
/// level there is. It covers the screen with one quad and writes colour, world positions and a
/// real depth, so points and meshes hide it and are hidden by it at its measured distances; where
/// no distance is known yet it lies just inside the far plane.
///
/// Everything but the loading thread belongs to the thread that renders; the loading state may be
/// read from any thread.
class LUMARO_RENDER_API PanoRenderable : public Renderable, public std::enable_shared_from_this<PanoRenderable> {
    struct Private {
        explicit Private() = default;
    };

public:
    /// The most tiles a level may have (init refuses loaders with more).
    static constexpr int MAX_TILES_PER_LEVEL = static_cast<int>(Graphics::PanoramaLoader::maxTilesPerLevel);

    /// A panorama of the loader's tiles; nothing is loaded until loadPanoramaTiles or
    /// startAsyncPanoramaTilesLoading. A null loader draws nothing.
    static std::shared_ptr<PanoRenderable> create(const std::shared_ptr<Graphics::PanoramaLoader>& loader,
                                                  std::string name);
    /// Use create(): the Private tag keeps this for it (std::make_shared needs it public).
    PanoRenderable(Private, std::shared_ptr<Graphics::PanoramaLoader> loader, std::string name);
    /// Not copyable: it owns its loading thread and its textures.
    ///@{
    PanoRenderable(const PanoRenderable&) = delete;
    PanoRenderable& operator=(const PanoRenderable&) = delete;
    ///@}
    /// Stops and joins the loading thread first.
    ~PanoRenderable() override;

    /// Creates the tile arrays (placeholders: level n grey n x 30 in colour, the largest float in
    /// depth, padded to four levels of each), upload textures, views, sampler and shaders. Throws
    /// std::invalid_argument for a loader of more than four colour or depth levels, or of more
    /// tiles per level than MAX_TILES_PER_LEVEL.
    void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override;
    /// Keeps the tiles; loading goes on until stopped.
    void deinit() override;
    /// A panorama shows its colours in every render mode.
    void onUpdateRenderMode(RenderMode mode) override;
    void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateZRange(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewport(const std::shared_ptr<Camera>& camera) override;
    void setMatrix(const Eigen::Matrix4f& matrix) override;
    void invalidateWorldMatrix() override;
    /// Uploads the tiles that arrived since the last frame, then draws.
    void render() override;
    /// Always empty: a panorama takes no part in the scene's bounds.
    Math::NBoundingBox<float, 3> boundingBox() override;

    /// Loads every tile on the calling thread; returns the final state (3 when all arrived, 4
    /// without a loader or when the loader threw).
    Core::JobState loadPanoramaTiles();
    /// Starts loading on a thread of its own, stopping and joining one that runs. onTileLoaded is
    /// called on that thread after each tile and must not touch the device.
    void startAsyncPanoramaTilesLoading(std::function<void()> onTileLoaded);
    /// The same with a plain function, or none (nullptr).
    void startAsyncPanoramaTilesLoading(void (*onTileLoaded)());
    /// Stops and joins the loading thread, if there is one.
    void stopAsyncPanoramaTilesLoading();
    /// Where loading stands: not started, running, stopped, finished (every tile arrived) or failed
    /// (the loader threw; the tiles that arrived are drawn). Any thread may ask.
    Core::JobState loadingState() const { return mState.load(); }
    /// Whether every tile has arrived.
    bool isLoadingComplete() const;
    /// Returns once loading has ended: every tile arrived, or it was stopped or failed (loadingState
    /// tells which); at once when loading never started.
    void waitForLoadingComplete() const;

private:
    Core::JobState loadPanoramaTiles(std::stop_token stop, const std::function<void()>& onTileLoaded);
    void updatePanoramaTextures();
    PanoConstants& modifyConstants();
    void takeCamera(const Camera& camera);
    void takeWorldMatrix();
    void updateObjectViewDirection();

    std::unique_ptr<PanoConstants> mConstants;
    bool mConstantsDirty = true;
    std::unique_ptr<PanoDrawer> mDrawer;
    std::shared_ptr<Camera> mCamera;
    std::shared_ptr<Graphics::PanoramaLoader> mLoader;

    std::mutex mTileMutex;
    std::vector<std::pair<std::uint64_t, Graphics::ColorImage>> mPendingColorTiles;
    std::vector<std::pair<std::uint64_t, Graphics::DepthImage>> mPendingDepthTiles;

    std::jthread mThread;
    std::atomic<Core::JobState> mState{Core::JobState::NotStarted};

    Eigen::Vector3f mViewDirection = -Eigen::Vector3f::UnitZ(); // world space
    mutable std::mutex mViewMutex;
    Eigen::Vector3f mObjectViewDirection = -Eigen::Vector3f::UnitZ();
};

} // namespace Render
