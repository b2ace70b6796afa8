#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/EyeDomeLighting.h>
#include <lumaro/render/core/PointClasses.h>
#include <lumaro/render/core/PostProcess.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/core/RenderPass.h>
#include <lumaro/render/core/Renderable.h>
#include <lumaro/render/core/SplatQuality.h>
#include <lumaro/render/gpu/BlendState.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/DepthStencilState.h>
#include <lumaro/render/gpu/RasterizerState.h>
#include <lumaro/render/gpu/Texture2d.h>
#include <lumaro/render/gpu/VertexRecords.h>
#include <lumaro/render/gpu/Viewport.h>

#include <lumaro/core/InstanceId.h>
#include <lumaro/math/Color.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <d3d11.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace Graphics {
class ColorImage;
class DepthImage;
} // namespace Graphics

namespace Math {
template <class T>
class TriangleMesh;
}

/// The renderer and what it draws: Renderer, the renderables (point clouds, meshes, panoramas and
/// groups), the camera, the display settings, and the views and thumbnails made from them.
///
/// Threads: a renderer and its scene belong to the thread that created the renderer; every
/// Direct3D call stays on it. Point clouds and panoramas load on background threads of their own,
/// which never touch the device.
namespace Render {

/// The object a host creates first: it owns the Direct3D device, the camera, the scene and the
/// display settings, and draws one frame off-screen per render(). Nothing is presented: the host
/// reads the finished picture back (getColorImage) or shares the device.
///
/// Every setter compares with the stored value first and does nothing when it is unchanged;
/// otherwise it stores, tells the scene through its onUpdate… notification and sets the camera's
/// redraw flag. Use from one thread, the one that owns the immediate context: the thread that
/// created the renderer. The scene belongs to it too; only the loading threads of point clouds and
/// panoramas run elsewhere, and they never touch the device.
class LUMARO_RENDER_API Renderer : public Core::InstanceId<Renderer> {
public:
    /// Chooses the depth convention once. Throws ComException when no device can be created and
    /// std::runtime_error when the device is below Direct3D feature level 11.0.
    explicit Renderer(bool isZBufferReversed);
    /// Not copyable: a renderer owns its device and targets.
    ///@{
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;
    ///@}
    virtual ~Renderer();

    /// The renderable drawn (a group, usually); null before setScene. Replace it with setScene, which
    /// initialises it, not through the reference.
    ///@{
    std::shared_ptr<Renderable>& scene() { return mScene; }
    const std::shared_ptr<Renderable>& scene() const { return mScene; }
    ///@}
    /// De-initialises the previous scene, initialises this one and hands it render mode, tomographic
    /// colour, colour map, signed-distance flag, colour-map range and point classes. The other
    /// settings reach it only when they next change. Throws std::invalid_argument for an empty pointer, and what the
    /// scene's initialisation throws.
    void setScene(std::shared_ptr<Renderable> scene);

    /// The camera. Change it through the renderer's setters, which tell the scene; a change made
    /// on the camera itself reaches the scene only with the next notification.
    ///@{
    std::shared_ptr<Camera>& camera() { return mCamera; }
    const std::shared_ptr<Camera>& camera() const { return mCamera; }
    ///@}
    /// The Direct3D device and its immediate context, for a host that draws the picture itself
    /// (outputColorTexture). The context belongs to the renderer's thread.
    ///@{
    const ComPtr<ID3D11Device>& device() const { return mDevice; }
    const ComPtr<ID3D11DeviceContext>& deviceContext() const { return mDeviceContext; }
    ///@}

    /// The size of the picture in pixels (640 x 480 at first). Re-creates the render targets and
    /// read-back textures only when the size changes. A side longer than Direct3D's largest texture
    /// (16384) throws std::invalid_argument and changes nothing.
    void setViewport(std::size_t width, std::size_t height);
    /// The size of the picture (setViewport).
    const Viewport& viewport() const;
    /// Width over height of the viewport.
    double aspectRatio() const;

    /// The colour of the picture where nothing was drawn, alpha included (opaque white at first).
    ///@{
    void setBackgroundColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a);
    void setBackgroundColor(const Math::Color& color);
    const Math::Color& backgroundColor() const { return mBackgroundColor; }
    ///@}

    /// @name Camera
    /// Camera forwarding (see Camera): the scene hears of a change only when the matrix really
    /// changed. With setAutoAdjustZRange on, a new view or projection also fits near and far to
    /// the scene.
    ///@{

