#include <lumaro/render/renderables/GroupRenderable.h>

#include <algorithm>
#include <tuple>
#include <utility>

#if defined(_WIN32)
// Only so that the COM pointers handed to the children can be copied here; nothing calls Direct3D.
#include <d3d11.h>
#endif

namespace Render {

std::shared_ptr<GroupRenderable> GroupRenderable::create(std::string name)
{
    return std::make_shared<GroupRenderable>(Private(), name);
}

GroupRenderable::GroupRenderable(Private, const std::string& name) : Renderable(name) {}

bool GroupRenderable::isInitialized() const
{
    return mCamera && mDevice && mContext;
}

template <typename Notify>
void GroupRenderable::forEachChild(Notify&& notify)
{
    for (const std::shared_ptr<Renderable>& child : mChildren)
        notify(*child);
}

void GroupRenderable::deinitIfInitialized(Renderable& child)
{
    if (isInitialized())
        child.deinit();
}

void GroupRenderable::add(std::shared_ptr<Renderable> child)
{
    mChildren.push_back(child);
    child->setParent(shared_from_this());
    if (!isInitialized())
        return;
    try {
        child->init(mRendererId, mCamera, mDevice, mContext);
    } catch (...) {
        // A child that cannot start (a mesh file that cannot be read) is not kept: the group
        // would draw it uninitialised.
        mChildren.pop_back();
        child->setParent({});
        throw;
    }
    child->onUpdateRenderMode(mRenderMode);
    child->onUpdateMeshForDistanceColorization(mMesh);
    child->onUpdateColorMap(mColorMap);
    child->onUpdateUseSignedDistance(mUseSignedDistance);
    child->onUpdateColorMapRange(mMinDistance, mMaxDistance);
    child->onUpdatePlaneForDistanceColorization(mPlane);
    child->onUpdatePointClasses(mPointClasses);
}

void GroupRenderable::add(const std::string& name, std::shared_ptr<Renderable> child)
{
    child->setName(name);
    add(std::move(child));
}

std::shared_ptr<Renderable> GroupRenderable::findByName(const std::string& name)
{
    const auto found = std::find_if(mChildren.begin(), mChildren.end(),
                                    [&](const std::shared_ptr<Renderable>& child) { return child->name() == name; });
    return found == mChildren.end() ? nullptr : *found;
}

void GroupRenderable::removeByName(const std::string& name)
{
    // Children of the name move to the tail by swapping each with the last other child.
    auto front = mChildren.begin();
    auto back = mChildren.end();
    while (front != back) {
        if ((*front)->name() != name) {
            ++front;
            continue;
        }
        do
            --back;
        while (back != front && (*back)->name() == name);
        std::iter_swap(front, back);
    }
    for (auto child = back; child != mChildren.end(); ++child)
        deinitIfInitialized(**child);
    mChildren.erase(back, mChildren.end());
    setNeedsRedraw(true);
}

void GroupRenderable::remove(Children::const_iterator position)
{
    deinitIfInitialized(**position);
    mChildren.erase(position);
    setNeedsRedraw(true);
}

void GroupRenderable::removeAll()
{
    forEachChild([&](Renderable& child) { deinitIfInitialized(child); });
    mChildren.clear();
    setNeedsRedraw(true);
}

void GroupRenderable::init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                           ComPtr<ID3D11DeviceContext> context)
{
    mRendererId = rendererId;
    mCamera = std::move(camera);
    mDevice = std::move(device);
    mContext = std::move(context);
    forEachChild([&](Renderable& child) { child.init(mRendererId, mCamera, mDevice, mContext); });
}

void GroupRenderable::deinit()
{
    forEachChild([](Renderable& child) { child.deinit(); });
    mCamera.reset();
    mDevice = nullptr;
    mContext = nullptr;
}

void GroupRenderable::render()
{
    Renderable::render();
    forEachChild([](Renderable& child) {
        if (child.visible())
            child.render();
    });
}

void GroupRenderable::renderSplats()
{
    forEachChild([](Renderable& child) {
        if (child.visible())
            child.renderSplats();
    });
}

void GroupRenderable::onUpdatePointClasses(const PointClasses& classes)
{
    mPointClasses = classes;
    forEachChild([&](Renderable& child) { child.onUpdatePointClasses(classes); });
}

void GroupRenderable::onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera)
{
    forEachChild([&](Renderable& child) { child.onUpdateProjectionMatrix(camera); });
}

void GroupRenderable::onUpdateViewMatrix(const std::shared_ptr<Camera>& camera)
{
    forEachChild([&](Renderable& child) { child.onUpdateViewMatrix(camera); });
}

void GroupRenderable::onUpdateZRange(const std::shared_ptr<Camera>& camera)
{
    forEachChild([&](Renderable& child) { child.onUpdateZRange(camera); });
}

void GroupRenderable::onUpdateViewport(const std::shared_ptr<Camera>& camera)
{
    forEachChild([&](Renderable& child) { child.onUpdateViewport(camera); });
}

