#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>
#include <lumaro/render/renderables/GroupRenderable.h>

#include <lumaro/math/Point.h>
#include <lumaro/octree/Location.h>

#include <Eigen/Core>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Render {

class Renderer;

/// The point clouds of one site in one group: each cloud is placed by its reference position
/// relative to the first cloud's, which is the origin of the scene's coordinates. Stores of one
/// site line up, and georeferenced coordinates (hundreds of kilometres) keep their precision in
/// floats near the origin. Meshes and panoramas given in the stores' coordinates take
/// sceneFromStores() as their matrix.
///
/// Belongs to the thread that renders, like the renderables it holds.
class LUMARO_RENDER_API SiteGroup {
public:
    /// An empty site whose group has that name.
    explicit SiteGroup(const std::string& name);

    /// The group to give the renderer (Renderer::setScene) or to add to a larger scene.
    const std::shared_ptr<GroupRenderable>& group() const { return mGroup; }

    /// Opens the store at `location` and adds its cloud, with a budget of `budget` points, placed
    /// by its reference position. Throws what opening the store throws (naming the location), and
    /// std::invalid_argument for a budget of 0.
    std::shared_ptr<PointCloudRenderable> addStore(const Octree::Location& location, const std::string& name,
                                                   std::size_t budget);

    /// The clouds added, in order.
    const std::vector<std::shared_ptr<PointCloudRenderable>>& clouds() const { return mClouds; }

    /// The first store's reference position: where the scene's origin lies in the stores'
    /// coordinates (zero before the first store).
    const Eigen::Vector3d& origin() const { return mOrigin; }
    /// A point of the scene in the stores' coordinates, in double precision.
    Eigen::Vector3d storeCoordinates(const Math::Point<float, 3>& scenePoint) const;
    /// A point in the stores' coordinates in the scene's.
    Math::Point<float, 3> sceneCoordinates(const Eigen::Vector3d& storePoint) const;
    /// The matrix that moves what is given in the stores' coordinates into the scene.
    Eigen::Matrix4f sceneFromStores() const;

private:
    std::shared_ptr<GroupRenderable> mGroup;
    std::vector<std::shared_ptr<PointCloudRenderable>> mClouds;
    Eigen::Vector3d mOrigin = Eigen::Vector3d::Zero();
};

/// Every pixel drawn in the renderer's last frame as a line "x y z red green blue alpha" in the
/// stores' coordinates of `site` (to 0.1 mm), after the header "X Y Z Red Green Blue Alpha". An
/// existing file is replaced. Throws std::runtime_error naming the file when it cannot be written.
/// (Windows builds: it reads the renderer's device.)
LUMARO_RENDER_API void writeStorePoints(Renderer& renderer, const SiteGroup& site, const std::filesystem::path& path);

} // namespace Render