    /// Puts the eye at `eye` looking along `viewDirection`, `up` (or the world axis least aligned
    /// with the view when parallel to it) pointing up. Throws std::invalid_argument for a zero or
    /// non-finite view direction.
    void setCameraPose(const Math::Point<float, 3>& eye, const Eigen::Vector3f& viewDirection,
                       const Eigen::Vector3f& up);
    /// The same, looking at `target`; throws std::invalid_argument when `target` is the eye.
    void setCameraPose(const Math::Point<float, 3>& eye, const Math::Point<float, 3>& target,
                       const Eigen::Vector3f& up);
    /// Takes the view matrix (world to view coordinates, looking down -z) as given.
    void setViewMatrix(const Eigen::Matrix4f& viewMatrix);
    /// A perspective of `fovYDeg` degrees vertically between the planes `zNear` and `zFar`, the
    /// image shifted by the offsets in normalised device units (Camera::setPerspective).
    void setPerspective(float fovYDeg, float zNear, float zFar, float offCenterX, float offCenterY);
    /// A perspective by its four sides on the near plane (Camera::setPerspectiveOffCenter); `flag`:
    /// whether a later change of aspect ratio rescales it. Throws std::invalid_argument for a
    /// degenerate volume (left = right, bottom = top or near = 0).
    void setPerspectiveOffCenter(float left, float right, float bottom, float top, float zNear, float zFar, bool flag);
    /// An orthographic projection showing the extents (in world units) across the picture.
    void setOrthographic(float horizontalExtent, float verticalExtent, float zNear, float zFar);
    /// The horizontal extent follows from the vertical one and the viewport's aspect ratio.
    void setOrthographic(float verticalExtent, float zNear, float zFar);
    /// Takes the projection matrix as given (Camera::setProjection); `flag`: whether a later change
    /// of aspect ratio rescales it.
    void setProjection(const Eigen::Matrix4f& projection, float zNear, float zFar, bool flag);
    /// Fits near and far tightly around `box` (Camera::setZNearAndFarViaBoundingBox).
    void setZNearAndFarViaBoundingBox(const Math::NBoundingBox<float, 3>& box);

    /// The eye, in world coordinates.
    Math::Point<float, 3> eye();
    /// The picture's right, up and viewing directions in world coordinates, unit vectors.
    Eigen::Vector3f rightDirection();
    Eigen::Vector3f upDirection(); ///< See rightDirection.
    Eigen::Vector3f viewDirection(); ///< See rightDirection.
    /// World to view coordinates.
    const Eigen::Matrix4f& viewMatrix() const;
    /// View to clip coordinates.
    const Eigen::Matrix4f& projectionMatrix() const;
    /// Projection times view times the model matrix (setModelMatrix).
    Eigen::Matrix4f modelViewProjectionMatrix();
    /// The kind of projection in use.
    bool isOrthographic() const;
    bool isPerspective() const; ///< See isOrthographic.
    /// The distances of the near and far planes.
    void getZRange(float& zNear, float& zFar) const;

    /// The scene's matrix (Renderable::setMatrix), handed to the scene when it changes; part of
    /// modelViewProjectionMatrix.
    void setModelMatrix(const Eigen::Matrix4f& matrix);
    /// When on, near and far follow the scene's bounds at every frame.
    void setAutoAdjustZRange(bool enabled);
    bool autoAdjustZRangeEnabled() const { return mAutoAdjustZRange; } ///< See setAutoAdjustZRange.
    ///@}

    /// Draws one frame: the scene into the scene pass, then post-processing into the output pass.
    /// Device failures throw ComException.
    void render();
    /// The finished picture of the last frame (B8G8R8A8, the viewport's size), on the renderer's
    /// device: a host with a swap chain of its own copies it to the back buffer. Re-created by
    /// setViewport when the size changes.
    const Texture2d& outputColorTexture() const;
    /// The camera's redraw flag, else the scene's (false without a scene).
    bool needsRedraw() const;
    /// The scene's bounds in world coordinates; empty without a scene.
    Math::NBoundingBox<float, 3> boundingBox();

    /// @name Loading
    /// What the point clouds of this renderer share while they load (see also LoadingSettings.h
    /// for the library-wide limit of the node caches).
    ///@{

    /// The loader threads the clouds share: that many nodes are read and decoded at once (0: one
    /// per hardware thread, the default; 1: each cloud's walk reads its nodes on its own thread).
    /// Walks that start from now on use the new number; the nodes loaded are the same whatever it is.
    void setLoaderThreadCount(std::size_t threads);
    /// The loader threads the clouds share (the hardware's threads unless set).
    std::size_t loaderThreadCount() const;
    /// The point budget the clouds share, raised or lowered. A lower budget evicts the least
    /// important nodes at once, a higher one is filled: either shows with the clouds' next walks
    /// (reload, or restart their loading, e.g. with clearVisibleOctreeNodes). Once set, it holds
    /// for clouds added later too, instead of the smallest of the clouds' own budgets.
    void setPointBudget(std::size_t points);
    /// The point budget the clouds share: the one set, or else the smallest of the initialised
    /// clouds' budgets; 0 when neither exists.
    std::size_t pointBudget() const;
    ///@}

