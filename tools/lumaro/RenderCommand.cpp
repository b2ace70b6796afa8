#include "ErrorText.h"
#include "RenderCommand.h"

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>
#include <lumaro/render/renderables/GroupRenderable.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace Tool {

namespace {


// "loading autzen [##########          ]  52%  1234567 points" on one line of stderr.
class ProgressBar {
public:
    ProgressBar(std::string name, std::size_t expected) : mName(std::move(name)), mExpected(std::max<std::size_t>(expected, 1)) {}

    void show(std::size_t points, bool done = false)
    {
        constexpr int width = 30;
        const double fraction = done ? 1.0 : std::min(1.0, static_cast<double>(points) / static_cast<double>(mExpected));
        const int filled = static_cast<int>(fraction * width);
        std::cerr << "\rloading " << mName << " [" << std::string(filled, '#') << std::string(width - filled, ' ')
                  << "] " << static_cast<int>(fraction * 100.0) << "%  " << points << " points" << (done ? "\n" : "")
                  << std::flush;
    }

private:
    std::string mName;
    std::size_t mExpected;
};

struct Scene {
    std::shared_ptr<Render::GroupRenderable> group;
    std::vector<std::shared_ptr<Render::PointCloudRenderable>> clouds;
};

Scene openStores(const RenderOptions& options)
{
    Scene scene{Render::GroupRenderable::create("stores"), {}};
    for (const std::string& store : options.stores) {
        auto cloud = Render::PointCloudRenderable::create(PoTree::FileSystemLocation(store),
                                                          std::filesystem::path(store).filename().string(),
                                                          options.budget, 1.0);
        cloud->setOctreeNodePriorityThreshold(options.minNodeSize);
        if (options.maxPointSize)
            cloud->setMaxPointSize(*options.maxPointSize);
        // Clouds of one site line up: each sits at its reference position relative to the first.
        const Eigen::Vector3d reference = cloud->referencePosition();
        const Eigen::Vector3d offset =
            scene.clouds.empty() ? Eigen::Vector3d::Zero() : Eigen::Vector3d(reference - scene.clouds.front()->referencePosition());
        cloud->setMatrix(Eigen::Affine3f(Eigen::Translation3f(offset.cast<float>())).matrix());
        scene.group->add(cloud);
        scene.clouds.push_back(std::move(cloud));
    }
    return scene;
}

void placeCamera(Render::Renderer& renderer, ViewKind view, const Math::NBoundingBox<float, 3>& box)
{
    if (view == ViewKind::Top) {
        const Render::TopView top = Render::topView(box, renderer.viewport().width(), renderer.viewport().height());
        renderer.setCameraPose(top.pose.eye, top.pose.target, top.pose.up);
        renderer.setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
    } else {
        const Render::CameraPose pose = Render::obliqueView(box);
        renderer.setCameraPose(pose.eye, pose.target, pose.up);
        renderer.setPerspective(20.0f, 0.01f, 1000.0f, 0.0f, 0.0f);
    }
    renderer.setZNearAndFarViaBoundingBox(box);
}

// Loads every cloud for the current view; a damaged node or hierarchy chunk only warns.
void load(const Scene& scene, const RenderOptions& options)
{
    for (const auto& cloud : scene.clouds) {
        ProgressBar progress(cloud->name(),
                             static_cast<std::size_t>(std::min<std::uint64_t>(cloud->octree()->pointCount(), options.budget)));
        progress.show(0);
        try {
            cloud->reloadPoints([&] { progress.show(cloud->numVisiblePoints()); }, options.maxLevel);
            progress.show(cloud->numVisiblePoints(), true);
        } catch (const std::exception& error) {
            progress.show(cloud->numVisiblePoints(), true);
            std::cerr << "lumaro: warning: " << cloud->name() << ": " << explain(error) << "; drawing what could be read\n";
        }
    }
}

void applyColoring(Render::Renderer& renderer, ColoringKind coloring, Render::ColorMap colorMap,
                   const Math::NBoundingBox<float, 3>& box)
{
    if (coloring == ColoringKind::Elevation) {
        // Height above the lowest point, over the whole height of the data.
        renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, -box.min().z()));
        renderer.setColorMapRange(0.0f, std::max(box.size().z(), 1e-6f));
        renderer.setUseSignedDistance(false);
        renderer.setColorMap(colorMap);
    }
    renderer.setRenderMode(renderModeOf(coloring));
}

void copyPanel(const Graphics::ColorImage& panel, Graphics::ColorImage& grid, std::size_t column, std::size_t row)
{
    for (std::size_t y = 0; y < panel.height(); ++y) {
        const auto source = panel.row(y);
        std::copy(source.begin(), source.end(), grid.row(row * panel.height() + y).begin()
                                                    + static_cast<std::ptrdiff_t>(column * panel.width()));
    }
}

} // namespace

int renderStores(const RenderOptions& options)
{
    Render::Renderer renderer(false);
    renderer.setViewport(options.width, options.height);
    renderer.setBackgroundColor(options.background);
    const Scene scene = openStores(options);
    renderer.setScene(scene.group);
    const Math::NBoundingBox<float, 3> box = renderer.boundingBox();
    if (box.isEmpty())
        std::cerr << "lumaro: warning: the stores hold no points\n";

    Graphics::ColorImage grid(options.width * options.colorings.size(), options.height * options.views.size());
    Graphics::ColorImage panel;
    for (std::size_t row = 0; row < options.views.size(); ++row) {
        placeCamera(renderer, options.views[row], box);
        load(scene, options);
        for (std::size_t column = 0; column < options.colorings.size(); ++column) {
            applyColoring(renderer, options.colorings[column], options.colorMap, box);
            renderer.render();
            renderer.getColorImage(panel);
            copyPanel(panel, grid, column, row);
        }
    }
    grid.writePng(options.output);
    return 0;
}

} // namespace Tool
