#include <lumaro/render/renderables/Thumbnail.h>

#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace Render {

namespace {

constexpr std::size_t thumbnailBudget = 10000000;

void removeOldFile(const std::filesystem::path& file)
{
    std::error_code error;
    const bool exists = std::filesystem::exists(file, error);
    if (error)
        throw std::filesystem::filesystem_error("exists", file, error);
    if (exists && !std::filesystem::remove(file, error))
        throw std::filesystem::filesystem_error("remove", file, error);
    if (error)
        throw std::filesystem::filesystem_error("remove", file, error);
}

} // namespace

void showObliqueOverview(Renderer& renderer, const Math::NBoundingBox<float, 3>& box)
{
    const CameraPose pose = obliqueView(box);
    renderer.setCameraPose(pose.eye, pose.target, pose.up);
    renderer.setPerspective(20.0f, 0.01f, 1000.0f, 0.0f, 0.0f);
    renderer.setZNearAndFarViaBoundingBox(box);
}

void createThumbnail(const Octree::Location& location, const std::filesystem::path& outputFile, std::size_t width,
                     std::size_t height, const Math::Color& backgroundColor, std::size_t maxLevel)
{
    if (!location.exists())
        throw std::invalid_argument("createThumbnail: locationPotree does not exist");
    const auto cloud = PointCloudRenderable::create(location, "", thumbnailBudget, 1.0);
    Renderer renderer(true);
    renderer.setScene(cloud);
    renderer.setViewport(width, height);

    showObliqueOverview(renderer, cloud->boundingBoxWorld());
    renderer.setBackgroundColor(backgroundColor);

    cloud->reloadPoints(nullptr, std::min<std::size_t>(maxLevel, Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL));
    removeOldFile(outputFile);
    renderer.render();
    Graphics::ColorImage image;
    renderer.getColorImage(image);
    image.writePng(outputFile);
}

void createThumbnail(const std::filesystem::path& directory, std::size_t width, std::size_t height,
                     const Math::Color& backgroundColor, std::size_t maxLevel)
{
    const Octree::Location location = PoTree::FileSystemLocation(directory);
    createThumbnail(location, directory / "thumbnail.png", width, height, backgroundColor, maxLevel);
}

} // namespace Render