    /// @name Display settings
    /// How the scene is coloured and how the finished picture is adjusted.
    ///@{

    /// How the scene is coloured (RenderMode::Default at first).
    void setRenderMode(RenderMode mode);
    RenderMode renderMode() const { return mRenderMode; } ///< See setRenderMode.
    /// The colour map of the distance modes (ColorMap::Turbo at first).
    void setColorMap(ColorMap map);
    ColorMap colorMap() const { return mColorMap; } ///< See setColorMap.
    /// The distances spread over the colour map (0 to 1 at first).
    void setColorMapRange(float minDistance, float maxDistance);
    float minDistance() const { return mMinDistance; } ///< See setColorMapRange.
    float maxDistance() const { return mMaxDistance; } ///< See setColorMapRange.
    /// The distances that pass in the pass-fail and traffic-light colour maps (-0.5 to 0.5 at
    /// first); the others are red.
    void setPassFailDistanceRange(float minDistance, float maxDistance);
    float minDistancePassFail() const { return mMinDistancePassFail; } ///< See setPassFailDistanceRange.
    float maxDistancePassFail() const { return mMaxDistancePassFail; } ///< See setPassFailDistanceRange.
    /// The distances that the traffic-light colour map shows green (-0.25 to 0.25 at first); the
    /// passing distances outside them are yellow.
    void setWarnDistanceRange(float minDistance, float maxDistance);
    float minDistanceWarn() const { return mMinDistanceWarn; } ///< See setWarnDistanceRange.
    float maxDistanceWarn() const { return mMaxDistanceWarn; } ///< See setWarnDistanceRange.
    /// Whether distances keep their sign (on at first); off, they are absolute.
    void setUseSignedDistance(bool useSignedDistance);
    bool useSignedDistance() const { return mUseSignedDistance; } ///< See setUseSignedDistance.
    /// The plane whose distance RenderMode::PlaneDistance colours by, in world coordinates (y = 0 at
    /// first; see also setColorizationRange).
    void setPlaneForDistanceColorization(const Math::NPlane<float, 3>& plane);
    /// The mesh whose distance RenderMode::MeshDistance colours by, in world coordinates; null for
    /// none. Compared by identity: another pointer to an equal mesh counts as a change.
    void setMeshForDistanceColorization(std::shared_ptr<Math::TriangleMesh<float>> mesh);
    /// Whether a mesh for distance colorization is set.
    bool hasMeshForDistanceColorization() const { return mMeshForDistanceColorization != nullptr; }
    /// The colour of points in the tomographic modes (black at first).
    void setTomographicColor(Math::Color color);
    const Math::Color& tomographicColor() const { return mTomographicColor; } ///< See setTomographicColor.
    /// Whether the tomographic modes draw each cloud in its own uniform colour instead of the
    /// tomographic colour (off at first).
    void setUseCloudColorsInTomographicRenderModes(bool useCloudColors);
    /// See setUseCloudColorsInTomographicRenderModes.
    bool useCloudColorsInTomographicRenderModes() const { return mUseCloudColorsInTomographicRenderModes; }
    /// Brightness of the default mode's picture: added to every grey level (0 to 1) before contrast
    /// scales it about mid-grey (0 at first).
    void setBrightness(float brightness);
    float brightness() const { return mPostProcess.brightness(); } ///< See setBrightness.
    /// Contrast of the default mode's picture: the factor by which grey levels move away from
    /// mid-grey (1 at first).
    void setContrast(float contrast);
    float contrast() const { return mPostProcess.contrast(); } ///< See setContrast.
    /// Multiplies the alpha of the finished picture (1 at first), for hosts that composite it.
    void setOpacity(float opacity);
    float opacity() const { return mPostProcess.opacity(); } ///< See setOpacity.
    /// Eye-dome lighting of the finished picture, from the scene's depth alone (off at first; see
    /// EyeDomeLighting). It shades every render mode and meshes and panoramas alike; in the
    /// tomographic modes, whose blended points write no depth, the scene is drawn once more into
    /// the depth buffer for it. Throws std::invalid_argument (checkEyeDomeLighting), changing
    /// nothing, for a strength or radius out of range.
    void setEyeDomeLighting(const EyeDomeLighting& lighting);
    const EyeDomeLighting& eyeDomeLighting() const { return mEyeDomeLighting; } ///< See setEyeDomeLighting.
    /// How points are drawn where their discs overlap (SplatQuality::Standard at first).
    void setSplatQuality(SplatQuality quality);
    SplatQuality splatQuality() const { return mSplatQuality; } ///< See setSplatQuality.
    /// The colour of each class in RenderMode::Classification, and which classes are shown (the
    /// default colours, every class shown, at first). A hidden class's points are left out in
    /// every mode: not drawn, not picked, not read back.
    void setPointClasses(const PointClasses& classes);
    const PointClasses& pointClasses() const { return mPointClasses; } ///< See setPointClasses.
    /// The colour of one class (see setPointClasses).
    void setClassColor(std::uint8_t classIndex, const Math::Color& color);
    /// Shows or hides one class (see setPointClasses).
    void setClassVisible(std::uint8_t classIndex, bool visible);

