// The renderer of the C interface: a Renderer with a site of stores as its scene.
#include <lumaro/lumaro_c.h>

#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/renderables/MeshLoader.h>
#include <lumaro/render/renderables/MeshRenderable.h>
#include <lumaro/render/renderables/SiteGroup.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/math/TriangleMesh.h>
#include <lumaro/octree/OctreeNodeId.h>

#include "CallGuard.h"

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

struct lumaro_cloud {
    std::shared_ptr<Render::PointCloudRenderable> cloud;
};

struct lumaro_renderer {
    lumaro_renderer(std::size_t width, std::size_t height) : renderer(false), site("stores")
    {
        renderer.setViewport(width, height);
        renderer.setScene(site.group());
    }

    Render::Renderer renderer;
    Render::SiteGroup site;
    std::vector<std::unique_ptr<lumaro_cloud>> clouds;
    Render::Coloring coloring = Render::Coloring::Rgb;
};

using namespace Render::CInterface;

namespace {

// The renderer of a call: refuses NULL, and runs the call through the guard.
template <typename Body>
int withRenderer(lumaro_renderer* renderer, Body&& body)
{
    return guarded(failure, [&] { return body(*required(renderer, "renderer")); });
}

// Three finite coordinates.
Eigen::Vector3d point(const double* xyz, std::string_view name)
{
    required(xyz, name);
    for (int axis = 0; axis < 3; ++axis)
        if (!std::isfinite(xyz[axis]))
            throw std::invalid_argument(std::string(name) + " must be three finite numbers");
    return {xyz[0], xyz[1], xyz[2]};
}

// A reader's failure (whose words may not say which file) as one that names the file.
template <typename Read>
void readingFile(const char* what, const std::filesystem::path& path, Read&& read)
{
    try {
        read();
    } catch (const std::exception& error) {
        const std::u8string name = path.u8string();
        throw std::runtime_error("cannot read the " + std::string(what) + " " + std::string(name.begin(), name.end())
                                 + ": " + describe(error));
    }
}

// 0xRRGGBB as an opaque colour.
Math::Color opaqueColor(uint32_t rgb, const std::string& name)
{
    if (rgb > 0xFFFFFF)
        throw std::invalid_argument(name + " must be 0xRRGGBB, not " + std::to_string(rgb));
    return Math::Color(static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                       static_cast<std::uint8_t>(rgb), 255);
}

std::uint8_t classNumber(uint32_t classIndex)
{
    if (classIndex > 255)
        throw std::invalid_argument("class_index must lie between 0 and 255, not " + std::to_string(classIndex));
    return static_cast<std::uint8_t>(classIndex);
}

// Ends `stop` when `timeout` passes, unless it is destroyed first.
class Deadline {
public:
    Deadline(std::stop_source stop, std::chrono::milliseconds timeout)
        : mThread([stop, timeout](std::stop_token cancelled) mutable {
              std::mutex mutex;
              std::condition_variable_any never;
              std::unique_lock lock(mutex);
              never.wait_for(lock, cancelled, timeout, [] { return false; });
              if (!cancelled.stop_requested())
                  stop.request_stop();
          })
    {}

private:
    std::jthread mThread;
};

} // namespace

lumaro_renderer* lumaro_renderer_create(uint32_t width, uint32_t height)
{
    return guarded<lumaro_renderer*>(
        nullptr, [&] { return new lumaro_renderer(pictureSide(width, "width"), pictureSide(height, "height")); });
}

void lumaro_renderer_destroy(lumaro_renderer* renderer)
{
    guarded(0, [&] {
        delete renderer;
        return 0;
    });
}

lumaro_cloud* lumaro_renderer_add_cloud(lumaro_renderer* renderer, const char* location_utf8, uint64_t point_budget)
{
    return guarded<lumaro_cloud*>(nullptr, [&] {
        lumaro_renderer& self = *required(renderer, "renderer");
        const Octree::Location location = utf8Location(location_utf8, "location_utf8");
        const std::string name = location.isUrl() ? location.toString() : location.path().filename().string();
        auto cloud = std::make_unique<lumaro_cloud>();
        cloud->cloud = self.site.addStore(location, name, static_cast<std::size_t>(point_budget));
        self.clouds.push_back(std::move(cloud));
        return self.clouds.back().get();
    });
}

int lumaro_renderer_set_mode(lumaro_renderer* renderer, const char* mode)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const Render::Coloring coloring = Render::coloringNamed(required(mode, "mode"));
        if (coloring == Render::Coloring::MeshDistance && !self.renderer.hasMeshForDistanceColorization())
            throw std::invalid_argument(
                "the mesh-distance mode needs a distance mesh (lumaro_renderer_set_distance_mesh)");
        self.coloring = coloring;
        Render::applyColoring(self.renderer, coloring, self.renderer.boundingBox());
        return success;
    });
}

int lumaro_renderer_set_class_visible(lumaro_renderer* renderer, uint32_t class_index, int visible)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setClassVisible(classNumber(class_index), visible != 0);
        return success;
    });
}