void GroupRenderable::onUpdateRenderMode(RenderMode mode)
{
    mRenderMode = mode;
    forEachChild([&](Renderable& child) { child.onUpdateRenderMode(mode); });
}

void GroupRenderable::onUpdateTomographicColor(const Math::Color& color)
{
    mTomographicColor = color;
    forEachChild([&](Renderable& child) { child.onUpdateTomographicColor(color); });
}

void GroupRenderable::onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors)
{
    mUseCloudColorsInTomographicRenderModes = useCloudColors;
    forEachChild([&](Renderable& child) { child.onUpdateUseCloudColorsInTomographicRenderModes(useCloudColors); });
}

void GroupRenderable::onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh)
{
    mMesh = mesh;
    forEachChild([&](Renderable& child) { child.onUpdateMeshForDistanceColorization(mesh); });
}

void GroupRenderable::onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane)
{
    mPlane = plane;
    forEachChild([&](Renderable& child) { child.onUpdatePlaneForDistanceColorization(plane); });
}

void GroupRenderable::onUpdateColorMap(ColorMap map)
{
    if (map == mColorMap)
        return;
    mColorMap = map;
    forEachChild([&](Renderable& child) { child.onUpdateColorMap(map); });
}

void GroupRenderable::onUpdateUseSignedDistance(bool useSignedDistance)
{
    if (useSignedDistance == mUseSignedDistance)
        return;
    mUseSignedDistance = useSignedDistance;
    forEachChild([&](Renderable& child) { child.onUpdateUseSignedDistance(useSignedDistance); });
}

void GroupRenderable::onUpdateColorMapRange(float minDistance, float maxDistance)
{
    if (std::tie(minDistance, maxDistance) == std::tie(mMinDistance, mMaxDistance))
        return;
    mMinDistance = minDistance;
    mMaxDistance = maxDistance;
    forEachChild([&](Renderable& child) { child.onUpdateColorMapRange(minDistance, maxDistance); });
}

void GroupRenderable::onUpdatePassFailDistanceRange(float minDistance, float maxDistance)
{
    if (std::tie(minDistance, maxDistance) == std::tie(mMinDistancePassFail, mMaxDistancePassFail))
        return;
    mMinDistancePassFail = minDistance;
    mMaxDistancePassFail = maxDistance;
    forEachChild([&](Renderable& child) { child.onUpdatePassFailDistanceRange(minDistance, maxDistance); });
}

void GroupRenderable::onUpdateWarnDistanceRange(float minDistance, float maxDistance)
{
    if (std::tie(minDistance, maxDistance) == std::tie(mMinDistanceWarn, mMaxDistanceWarn))
        return;
    mMinDistanceWarn = minDistance;
    mMaxDistanceWarn = maxDistance;
    forEachChild([&](Renderable& child) { child.onUpdateWarnDistanceRange(minDistance, maxDistance); });
}

std::optional<Math::Color> GroupRenderable::backgroundColor()
{
    for (const std::shared_ptr<Renderable>& child : mChildren)
        if (std::optional<Math::Color> color = child->backgroundColor())
            return color;
    return std::nullopt;
}

bool GroupRenderable::isTransparent() const
{
    return std::any_of(mChildren.begin(), mChildren.end(),
                       [](const std::shared_ptr<Renderable>& child) { return child->isTransparent(); });
}

void GroupRenderable::brightnessAndContrast(float lowerBound, float upperBound, float& brightness, float& contrast)
{
    if (mChildren.empty())
        return;
    float brightnessSum = 0.0f;
    float contrastSum = 0.0f;
    forEachChild([&](Renderable& child) {
        float childBrightness = 0.0f;
        float childContrast = 0.0f;
        child.brightnessAndContrast(lowerBound, upperBound, childBrightness, childContrast);
        brightnessSum += childBrightness;
        contrastSum += childContrast;
    });
    brightness = brightnessSum / static_cast<float>(mChildren.size());
    contrast = contrastSum / static_cast<float>(mChildren.size());
}

Math::NBoundingBox<float, 3> GroupRenderable::boundingBox()
{
    Math::NBoundingBox<float, 3> box;
    forEachChild([&](Renderable& child) { box.extend(child.boundingBoxParent()); });
    return box;
}

void GroupRenderable::invalidateWorldMatrix()
{
    Renderable::invalidateWorldMatrix();
    forEachChild([](Renderable& child) { child.invalidateWorldMatrix(); });
}

bool GroupRenderable::needsRedraw() const
{
    return std::any_of(mChildren.begin(), mChildren.end(),
                       [](const std::shared_ptr<Renderable>& child) { return child->needsRedraw(); })
        || Renderable::needsRedraw();
}

void GroupRenderable::setSelected(bool selected)
{
    Renderable::setSelected(selected);
    forEachChild([&](Renderable& child) { child.setSelected(selected); });
}

} // namespace Render