    /// A linear colour ramp from `from` (distance 0) to `to`: sets the colorization plane through
    /// `from` facing `to` and the colour-map range (0, |to - from|). The map argument is not used;
    /// the colour map is chosen with setColorMap.
    void setColorizationRange(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to, ColorMap map);
    /// Lets the scene propose brightness and contrast, and takes them unconditionally.
    void autoAdjustBrightnessAndContrast(float lowerBound, float upperBound);
    ///@}

    /// @name Picking and read-back
    /// Picking and read-back work on the last frame; nothing is drawn again, except by
    /// writePngImage and writePoints, which render first. Picks report a miss by returning false.
    /// Read-back failures of the device throw ComException.
    ///@{

    /// The world point drawn at pixel (x, y), from the scene's exact world positions. Outside the
    /// viewport nothing is written; where nothing was drawn the point is (0, 0, 0).
    bool pickPoint(std::size_t x, std::size_t y, Math::Point<float, 3>& point);
    /// The drawn point nearest to the eye among the pixels x - t <= i < x + t, y - t <= j < y + t
    /// (clamped to the viewport; the right column and bottom row of the square are not examined, so
    /// a tolerance of 0 never hits); ties keep the first found column by column.
    bool pickClosestPointWithTolerance(std::size_t x, std::size_t y, std::size_t tolerance,
                                       Math::Point<float, 3>& point);
    /// As above, with the point's distance to the colorization mesh (signed by the face of the
    /// nearest triangle when signed distances are on). False without a colorization mesh.
    bool pickPointWithDistanceToColorizationMesh(std::size_t x, std::size_t y, std::size_t tolerance,
                                                 Math::Point<float, 3>& point, float& distance);
    /// As above, with the distance to the colorization plane, n · p + d. Also false without a
    /// colorization mesh: the two picks share that condition.
    bool pickPointWithDistanceToColorizationPlane(std::size_t x, std::size_t y, std::size_t tolerance,
                                                  Math::Point<float, 3>& point, float& distance);
    /// A plane fitted to the points drawn in the search square (robustly, then by least squares over
    /// the inliers within maxDistance of the best candidate), turned to face the eye, and where the
    /// view ray through (x, y) meets it. False when no plane fits (the plane stays as it was) or
    /// when the plane lies behind the eye (the plane is written, the point not).
    bool pickPlane(std::size_t x, std::size_t y, std::size_t tolerance, Math::NPlane<float, 3>& plane,
                   Math::Point<float, 3>& point, double maxDistance);
    /// Pixel (x, y) at clip depth `depth` to world coordinates (Camera::unProject).
    Math::Point<float, 3> unProject(std::size_t x, std::size_t y, float depth);
    /// A world point to pixel coordinates, keeping its own z (Camera::project).
    Math::Point<float, 3> project(const Math::Point<float, 3>& point);

    /// The finished (post-processed) picture of the last frame, in B8G8R8A8 rows with the row pitch
    /// of the read-back texture. Throws std::runtime_error("image size does not match") when the
    /// mapped size and the image disagree. A viewport without width or height gives an image
    /// without pixels.
    void getColorImage(Graphics::ColorImage& image);
    /// The scene's depth buffer (D32), the same way.
    void getDepthImage(Graphics::DepthImage& image);
    /// Renders, then writes the picture as a PNG file. Throws std::runtime_error naming the path
    /// when the file cannot be written (Graphics::ColorImage::writePng).
    void writePngImage(const std::filesystem::path& path);

