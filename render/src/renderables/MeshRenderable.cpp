#include <lumaro/render/renderables/MeshRenderable.h>

#include <lumaro/render/core/ClippingPlanes.h>

#include "MeshConstants.h"
#include "MeshDrawer.h"
#include "gpu/StoreMatrix.h"
#include "ObjMeshLoader.h"

#include <lumaro/render/core/Camera.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#if defined(_WIN32)
#include <d3d11.h> // only to release the by-value COM pointers of init
#endif

namespace Render {

std::shared_ptr<MeshRenderable> MeshRenderable::create(const std::filesystem::path& path, double unitScale,
                                                       const std::string& name)
{
    return std::make_shared<MeshRenderable>(Private(), path, unitScale, name);
}

std::shared_ptr<MeshRenderable> MeshRenderable::create(std::shared_ptr<MeshLoader> loader, double unitScale,
                                                       const std::string& name)
{
    return std::make_shared<MeshRenderable>(Private(), std::move(loader), unitScale, name);
}

MeshRenderable::MeshRenderable(Private, const std::filesystem::path& path, double unitScale, std::string name)
    : MeshRenderable(Private(), std::make_shared<ObjMeshLoader>(path), unitScale, std::move(name))
{}

MeshRenderable::MeshRenderable(Private, std::shared_ptr<MeshLoader> loader, double unitScale, std::string name)
    : Renderable(std::move(name)),
      mConstants(std::make_unique<MeshConstants>()),
      mUnitScale(unitScale),
      mLoader(std::move(loader))
{
    if (!mLoader)
        throw std::invalid_argument("MeshRenderable needs a mesh loader");
    mConstants->unitScale = static_cast<float>(mUnitScale);
}

MeshRenderable::~MeshRenderable() = default;

void MeshRenderable::init(std::size_t, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                          ComPtr<ID3D11DeviceContext> context)
{
    mCamera = std::move(camera);
    // A mesh initialised again is read again, from scratch.
    mDrawer.reset();
    mBox = Math::NBoundingBox<float, 3>();
    mNumTriangles = 0;

    MeshConstants& constants = modifyConstants();
    constants = MeshConstants();
    storeClippingPlanes();
    constants.unitScale = static_cast<float>(mUnitScale);
    storeMatrix(constants.modelMatrix, worldMatrix());
    if (mCamera)
        takeCamera(*mCamera);
    mDrawer = createMeshDrawer(device, context, constants);
    if (mDrawer)
        mDrawer->setClipVolumes(clipVolumeConstants(mClipVolumes));

    mLoader->load([this](const MeshLoader::Part& part) { addMeshPart(part); });
}

void MeshRenderable::deinit() {}

void MeshRenderable::onUpdateViewport(const std::shared_ptr<Camera>&) {}

void MeshRenderable::onUpdateRenderMode(RenderMode) {}

void MeshRenderable::onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera)
{
    storeMatrix(modifyConstants().viewProjectionMatrix, camera->viewProjectionMatrix());
}

void MeshRenderable::onUpdateViewMatrix(const std::shared_ptr<Camera>& camera)
{
    takeCamera(*camera);
}

void MeshRenderable::setMatrix(const Eigen::Matrix4f& matrix)
{
    Renderable::setMatrix(matrix);
    takeWorldMatrix();
}

void MeshRenderable::render()
{
    setNeedsRedraw(false);
    // A parent's matrix may have moved the mesh since the constants were written.
    if (Eigen::Map<const Eigen::Matrix4f>(mConstants->modelMatrix) != worldMatrix())
        takeWorldMatrix();
    if (!mDrawer)
        return;
    mDrawer->draw(*mConstants, mConstantsDirty);
    mConstantsDirty = false;
}

Math::NBoundingBox<float, 3> MeshRenderable::boundingBox()
{
    if (mBox.isEmpty())
        return mBox;
    const auto scale = static_cast<float>(mUnitScale);
    return Math::NBoundingBox<float, 3>(mBox.min() * scale, mBox.max() * scale);
}

void MeshRenderable::setClippingVolume(const Math::ConvexPolytope<float, 3>& volume)
{
    requireClippingPlaneCount(volume.size());
    if (volume == mClippingVolume)
        return;
    mClippingVolume = volume;
    storeClippingPlanes();
    setNeedsRedraw(true);
}

void MeshRenderable::setClipVolumes(const ClipVolumes& volumes)
{
    if (volumes == mClipVolumes)
        return;
    mClipVolumes = volumes;
    if (mDrawer)
        mDrawer->setClipVolumes(clipVolumeConstants(mClipVolumes));
    setNeedsRedraw(true);
}

void MeshRenderable::addMeshPart(const MeshLoader::Part& vertices)
{
    for (const VertexPosNormalTexCoordColor& vertex : vertices)
        mBox.extend(vertex.position);
    mNumTriangles += vertices.size() / 3;
    if (mDrawer)
        mDrawer->addPart(vertices);
    setNeedsRedraw(true);
}

MeshConstants& MeshRenderable::modifyConstants()
{
    mConstantsDirty = true;
    return *mConstants;
}

void MeshRenderable::storeClippingPlanes()
{
    MeshConstants& constants = modifyConstants();
    const std::vector<Math::HalfSpace<float, 3>>& planes = mClippingVolume.halfSpaces();
    for (std::size_t i = 0; i < maxClippingPlanes; ++i) {
        const Eigen::Vector4f coefficients =
            i < planes.size() ? planes[i].plane().coefficients() : Eigen::Vector4f::Zero();
        std::copy_n(coefficients.data(), 4, constants.clippingPlanes[i]);
    }
}

void MeshRenderable::takeWorldMatrix()
{
    storeMatrix(modifyConstants().modelMatrix, worldMatrix());
}

void MeshRenderable::takeCamera(const Camera& camera)
{
    MeshConstants& constants = modifyConstants();
    storeMatrix(constants.viewProjectionMatrix, camera.viewProjectionMatrix());
    const Math::Point<float, 3> eye = camera.eye();
    std::copy_n(eye.data(), 3, constants.cameraPosition);
}

} // namespace Render
