#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/ClipVolumes.h>
#include <lumaro/render/core/ClippingPlanes.h>
#include <lumaro/render/core/Renderable.h>
#include <lumaro/render/renderables/MeshLoader.h>

#include <lumaro/math/ConvexPolytope.h>
#include <lumaro/math/NBoundingBox.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace Render {

class MeshDrawer;
struct MeshConstants;

/// A triangle mesh drawn unindexed with a two-sided headlight: 20 % of its colour as ambient light
/// and 80 % lit by a light at the eye, whichever side a triangle shows. Its pixels write world
/// positions like points do, so picks and post-processing treat them alike. The model coordinates
/// are multiplied by unitScale before the world matrix. The whole mesh is read by init, on the
/// calling thread; everything runs on the render thread.
class LUMARO_RENDER_API MeshRenderable : public Renderable, public std::enable_shared_from_this<MeshRenderable> {
    struct Private {
        explicit Private() = default;
    };

public:
    /// The most half-spaces a clipping volume may have (setClippingVolume).
    static constexpr int CLIPPING_PLANES_MAX_COUNT = static_cast<int>(maxClippingPlanes);

    /// A mesh read from the Wavefront OBJ file at `path` when it is initialised.
    static std::shared_ptr<MeshRenderable> create(const std::filesystem::path& path, double unitScale,
                                                  const std::string& name);
    /// A mesh read through `loader` when it is initialised. Throws std::invalid_argument for a null
    /// loader.
    static std::shared_ptr<MeshRenderable> create(std::shared_ptr<MeshLoader> loader, double unitScale,
                                                  const std::string& name);

    /// Use create(): the Private tag keeps these for it (std::make_shared needs them public).
    ///@{
    MeshRenderable(Private, const std::filesystem::path& path, double unitScale, std::string name);
    MeshRenderable(Private, std::shared_ptr<MeshLoader> loader, double unitScale, std::string name);
    ///@}
    /// Not copyable: it owns the mesh's device buffers.
    ///@{
    MeshRenderable(const MeshRenderable&) = delete;
    MeshRenderable& operator=(const MeshRenderable&) = delete;
    ///@}
    ~MeshRenderable() override;

    /// Reads the whole mesh through the loader and uploads it; throws what the loader throws
    /// ("TinyObjReader: ..." for an OBJ file that cannot be read), and ComException for device
    /// failures.
    void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
              ComPtr<ID3D11DeviceContext> context) override;
    /// Keeps the mesh; a later init reads it again.
    void deinit() override;
    /// A mesh ignores viewport and render mode.
    ///@{
    void onUpdateViewport(const std::shared_ptr<Camera>& camera) override;
    void onUpdateRenderMode(RenderMode mode) override;
    ///@}
    void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera) override;
    void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera) override;
    void setMatrix(const Eigen::Matrix4f& matrix) override;
    void render() override;

    /// The bounds of the vertices times unitScale, not transformed by the world matrix; empty
    /// before init.
    Math::NBoundingBox<float, 3> boundingBox() override;
    /// The number of triangles read by init (0 before).
    std::size_t numTriangles() const { return mNumTriangles; }
    /// The factor the model coordinates are multiplied by.
    double unitScale() const { return mUnitScale; }

    /// Half-spaces in world coordinates that drawn pixels must lie in. Throws std::runtime_error
    /// "Error: volume contains too many clipping planes, plane count = N" for more than 8, keeping
    /// the previous volume; the same volume again changes nothing.
    void setClippingVolume(const Math::ConvexPolytope<float, 3>& volume);
    /// Boxes and prisms in world coordinates that cut away or highlight pixels (see ClipVolumes);
    /// none at first.
    ///@{
    void setClipVolumes(const ClipVolumes& volumes);
    const ClipVolumes& clipVolumes() const { return mClipVolumes; }
    ///@}

private:
    void addMeshPart(const MeshLoader::Part& vertices);
    MeshConstants& modifyConstants();
    // The stored clipping volume's planes into the constants, zero planes after them.
    void storeClippingPlanes();
    void takeWorldMatrix();
    void takeCamera(const Camera& camera);

    std::unique_ptr<MeshConstants> mConstants;
    bool mConstantsDirty = true;
    std::unique_ptr<MeshDrawer> mDrawer;
    std::shared_ptr<Camera> mCamera;
    Math::NBoundingBox<float, 3> mBox;
    double mUnitScale;
    std::shared_ptr<MeshLoader> mLoader;
    std::size_t mNumTriangles = 0;
    Math::ConvexPolytope<float, 3> mClippingVolume;
    ClipVolumes mClipVolumes;
};

} // namespace Render
