#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/core/Renderable.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <lumaro/math/Color.h>
#include <lumaro/math/NPlane.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Render {

/// An ordered list of renderables that the renderer sees as one: it forwards life-cycle calls,
/// camera updates and display settings to every child, draws the visible children in order and
/// combines their bounds, redraw needs, transparency and background colours. Its world matrix is
/// the parent transform of its children. Copies share the children.
///
/// Like every renderable, a group and its children belong to the thread that renders.
class LUMARO_RENDER_API GroupRenderable : public Renderable, public std::enable_shared_from_this<GroupRenderable> {
    struct Private {
        explicit Private() = default;
    };

public:
    /// The children, in drawing order.
    using Children = std::vector<std::shared_ptr<Renderable>>;

    /// An empty group. It must stay held by a shared pointer: its children point back at it.
    static std::shared_ptr<GroupRenderable> create(std::string name);
    /// Use create(): the Private tag keeps this for it (std::make_shared needs it public).
    GroupRenderable(Private, const std::string& name);

    /// Appends the child and makes this group its parent. When the group is initialised, the child
    /// is initialised at once and given render mode, distance mesh, colour map, signed-distance
    /// flag, colour-map range and distance plane (the other settings reach it with their next
    /// change). When the child's initialisation throws, the child is not added and the exception
    /// propagates. Throws std::bad_weak_ptr when the group is not held by a shared pointer.
    void add(std::shared_ptr<Renderable> child);
    /// Renames the child, then adds it.
    void add(const std::string& name, std::shared_ptr<Renderable> child);
    /// The first child of that name; null when there is none.
    std::shared_ptr<Renderable> findByName(const std::string& name);
    /// Removes every child of that name (the order of the others may change); removed children are
    /// de-initialised.
    void removeByName(const std::string& name);
    /// Removes the child at `position`, de-initialised.
    void remove(Children::const_iterator position);
    /// Removes every child, de-initialised.
    void removeAll();

    /// The children in drawing order, for loops over them.
    ///@{
    Children::iterator begin() { return mChildren.begin(); }
    Children::iterator end() { return mChildren.end(); }
    ///@}
    /// The child added last; the group must not be empty.
    ///@{
    std::shared_ptr<Renderable>& back() { return mChildren.back(); }
    const std::shared_ptr<Renderable>& back() const { return mChildren.back(); }
    ///@}
    std::size_t size() const { return mChildren.size(); } ///< The number of children.
    bool empty() const { return mChildren.empty(); } ///< Whether the group has no children.

    /// Initialises every child, and keeps device and camera for the children added later.
    void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override;
    /// De-initialises every child.
    void deinit() override;
    /// Draws the visible children in order.
    void render() override;
    void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateZRange(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewport(const std::shared_ptr<Camera>& camera) override;
    void onUpdateRenderMode(RenderMode mode) override;
    void onUpdateTomographicColor(const Math::Color& color) override;
    void onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors) override;
    void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh) override;
    void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane) override;
    void onUpdateColorMap(ColorMap map) override;
    void onUpdateUseSignedDistance(bool useSignedDistance) override;
    void onUpdateColorMapRange(float minDistance, float maxDistance) override;
    void onUpdatePassFailDistanceRange(float minDistance, float maxDistance) override;
    void onUpdateWarnDistanceRange(float minDistance, float maxDistance) override;
    /// The first child's that has one.
    std::optional<Math::Color> backgroundColor() override;
    /// When any child is.
    bool isTransparent() const override;
    /// The mean of the children's proposals.
    void brightnessAndContrast(float lowerBound, float upperBound, float& brightness, float& contrast) override;
    /// The children's boxes in the group's coordinates, together.
    Math::NBoundingBox<float, 3> boundingBox() override;
    /// Marks the group's and every child's world matrix stale.
    void invalidateWorldMatrix() override;
    /// When any child needs one, or the group itself.
    bool needsRedraw() const override;
    /// Selects or deselects the group and every child.
    void setSelected(bool selected) override;
    void onUpdatePointClasses(const PointClasses& classes) override;
    /// Has the visible children draw their splats, in order.
    void renderSplats() override;

private:
    bool isInitialized() const;
    void deinitIfInitialized(Renderable& child);
    template <typename Notify>
    void forEachChild(Notify&& notify);

    std::size_t mRendererId = 0;
    std::shared_ptr<Camera> mCamera;
    ComPtr<ID3D11Device> mDevice;
    ComPtr<ID3D11DeviceContext> mContext;
    RenderMode mRenderMode = RenderMode::Default;
    std::shared_ptr<Math::TriangleMesh<float>> mMesh;
    Math::NPlane<float, 3> mPlane;
    ColorMap mColorMap = ColorMap::Turbo;
    float mMinDistance = 0.0f;
    float mMaxDistance = 1.0f;
    float mMinDistancePassFail = -0.5f;
    float mMaxDistancePassFail = 0.5f;
    float mMinDistanceWarn = -0.25f;
    float mMaxDistanceWarn = 0.25f;
    bool mUseSignedDistance = true;
    Math::Color mTomographicColor = Math::Color::black(255);
    bool mUseCloudColorsInTomographicRenderModes = false;
    PointClasses mPointClasses;
    Children mChildren;
};

} // namespace Render