int lumaro_renderer_set_class_color(lumaro_renderer* renderer, uint32_t class_index, uint32_t rgb)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setClassColor(classNumber(class_index), opaqueColor(rgb, "rgb"));
        return success;
    });
}

int lumaro_renderer_set_eye_dome_lighting(lumaro_renderer* renderer, int enabled, double strength, double radius_px)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        Render::EyeDomeLighting lighting;
        lighting.enabled = enabled != 0;
        lighting.strength = static_cast<float>(strength);
        lighting.radius = static_cast<float>(radius_px);
        self.renderer.setEyeDomeLighting(lighting);
        return success;
    });
}

int lumaro_renderer_set_splat_quality(lumaro_renderer* renderer, int high_quality)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setSplatQuality(high_quality != 0 ? Render::SplatQuality::High : Render::SplatQuality::Standard);
        return success;
    });
}

int lumaro_renderer_set_color_map(lumaro_renderer* renderer, const char* color_map)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setColorMap(Render::colorMapNamed(required(color_map, "color_map")));
        return success;
    });
}

int lumaro_renderer_set_background(lumaro_renderer* renderer, uint32_t background_rgb)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setBackgroundColor(opaqueColor(background_rgb, "background_rgb"));
        return success;
    });
}

int lumaro_renderer_set_size(lumaro_renderer* renderer, uint32_t width, uint32_t height)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setViewport(pictureSide(width, "width"), pictureSide(height, "height"));
        return success;
    });
}

int lumaro_renderer_view_overview(lumaro_renderer* renderer)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        Render::showObliqueOverview(self.renderer, self.renderer.boundingBox());
        return success;
    });
}

int lumaro_renderer_view_top(lumaro_renderer* renderer)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const Math::NBoundingBox<float, 3> box = self.renderer.boundingBox();
        const Render::Viewport& viewport = self.renderer.viewport();
        const Render::TopView top = Render::topView(box, viewport.width(), viewport.height());
        self.renderer.setCameraPose(top.pose.eye, top.pose.target, top.pose.up);
        self.renderer.setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
        self.renderer.setZNearAndFarViaBoundingBox(box);
        return success;
    });
}

int lumaro_renderer_look_at(lumaro_renderer* renderer, const double eye[3], const double target[3],
                            double fov_y_degrees)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const Eigen::Vector3d from = point(eye, "eye");
        const Eigen::Vector3d to = point(target, "target");
        if (!(fov_y_degrees > 0.0 && fov_y_degrees < 180.0))
            throw std::invalid_argument("fov_y_degrees must lie between 0 and 180, not "
                                        + std::to_string(fov_y_degrees));
        const Eigen::Vector3d direction = to - from;
        if (!(direction.norm() > 0.0))
            throw std::invalid_argument("eye and target must differ");
        // z is up, unless the view runs straight up or down: then +y is.
        const bool vertical = direction.normalized().cross(Eigen::Vector3d::UnitZ()).norm() < 1e-6;
        const Eigen::Vector3f up = vertical ? Eigen::Vector3f::UnitY() : Eigen::Vector3f::UnitZ();
        self.renderer.setCameraPose(self.site.sceneCoordinates(from), self.site.sceneCoordinates(to), up);
        self.renderer.setPerspective(static_cast<float>(fov_y_degrees), 0.01f, 1000.0f, 0.0f, 0.0f);
        self.renderer.setZNearAndFarViaBoundingBox(self.renderer.boundingBox());
        return success;
    });
}

int lumaro_renderer_set_loader_threads(lumaro_renderer* renderer, uint32_t threads)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.setLoaderThreadCount(threads);
        return success;
    });
}

int lumaro_renderer_set_point_budget(lumaro_renderer* renderer, uint64_t point_budget)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        if (point_budget == 0)
            throw std::invalid_argument("point_budget must be at least 1");
        self.renderer.setPointBudget(static_cast<std::size_t>(point_budget));
        return success;
    });
}

int lumaro_renderer_load(lumaro_renderer* renderer, uint32_t timeout_ms)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        // Elevation follows the clouds as they are now.
        Render::applyColoring(self.renderer, self.coloring, self.renderer.boundingBox());
        std::stop_source stop;
        std::optional<Deadline> deadline;
        if (timeout_ms > 0)
            deadline.emplace(stop, std::chrono::milliseconds(timeout_ms));
        std::string damaged;
        for (const auto& cloud : self.clouds) {
            try {
                cloud->cloud->reloadPoints(nullptr, Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL, stop.get_token());
            } catch (const std::exception& error) {
                if (damaged.empty())
                    damaged = cloud->cloud->name() + ": " + describe(error);
            }
        }
        deadline.reset();
        if (stop.stop_requested()) {
            lastError() = "loading took longer than " + std::to_string(timeout_ms) + " ms";
            return 1;
        }
        if (!damaged.empty()) {
            lastError() = damaged;
            return 2;
        }
        return success;
    });
}

int lumaro_renderer_render(lumaro_renderer* renderer)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.render();
        return success;
    });
}

