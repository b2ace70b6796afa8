#include "StoreScene.h"

#include "ErrorText.h"
#include "ProgressBar.h"

#include <lumaro/graphics/ImagePanoramaLoader.h>
#include <lumaro/octree/Location.h>
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/pointcloud/LoadingSettings.h>
#include <lumaro/render/renderables/MeshLoader.h>
#include <lumaro/render/renderables/MeshRenderable.h>
#include <lumaro/render/renderables/PanoRenderable.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <exception>
#include <iostream>
#include <numbers>

namespace Tool {

namespace {

// "loading autzen [##########          ]  52%  1234567 points" on one line of stderr.
class ProgressBar {
public:
    ProgressBar(std::string name, std::size_t expected)
        : mLabel("loading " + std::move(name)), mExpected(std::max<std::size_t>(expected, 1))
    {}

    void show(std::size_t points, bool done = false)
    {
        const double fraction = done ? 1.0 : static_cast<double>(points) / static_cast<double>(mExpected);
        showProgressBar(mLabel, fraction, "  " + std::to_string(points) + " points", done);
    }

private:
    std::string mLabel;
    std::size_t mExpected;
};

// Reading a mesh or a panorama can fail in the reader's words (which may end in a line break and
// not say which file): say which, on one line.
template <typename Read>
auto readFile(const std::string& what, const std::filesystem::path& path, Read read)
{
    try {
        return read();
    } catch (const std::exception& error) {
        std::string reason = error.what();
        std::replace(reason.begin(), reason.end(), '\n', ' ');
        while (!reason.empty() && reason.back() == ' ')
            reason.pop_back();
        throw std::runtime_error("cannot read the " + what + " " + path.string() + ": " + reason);
    }
}

Eigen::Matrix4f translation(const Eigen::Vector3d& offset)
{
    return Eigen::Affine3f(Eigen::Translation3f(offset.cast<float>())).matrix();
}

} // namespace

StoreScene::StoreScene(const RenderOptions& options) : mOptions(options), mRenderer(false), mSite("stores")
{
    mRenderer.setViewport(options.width, options.height);
    mRenderer.setBackgroundColor(options.background);
    mRenderer.setLoaderThreadCount(options.threads);
    Render::setNodeCacheLimit(options.cacheLimitMiB << 20);
    const auto& group = mSite.group();
    for (const std::string& store : options.stores) {
        const auto cloud =
            mSite.addStore(Octree::locationOf(store), std::filesystem::path(store).filename().string(), options.budget);
        cloud->setOctreeNodePriorityThreshold(options.minNodeSize);
        if (options.maxPointSize)
            cloud->setMaxPointSize(*options.maxPointSize);
    }
    mStats.storesOpened();
    mRenderer.setScene(group);
    mRenderer.setEyeDomeLighting(options.eyeDomeLighting);
    mRenderer.setSplatQuality(options.splats);
    mRenderer.setPointClasses(options.pointClasses);
    // Meshes are in the stores' coordinates: moved like the first store. Each is read when the
    // (initialised) group takes it.
    for (const std::filesystem::path& path : options.meshes) {
        auto mesh = Render::MeshRenderable::create(path, options.meshScale, path.filename().string());
        mesh->setMatrix(mSite.sceneFromStores());
        mMeshes.push_back(mesh);
        readFile("mesh", path, [&] {
            group->add(mesh);
            return 0;
        });
    }
    if (options.distanceMesh) {
        const std::filesystem::path& path = *options.distanceMesh;
        const Math::TriangleMesh<float> mesh = readFile("mesh", path, [&] {
            return Render::loadTriangleMesh(*Render::createObjMeshLoader(path), options.meshScale);
        });
        mRenderer.setMeshForDistanceColorization(
            std::make_shared<Math::TriangleMesh<float>>(mesh.transformed(mSite.sceneFromStores())));
        if (options.range)
            mRenderer.setColorMapRange(options.range->min, options.range->max);
        if (options.passFail)
            mRenderer.setPassFailDistanceRange(options.passFail->min, options.passFail->max);
        if (options.warn)
            mRenderer.setWarnDistanceRange(options.warn->min, options.warn->max);
    }
    setClipVolumes(optionClipVolumes());
    mBox = mRenderer.boundingBox();
    if (options.pano || !options.panoCube.empty())
        addPanorama(*group);
    if (mBox.isEmpty())
        std::cerr << "lumaro: warning: the stores hold no points\n";
}

void StoreScene::look(ViewKind view)
{
    if (view == ViewKind::Pano) {
        // A quarter of the sphere across, from the panorama's centre; far enough for the stores.
        mRenderer.setCameraPose(mPanoCentre, Eigen::Vector3f(Eigen::Vector3f::UnitX()),
                                Eigen::Vector3f(Eigen::Vector3f::UnitZ()));
        const float reach = std::max(2.0f * (mBox.isEmpty() ? 1.0f : mBox.diagonal()), 10.0f);
        const float aspect = static_cast<float>(mOptions.width) / static_cast<float>(mOptions.height);
        constexpr float pi = std::numbers::pi_v<float>;
        const float fovY = 2.0f * std::atan(std::tan(0.25f * pi) / std::max(aspect, 1.0f)) * 180.0f / pi;
        mRenderer.setPerspective(fovY, reach * 1e-4f, reach, 0.0f, 0.0f);
    } else if (view == ViewKind::Top) {
        const Render::TopView top = Render::topView(mBox, mOptions.width, mOptions.height);
        mRenderer.setCameraPose(top.pose.eye, top.pose.target, top.pose.up);
        mRenderer.setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
        mRenderer.setZNearAndFarViaBoundingBox(mBox);
    } else {
        Render::showObliqueOverview(mRenderer, mBox);
    }
    for (const auto& cloud : clouds())
        load(*cloud);
}

void StoreScene::color(Render::Coloring coloring)
{
    mRenderer.setColorMap(mOptions.colorMap);
    if (coloring == Render::Coloring::MeshDistance) {
        const DistanceRange range = mOptions.range.value_or(DistanceRange{0.0f, 1.0f});
        mRenderer.setColorMapRange(range.min, range.max);
        mRenderer.setUseSignedDistance(mOptions.signedDistance.value_or(true));
    }
    const bool reload =
        coloring == Render::Coloring::MeshDistance && mRenderer.renderMode() != Render::RenderMode::MeshDistance;
    Render::applyColoring(mRenderer, coloring, mBox);
    // The walk leaves out the nodes that hold no point within the distance range: walk again.
    if (reload)
        for (const auto& cloud : clouds())
            load(*cloud);
    mRenderer.render();
}

void StoreScene::setClipVolumes(const Render::ClipVolumes& volumes)
{
    for (const auto& cloud : mSite.clouds())
        cloud->setClipVolumes(volumes);
    for (const auto& mesh : mMeshes)
        mesh->setClipVolumes(volumes);
}

Render::ClipVolumes StoreScene::optionClipVolumes() const
{
    const Eigen::Vector3d& origin = mSite.origin();
    Render::ClipVolumes volumes;
    for (const Render::ClipVolumes::Shape& shape : mOptions.clipShapes) {
        if (const auto* box = std::get_if<Math::OrientedBox>(&shape)) {
            volumes.add(
                Math::OrientedBox(Math::Point<double, 3>(box->centre() - origin), box->halfExtents(), box->rotation()),
                mOptions.clipEffect);
            continue;
        }
        const Render::ClipPrism& prism = std::get<Render::ClipPrism>(shape);
        std::vector<Math::Point<double, 2>> corners;
        for (const Math::Point<double, 2>& corner : prism.footprint.vertices())
            corners.emplace_back(corner - origin.head<2>());
        volumes.add(Render::ClipPrism{Math::Polygon(corners), prism.bottom - origin.z(), prism.top - origin.z()},
                    mOptions.clipEffect);
    }
    return volumes;
}

void StoreScene::addPanorama(Render::GroupRenderable& group)
{
    const std::filesystem::path& named = mOptions.pano ? *mOptions.pano : mOptions.panoCube.front();
    const auto loader = readFile("panorama", named, [&]() -> std::shared_ptr<Graphics::PanoramaLoader> {
        if (mOptions.pano)
            return Graphics::ImagePanoramaLoader::equirectangular(*mOptions.pano, mOptions.panoDepth);
        std::array<std::filesystem::path, 6> faces;
        std::copy(mOptions.panoCube.begin(), mOptions.panoCube.end(), faces.begin());
        return Graphics::ImagePanoramaLoader::cubeMap(faces);
    });
    const Eigen::Vector3d centre = mOptions.panoAt
        ? Eigen::Vector3d(Eigen::Vector3d(mOptions.panoAt->data()) - mSite.origin())
        : Eigen::Vector3d(mBox.center().cast<double>());
    mPanoCentre = Math::Point<float, 3>(centre.cast<float>());
    auto pano = Render::PanoRenderable::create(loader, named.filename().string());
    pano->setMatrix(translation(centre));
    group.add(pano);
    if (pano->loadPanoramaTiles() != Core::JobState::Finished)
        throw std::runtime_error("cannot read the panorama " + named.string() + ": a tile could not be cut");
}

void StoreScene::load(Render::PointCloudRenderable& cloud)
{
    ProgressBar progress(
        cloud.name(), static_cast<std::size_t>(std::min<std::uint64_t>(cloud.octree()->pointCount(), mOptions.budget)));
    progress.show(0);
    try {
        cloud.reloadPoints(
            [&] {
                progress.show(cloud.numVisiblePoints());
                mStats.published(cloud.numVisiblePoints());
            },
            mOptions.maxLevel);
        progress.show(cloud.numVisiblePoints(), true);
    } catch (const std::exception& error) {
        progress.show(cloud.numVisiblePoints(), true);
        std::cerr << "lumaro: warning: " << cloud.name() << ": " << explain(error) << "; drawing what could be read\n";
    }
    std::size_t nodes = 0;
    std::size_t points = 0;
    for (const auto& each : clouds()) {
        nodes += each->numVisibleOctreeNodes();
        points += each->numVisiblePoints();
    }
    mStats.walked(nodes, points, mRenderer.loaderThreadCount());
}

} // namespace Tool
