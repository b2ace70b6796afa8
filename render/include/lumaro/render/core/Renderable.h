#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ColorMap.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <lumaro/core/AtomicFlag.h>
#include <lumaro/core/InstanceId.h>
#include <lumaro/math/Color.h>
#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/NPlane.h>
#include <lumaro/math/Point.h>

#include <Eigen/Core>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

struct ID3D11Device;
struct ID3D11DeviceContext;

namespace Math {
template <class T>
class TriangleMesh;
}

namespace Render {

class Camera;

// Everything the Renderer draws. The renderer initialises a renderable with its device, tells it
// of every camera and display-setting change through the onUpdate… notifications, and asks it to
// draw and for its bounds. A group forwards all of these to its children.
class LUMARO_RENDER_API Renderable : public Core::InstanceId<Renderable> {
public:
    explicit Renderable(std::string name);
    Renderable(const Renderable& other);
    Renderable& operator=(const Renderable& other);

    // The order of the virtual operations is part of the binary interface with hosts: keep it.
    virtual ~Renderable();
    virtual void init(std::size_t rendererId, std::shared_ptr<Camera> camera, ComPtr<ID3D11Device> device,
                      ComPtr<ID3D11DeviceContext> context);
    virtual void deinit();
    virtual void onUpdateProjectionMatrix(const std::shared_ptr<Camera>& camera);
    virtual void onUpdateViewMatrix(const std::shared_ptr<Camera>& camera);
    virtual void onUpdateZRange(const std::shared_ptr<Camera>& camera);
    virtual void onUpdateViewport(const std::shared_ptr<Camera>& camera);
    virtual void onUpdateRenderMode(RenderMode mode);
    virtual void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh);
    virtual void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane);
    virtual void onUpdateColorMap(ColorMap map);
    virtual void onUpdateUseSignedDistance(bool useSignedDistance);
    virtual void onUpdateColorMapRange(float minDistance, float maxDistance);
    virtual void onUpdatePassFailDistanceRange(float minDistance, float maxDistance);
    virtual void onUpdateWarnDistanceRange(float minDistance, float maxDistance);
    virtual void onUpdateTomographicColor(const Math::Color& color);
    virtual void onUpdateUseCloudColorsInTomographicRenderModes(bool useCloudColors);
    virtual void render();
    virtual std::optional<Math::Color> backgroundColor();
    virtual bool isTransparent() const;
    virtual void brightnessAndContrast(float lowerBound, float upperBound, float& brightness, float& contrast);
    // In the renderable's own coordinates; an empty box when there is nothing to draw.
    virtual Math::NBoundingBox<float, 3> boundingBox() = 0;
    virtual void setMatrix(const Eigen::Matrix4f& matrix);
    virtual Eigen::Matrix4f matrix();
    virtual Eigen::Matrix4f worldMatrix();
    virtual void invalidateWorldMatrix();
    virtual void setVisible(bool visible);
    virtual void setNeedsRedraw(bool needsRedraw);
    virtual bool needsRedraw() const;
    virtual void setSelected(bool selected);

    std::string name() const;
    void setName(const std::string& name);
    std::shared_ptr<Renderable> parent() const;
    void setParent(std::weak_ptr<Renderable> parent);

    bool visible() const { return visible_; }
    bool selected() const { return selected_; }

    Eigen::Matrix4f invWorldMatrix();
    Math::NBoundingBox<float, 3> boundingBoxWorld();
    // The bounds in the coordinates of the parent (transformed by the local matrix only).
    Math::NBoundingBox<float, 3> boundingBoxParent();

    // Placement by example: each composes a rigid motion onto the current matrix, expressed in
    // the parent's coordinates.
    void setTranslationByCorrespondences(const Math::Point<float, 3>& from, const Math::Point<float, 3>& to);
    void setZRotationByCorrespondences(const Math::Point<float, 3>& center, const Math::Point<float, 3>& from,
                                       const Math::Point<float, 3>& to);
    void setTranslationAndZRotationByCorrespondences(const Math::Point<float, 3>& from,
                                                     const Math::Point<float, 3>& to,
                                                     const Eigen::Vector3f& fromDirection,
                                                     const Eigen::Vector3f& toDirection);

private:
    std::string name_;
    std::weak_ptr<Renderable> parent_;
    Eigen::Matrix4f matrix_ = Eigen::Matrix4f::Identity();
    Eigen::Matrix4f worldMatrixCache_ = Eigen::Matrix4f::Identity();
    bool visible_ = true;
    bool worldMatrixDirty_ = false;
    Core::AtomicFlag needsRedrawFlag_{true}; // loader threads of derived classes set it
    bool selected_ = false;
};

} // namespace Render
