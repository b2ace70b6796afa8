#include "RenderCommand.h"
#include "StoreScene.h"

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/octree/Location.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

namespace Tool {

namespace {

void copyPanel(const Graphics::ColorImage& panel, Graphics::ColorImage& grid, std::size_t column, std::size_t row)
{
    for (std::size_t y = 0; y < panel.height(); ++y) {
        const auto source = panel.row(y);
        std::copy(source.begin(), source.end(),
                  grid.row(row * panel.height() + y).begin() + static_cast<std::ptrdiff_t>(column * panel.width()));
    }
}

nlohmann::json coordinates(const Eigen::Vector3d& xyz)
{
    return nlohmann::json::array({xyz.x(), xyz.y(), xyz.z()});
}

} // namespace

void renderStores(const RenderOptions& options)
{
    StoreScene scene(options);
    Graphics::ColorImage grid(options.width * options.colorings.size(), options.height * options.views.size());
    Graphics::ColorImage panel;
    for (std::size_t row = 0; row < options.views.size(); ++row) {
        scene.look(options.views[row]);
        for (std::size_t column = 0; column < options.colorings.size(); ++column) {
            scene.color(options.colorings[column]);
            scene.renderer().getColorImage(panel);
            copyPanel(panel, grid, column, row);
        }
    }
    grid.writePng(options.output);
    if (options.points)
        Render::writeStorePoints(scene.renderer(), scene.site(), *options.points);
    if (options.stats)
        std::cerr << scene.stats().json().dump() << '\n';
}

nlohmann::json pickInStores(const PickOptions& options)
{
    StoreScene scene(options.scene);
    scene.look(options.scene.views.front());
    scene.color(options.scene.colorings.front());
    Render::Renderer& renderer = scene.renderer();
    nlohmann::json result;
    Math::Point<float, 3> point;
    const bool hit = options.tolerance
        ? renderer.pickClosestPointWithTolerance(options.x, options.y, *options.tolerance, point)
        : renderer.pickPoint(options.x, options.y, point);
    result["point"] = hit ? coordinates(scene.storeCoordinates(point)) : nlohmann::json();
    if (options.planeDistance) {
        // A zero normal until pickPlane writes one: it does even when the plane lies behind the eye.
        Math::NPlane<float, 3> plane(Eigen::Vector3f::Zero(), 0.0f);
        Math::Point<float, 3> planePoint;
        constexpr std::size_t defaultPlaneTolerance = 8;
        const bool met = renderer.pickPlane(options.x, options.y, options.tolerance.value_or(defaultPlaneTolerance),
                                            plane, planePoint, *options.planeDistance);
        if (plane.normal().squaredNorm() > 0.0f) {
            // n · (p - origin) + d = 0 in the scene is n · p + (d - n · origin) = 0 in the stores.
            const Eigen::Vector3d normal = plane.normal().cast<double>();
            const double offset =
                static_cast<double>(plane.offset()) - normal.dot(scene.storeCoordinates({0.0f, 0.0f, 0.0f}));
            result["plane"] = {{"normal", coordinates(normal)}, {"offset", offset}};
        } else {
            result["plane"] = nullptr;
        }
        result["planePoint"] = met ? coordinates(scene.storeCoordinates(planePoint)) : nlohmann::json();
    }
    return result;
}

std::filesystem::path makeThumbnail(const ThumbnailOptions& options)
{
    const Octree::Location location = Octree::locationOf(options.store);
    if (!location.exists())
        throw std::runtime_error("no point-cloud store in " + options.store);
    if (options.output || location.isUrl()) { // a remote store's thumbnail goes to the current folder
        const std::filesystem::path output = options.output.value_or("thumbnail.png");
        Render::createThumbnail(location, output, options.width, options.height, options.background, options.maxLevel);
        return output;
    }
    const std::filesystem::path store(options.store);
    if (std::filesystem::is_regular_file(store)) { // a COPC file: the thumbnail goes beside it
        std::filesystem::path output = store;
        output.replace_extension(".png");
        Render::createThumbnail(location, output, options.width, options.height, options.background, options.maxLevel);
        return output;
    }
    Render::createThumbnail(store, options.width, options.height, options.background, options.maxLevel);
    return store / "thumbnail.png";
}

} // namespace Tool