int lumaro_renderer_read_color(lumaro_renderer* renderer, uint8_t* rgba, size_t stride)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        required(rgba, "rgba");
        Graphics::ColorImage image;
        self.renderer.getColorImage(image);
        if (stride < 4 * image.width())
            throw std::invalid_argument("stride must be at least 4 x width = " + std::to_string(4 * image.width())
                                        + " bytes, not " + std::to_string(stride));
        for (std::size_t y = 0; y < image.height(); ++y) {
            std::uint8_t* row = rgba + y * stride;
            for (std::size_t x = 0; x < image.width(); ++x) {
                const Math::Color& color = image.at(x, y);
                row[4 * x] = color.r();
                row[4 * x + 1] = color.g();
                row[4 * x + 2] = color.b();
                row[4 * x + 3] = color.a();
            }
        }
        return success;
    });
}

int lumaro_renderer_read_depth(lumaro_renderer* renderer, float* depths, size_t stride)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        required(depths, "depths");
        Graphics::DepthImage image;
        self.renderer.getDepthImage(image);
        if (stride < sizeof(float) * image.width())
            throw std::invalid_argument("stride must be at least 4 x width = " + std::to_string(4 * image.width())
                                        + " bytes, not " + std::to_string(stride));
        auto* bytes = reinterpret_cast<std::uint8_t*>(depths);
        for (std::size_t y = 0; y < image.height(); ++y)
            for (std::size_t x = 0; x < image.width(); ++x)
                std::memcpy(bytes + y * stride + x * sizeof(float), &image.at(x, y), sizeof(float));
        return success;
    });
}

int lumaro_renderer_pick(lumaro_renderer* renderer, uint32_t x, uint32_t y, uint32_t tolerance_px, double xyz[3])
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        required(xyz, "xyz");
        const Render::Viewport& viewport = self.renderer.viewport();
        if (x >= viewport.width() || y >= viewport.height())
            throw std::invalid_argument("the pixel (" + std::to_string(x) + ", " + std::to_string(y)
                                        + ") lies outside the picture of " + std::to_string(viewport.width()) + " x "
                                        + std::to_string(viewport.height()));
        Math::Point<float, 3> picked;
        const bool hit = tolerance_px == 0 ? self.renderer.pickPoint(x, y, picked)
                                           : self.renderer.pickClosestPointWithTolerance(x, y, tolerance_px, picked);
        if (!hit)
            return 1;
        const Eigen::Vector3d store = self.site.storeCoordinates(picked);
        for (int axis = 0; axis < 3; ++axis)
            xyz[axis] = store[axis];
        return success;
    });
}

int lumaro_renderer_write_png(lumaro_renderer* renderer, const char* path_utf8)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        self.renderer.writePngImage(utf8Path(path_utf8, "path_utf8"));
        return success;
    });
}

int lumaro_renderer_write_points(lumaro_renderer* renderer, const char* path_utf8)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const std::filesystem::path path = utf8Path(path_utf8, "path_utf8");
        self.renderer.render();
        Render::writeStorePoints(self.renderer, self.site, path);
        return success;
    });
}

int lumaro_renderer_add_mesh(lumaro_renderer* renderer, const char* obj_path_utf8)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const std::filesystem::path path = utf8Path(obj_path_utf8, "obj_path_utf8");
        auto mesh = Render::MeshRenderable::create(path, 1.0, path.filename().string());
        mesh->setMatrix(self.site.sceneFromStores());
        readingFile("mesh", path, [&] { self.site.group()->add(mesh); });
        return success;
    });
}

int lumaro_renderer_set_distance_mesh(lumaro_renderer* renderer, const char* obj_path_utf8)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        const std::filesystem::path path = utf8Path(obj_path_utf8, "obj_path_utf8");
        Math::TriangleMesh<float> mesh;
        readingFile("mesh", path, [&] { mesh = Render::loadTriangleMesh(*Render::createObjMeshLoader(path)); });
        self.renderer.setMeshForDistanceColorization(
            std::make_shared<Math::TriangleMesh<float>>(mesh.transformed(self.site.sceneFromStores())));
        return success;
    });
}

int lumaro_renderer_set_distance_range(lumaro_renderer* renderer, double min_distance, double max_distance)
{
    return withRenderer(renderer, [&](lumaro_renderer& self) {
        if (!std::isfinite(min_distance) || !std::isfinite(max_distance) || !(min_distance < max_distance))
            throw std::invalid_argument("the distance range needs finite min below max, not "
                                        + std::to_string(min_distance) + ", " + std::to_string(max_distance));
        self.renderer.setColorMapRange(static_cast<float>(min_distance), static_cast<float>(max_distance));
        return success;
    });
}

uint64_t lumaro_cloud_loaded_points(const lumaro_cloud* cloud)
{
    return guarded<uint64_t>(0, [&] { return required(cloud, "cloud")->cloud->numVisiblePoints(); });
}

uint64_t lumaro_cloud_total_points(const lumaro_cloud* cloud)
{
    return guarded<uint64_t>(0, [&] { return required(cloud, "cloud")->cloud->octree()->pointCount(); });
}
