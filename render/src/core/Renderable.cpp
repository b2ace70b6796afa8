#include <lumaro/render/core/Renderable.h>

#include <Eigen/Geometry>

#include <cmath>
#include <utility>

#if defined(_WIN32)
// Only so that the by-value COM pointers of init can be released here; nothing calls Direct3D.
#include <d3d11.h>
#endif

namespace Render {

namespace {

Eigen::Matrix4f translation(const Eigen::Vector3f& offset)
{
    Eigen::Matrix4f result = Eigen::Matrix4f::Identity();
    result.block<3, 1>(0, 3) = offset;
    return result;
}

// Rotation about the z axis through `center` by `angle` radians (counter-clockwise seen from +z).
Eigen::Matrix4f zRotationAbout(const Eigen::Vector3f& center, float angle)
{
    Eigen::Matrix4f rotation = Eigen::Matrix4f::Identity();
    rotation.block<3, 3>(0, 0) = Eigen::AngleAxisf(angle, Eigen::Vector3f::UnitZ()).toRotationMatrix();
    return translation(center) * rotation * translation(-center);
}

// The angle about z that turns the horizontal part of `from` onto that of `to`; 0 when either
// has no horizontal part.
float zAngleBetween(const Eigen::Vector3f& from, const Eigen::Vector3f& to)
{
    const float cross = from.x() * to.y() - from.y() * to.x();
    const float dot = from.x() * to.x() + from.y() * to.y();
    return std::atan2(cross, dot);
}

} // namespace

Renderable::Renderable(std::string name) : mName(std::move(name)) {}

Renderable::Renderable(const Renderable& other) = default;

Renderable& Renderable::operator=(const Renderable& other) = default;

Renderable::~Renderable() = default;

void Renderable::init(std::size_t, std::shared_ptr<Camera>, ComPtr<ID3D11Device>, ComPtr<ID3D11DeviceContext>) {}

void Renderable::deinit() {}

void Renderable::onUpdateProjectionMatrix(const std::shared_ptr<Camera>&) {}

void Renderable::onUpdateViewMatrix(const std::shared_ptr<Camera>&) {}

void Renderable::onUpdateZRange(const std::shared_ptr<Camera>&) {}

void Renderable::onUpdateViewport(const std::shared_ptr<Camera>&) {}

void Renderable::onUpdateRenderMode(RenderMode) {}

void Renderable::onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>&) {}

void Renderable::onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>&) {}

void Renderable::onUpdateColorMap(ColorMap) {}

void Renderable::onUpdateUseSignedDistance(bool) {}

void Renderable::onUpdateColorMapRange(float, float) {}

void Renderable::onUpdatePassFailDistanceRange(float, float) {}

void Renderable::onUpdateWarnDistanceRange(float, float) {}

void Renderable::onUpdateTomographicColor(const Math::Color&) {}

void Renderable::onUpdateUseCloudColorsInTomographicRenderModes(bool) {}

void Renderable::onUpdatePointClasses(const PointClasses&) {}

void Renderable::renderSplats() {}

void Renderable::render()
{
    mNeedsRedrawFlag.store(false);
}

std::optional<Math::Color> Renderable::backgroundColor()
{
    return std::nullopt;
}

bool Renderable::isTransparent() const
{
    return false;
}

void Renderable::brightnessAndContrast(float, float, float& brightness, float& contrast)
{
    brightness = 0.0f;
    contrast = 1.0f;
}

void Renderable::setMatrix(const Eigen::Matrix4f& matrix)
{
    if (matrix == mMatrix)
        return;
    mMatrix = matrix;
    invalidateWorldMatrix();
    setNeedsRedraw(true);
}

Eigen::Matrix4f Renderable::matrix()
{
    return mMatrix;
}

Eigen::Matrix4f Renderable::worldMatrix()
{
    if (mWorldMatrixDirty) {
        if (const std::shared_ptr<Renderable> parent = mParent.lock())
            mWorldMatrixCache = parent->worldMatrix() * mMatrix;
        else
            mWorldMatrixCache = mMatrix;
        mWorldMatrixDirty = false;
    }
    return mWorldMatrixCache;
}

void Renderable::invalidateWorldMatrix()
{
    mWorldMatrixDirty = true;
    setNeedsRedraw(true);
}

void Renderable::setVisible(bool visible)
{
    if (visible == mVisible)
        return;
    mVisible = visible;
    setNeedsRedraw(true);
}

void Renderable::setNeedsRedraw(bool needsRedraw)
{
    mNeedsRedrawFlag.store(needsRedraw);
}

bool Renderable::needsRedraw() const
{
    return mNeedsRedrawFlag.load();
}

void Renderable::setSelected(bool selected)
{
    if (selected == mSelected)
        return;
    mSelected = selected;
    setNeedsRedraw(true);
}

std::string Renderable::name() const
{
    return mName;
}

void Renderable::setName(const std::string& name)
{
    mName = name;
}

std::shared_ptr<Renderable> Renderable::parent() const
{
    return mParent.lock();
}

void Renderable::setParent(std::weak_ptr<Renderable> parent)
{
    mParent = std::move(parent);
    // The cached world matrix was composed with the old parent's.
    mWorldMatrixDirty = true;
}

Eigen::Matrix4f Renderable::invWorldMatrix()
{
    return worldMatrix().inverse();
}

Math::NBoundingBox<float, 3> Renderable::boundingBoxWorld()
{
    return boundingBox().transformed(worldMatrix());
}

Math::NBoundingBox<float, 3> Renderable::boundingBoxParent()
{
    return boundingBox().transformed(matrix());
}

void Renderable::setTranslationByCorrespondences(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to)
{
    setMatrix(translation(to - from) * matrix());
}

void Renderable::setZRotationByCorrespondences(const Math::Point<float, 3>& center, const Math::Point<float, 3>& from,
                                               const Math::Point<float, 3>& to)
{
    const Eigen::Vector3f pivot = center;
    const float angle = zAngleBetween(from - pivot, to - pivot);
    setMatrix(zRotationAbout(pivot, angle) * matrix());
}

void Renderable::setTranslationAndZRotationByCorrespondences(const Math::Point<float, 3>& from,
                                                             const Math::Point<float, 3>& to,
                                                             const Eigen::Vector3f& fromDirection,
                                                             const Eigen::Vector3f& toDirection)
{
    // Turn about `from` first, so that `from` stays put, then carry it onto `to`.
    const Eigen::Vector3f source = from;
    const float angle = zAngleBetween(fromDirection, toDirection);
    setMatrix(translation(to - source) * zRotationAbout(source, angle) * matrix());
}

} // namespace Render
