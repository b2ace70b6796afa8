#pragma once

#include "LoadingStats.h"
#include "RenderOptions.h"

#include <lumaro/math/NBoundingBox.h>
#include <lumaro/math/Point.h>
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>
#include <lumaro/render/renderables/MeshRenderable.h>
#include <lumaro/render/renderables/SiteGroup.h>

#include <Eigen/Core>

#include <memory>
#include <vector>

namespace Tool {

// The stores of the options as one scene of a renderer of its own: a group of clouds, each placed
// by its reference position relative to the first, whose reference position is the scene's
// origin, with the options' meshes, distance mesh and panorama. Nothing is loaded yet: look()
// loads synchronously (the command), or the host starts the clouds' own loading threads (the
// viewer). Throws for a store, mesh or panorama that cannot be opened, naming it.
class StoreScene {
public:
    explicit StoreScene(const RenderOptions& options);

    Render::Renderer& renderer() { return mRenderer; }
    const Render::SiteGroup& site() const { return mSite; }
    const std::vector<std::shared_ptr<Render::PointCloudRenderable>>& clouds() const { return mSite.clouds(); }
    // The scene's box (in scene coordinates) as the clouds' metadata give it.
    const Math::NBoundingBox<float, 3>& box() const { return mBox; }

    // The stores' coordinates of a point of the scene, in double precision.
    Eigen::Vector3d storeCoordinates(const Math::Point<float, 3>& point) const { return mSite.storeCoordinates(point); }

    // Places the camera for the view and loads every cloud for it (a progress bar on stderr).
    void look(ViewKind view);

    // Sets the colouring (walking again when the mesh-distance mode starts) and renders.
    void color(Render::Coloring coloring);

    // The options' clip boxes and prisms, moved from the stores' coordinates into the scene's.
    Render::ClipVolumes optionClipVolumes() const;
    // Clips (and highlights) every cloud and mesh of the scene with these volumes instead.
    void setClipVolumes(const Render::ClipVolumes& volumes);
    // The figures of the loading so far (lumaro render --stats).
    const LoadingStats& stats() const { return mStats; }

private:
    // The panorama, centred where asked (or in the middle of the stores), with all its tiles.
    void addPanorama(Render::GroupRenderable& group);
    // A damaged node or hierarchy chunk only warns.
    void load(Render::PointCloudRenderable& cloud);

    const RenderOptions& mOptions;
    // First: its clock starts before the stores are opened.
    LoadingStats mStats;
    Render::Renderer mRenderer;
    Render::SiteGroup mSite;
    std::vector<std::shared_ptr<Render::MeshRenderable>> mMeshes;
    Math::NBoundingBox<float, 3> mBox;
    Math::Point<float, 3> mPanoCentre{0.0f, 0.0f, 0.0f};
};

} // namespace Tool
