#pragma once

// A renderable that writes every call it gets into a log, with its arguments ("name.call(a, b)"),
// and answers the scene queries with what the test sets.
#include <lumaro/render/core/Camera.h>
#include <lumaro/render/core/Renderable.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <d3d11.h> // the device pointers handed to init are COM pointers there
#endif

namespace RenderTest {

using Log = std::shared_ptr<std::vector<std::string>>;

class RecordingRenderable : public Render::Renderable {
public:
    explicit RecordingRenderable(std::string name, Log log = std::make_shared<std::vector<std::string>>())
        : Renderable(std::move(name)), mLog(std::move(log))
    {}

    void init(std::size_t rendererId, std::shared_ptr<Render::Camera> camera, Render::ComPtr<ID3D11Device> device,
              Render::ComPtr<ID3D11DeviceContext>) override
    {
        record("init", rendererId);
        initCamera = camera;
        initDevice = device;
    }
    void deinit() override { record("deinit"); }
    void onUpdateProjectionMatrix(const std::shared_ptr<Render::Camera>&) override { record("projection"); }
    void onUpdateViewMatrix(const std::shared_ptr<Render::Camera>&) override { record("view"); }
    void onUpdateZRange(const std::shared_ptr<Render::Camera>& camera) override
    {
        record("zRange", camera->zNear(), camera->zFar());
    }
    void onUpdateViewport(const std::shared_ptr<Render::Camera>& camera) override
    {
        record("viewport", camera->viewport().width(), camera->viewport().height());
    }
    void onUpdateRenderMode(Render::RenderMode mode) override { record("renderMode", static_cast<int>(mode)); }
    void onUpdateMeshForDistanceColorization(const std::shared_ptr<Math::TriangleMesh<float>>& mesh) override
    {
        record("mesh", mesh.get());
    }
    void onUpdatePlaneForDistanceColorization(const Math::NPlane<float, 3>& plane) override
    {
        // + 0.0f prints a negative zero as 0.
        record("plane", plane.normal().x(), plane.normal().y(), plane.normal().z(), plane.offset() + 0.0f);
    }
    void onUpdateColorMap(Render::ColorMap map) override { record("colorMap", static_cast<int>(map)); }
    void onUpdateUseSignedDistance(bool flag) override { record("signedDistance", flag); }
    void onUpdateColorMapRange(float low, float high) override { record("colorMapRange", low, high); }
    void onUpdatePassFailDistanceRange(float low, float high) override { record("passFail", low, high); }
    void onUpdateWarnDistanceRange(float low, float high) override { record("warn", low, high); }
    void onUpdateTomographicColor(const Math::Color& color) override
    {
        record("tomographicColor", int(color.r()), int(color.g()), int(color.b()), int(color.a()));
    }
    void onUpdateUseCloudColorsInTomographicRenderModes(bool flag) override { record("cloudColors", flag); }
    void setMatrix(const Eigen::Matrix4f& matrix) override
    {
        record("setMatrix", matrix(0, 3), matrix(1, 3), matrix(2, 3));
        Renderable::setMatrix(matrix);
    }

    void render() override
    {
        record("render");
        Renderable::render();
    }

    std::optional<Math::Color> backgroundColor() override { return background; }
    bool isTransparent() const override { return transparent; }
    void brightnessAndContrast(float low, float high, float& brightness, float& contrast) override
    {
        record("brightnessAndContrast", low, high, brightness, contrast);
        brightness = proposedBrightness;
        contrast = proposedContrast;
    }
    Math::NBoundingBox<float, 3> boundingBox() override { return bounds; }

    const std::vector<std::string>& calls() const { return *mLog; }

    std::optional<Math::Color> background;
    bool transparent = false;
    float proposedBrightness = 0.25f;
    float proposedContrast = 1.5f;
    Math::NBoundingBox<float, 3> bounds{{-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f}};
    std::shared_ptr<Render::Camera> initCamera;
    Render::ComPtr<ID3D11Device> initDevice;

private:
    template <class... Values>
    void record(const std::string& call, const Values&... values)
    {
        std::ostringstream text;
        text << name() << "." << call;
        [[maybe_unused]] const char* separator = "(";
        ((text << separator << values, separator = ", "), ...);
        if constexpr (sizeof...(Values) > 0)
            text << ")";
        mLog->push_back(text.str());
    }

    Log mLog;
};

} // namespace RenderTest