    /// Every drawn pixel of the finished picture as a point with its colour, from the start.
    void getPoints(std::vector<VertexPosColor>& points);
    /// The next drawn pixels in row-major order from where the last call (since the last frame or
    /// reset) stopped; 0 when the picture is done. The second form writes x, y, z as doubles and the
    /// colour as an int of red | green << 8 | blue << 16.
    std::size_t getNextPointChunk(VertexPosColor* buffer, std::size_t maxCount);
    std::size_t getNextPointChunk(double* xyz, int* rgb, std::size_t maxCount); ///< See the first form.
    /// Starts the next getNextPointChunk at the first pixel again.
    void resetPointChunkPosition();
    /// Renders, then writes every drawn pixel as a line "x y z red green blue alpha" after the header
    /// "X Y Z Red Green Blue Alpha". Throws std::runtime_error naming the file when it cannot be written.
    void writePoints(const std::filesystem::path& path);
    ///@}

private:
    void updateZRangeIfNeeded();
    template <class Change>
    void changeView(Change&& change);
    template <class Change>
    void changeProjection(Change&& change, bool adjustZRange);
    // The common path of the setters: nothing happens when `value` equals `stored`; otherwise it is
    // stored, `notifyScene` is called with the scene (when there is one) and a redraw is requested.
    // Returns whether the setting changed. `stored` may be a std::tie of several fields.
    template <class Stored, class Value, class NotifyScene>
    bool changeSetting(Stored&& stored, const Value& value, NotifyScene&& notifyScene);
    // The same for settings kept by post-processing, which the scene does not hear of.
    void changePostProcessSetting(float (PostProcess::*get)() const, void (PostProcess::*set)(float), float value);
    void requestRedraw();
    // The points of the scene once more as weighted splats, summed in the splat pass.
    void drawSplats(ID3D11DeviceContext* context);
    void createStagingTextures(std::size_t width, std::size_t height);
    // The drawn points in the search square, column by column (w > 0 texels of the scene's exact
    // world positions); nullopt for an empty square.
    std::optional<std::vector<Math::Point<float, 3>>> drawnPointsAround(std::size_t x, std::size_t y,
                                                                        std::size_t tolerance);
    // The read-back of a whole render target into its staging texture, mapped until it goes.
    template <typename Read>
    void readBack(const Texture2d& staging, const Texture2d& target, Read&& read);
    template <typename Emit>
    std::size_t walkPoints(std::size_t maxCount, Emit&& emit);

    std::shared_ptr<Camera> mCamera;
    std::shared_ptr<Renderable> mScene;
    std::uint64_t mPointChunkColumn = 0;
    std::uint64_t mPointChunkRow = 0;
    Math::Color mBackgroundColor = Math::Color::white(255);
    Eigen::Matrix4f mModelMatrix = Eigen::Matrix4f::Identity();
    ComPtr<ID3D11Device> mDevice;
    ComPtr<ID3D11DeviceContext> mDeviceContext;
    DepthStencilState mDepthWriteState;
    DepthStencilState mDepthReadOnlyState;
    BlendState mAlphaBlendState;
    BlendState mOpaqueBlendState;
    BlendState mAdditiveBlendState;
    BlendState mDepthOnlyBlendState;
    RasterizerState mRasterizerState;
    RenderPass mScenePass;
    RenderPass mOutputPass;
    // The sums of weighted splats; made when high-quality splats are first drawn.
    std::optional<RenderPass> mSplatPass;
    Texture2d mColorStaging;
    Texture2d mDepthStaging;
    Texture2d mWorldPositionStaging;
    Texture2d mExactWorldPositionStaging;
    PostProcess mPostProcess;
    bool mAutoAdjustZRange = false;

    RenderMode mRenderMode = RenderMode::Default;
    ColorMap mColorMap = ColorMap::Turbo;
    std::shared_ptr<Math::TriangleMesh<float>> mMeshForDistanceColorization;
    Math::NPlane<float, 3> mPlaneForDistanceColorization{0.0f, 1.0f, 0.0f, 0.0f};
    float mMinDistance = 0.0f;
    float mMaxDistance = 1.0f;
    float mMinDistancePassFail = -0.5f;
    float mMaxDistancePassFail = 0.5f;
    float mMinDistanceWarn = -0.25f;
    float mMaxDistanceWarn = 0.25f;
    bool mUseSignedDistance = true;
    Math::Color mTomographicColor = Math::Color::black(255);
    bool mUseCloudColorsInTomographicRenderModes = false;
    EyeDomeLighting mEyeDomeLighting;
    SplatQuality mSplatQuality = SplatQuality::Standard;
    PointClasses mPointClasses;
};

} // namespace Render
