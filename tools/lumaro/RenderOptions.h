#pragma once

#include "CommandLineText.h"

#include <lumaro/math/Color.h>
#include <lumaro/render/core/ClipVolumes.h>
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/EyeDomeLighting.h>
#include <lumaro/render/core/PointClasses.h>
#include <lumaro/render/core/SplatQuality.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <CLI/CLI.hpp>

#include <array>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tool {

// Top: orthographic from above; oblique: the overview of thumbnails; pano: from the panorama's
// centre, looking along +x.
enum class ViewKind {
    Top,
    Oblique,
    Pano
};

// A range of distances MIN,MAX.
struct DistanceRange {
    float min = 0.0f;
    float max = 0.0f;
};

// What `lumaro render` is asked for. Several views and colourings make a grid of panels: one row
// per view, one column per colouring, each panel width x height pixels.
struct RenderOptions {
    std::vector<std::string> stores;
    std::filesystem::path output;
    // The defaults are the command line's (RenderOptions.cpp).
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<ViewKind> views;
    std::vector<Render::Coloring> colorings;
    Render::ColorMap colorMap = Render::ColorMap::Turbo;
    std::size_t budget = 0;
    std::size_t maxLevel = 0;
    // Loader threads the stores share (0: the hardware's), and the MiB the node caches may hold.
    std::size_t threads = 0;
    std::uint64_t cacheLimitMiB = 0;
    // Print the loading figures (LoadingStats) on stderr.
    bool stats = false;
    float minNodeSize = 0.0f;
    std::optional<float> maxPointSize;
    Math::Color background;
    // Where to write every drawn pixel of the picture as a point, if anywhere.
    std::optional<std::filesystem::path> points;
    // OBJ meshes drawn with the clouds, in the stores' coordinates times meshScale.
    std::vector<std::filesystem::path> meshes;
    double meshScale = 0.0;
    // The mesh of the mesh-distance mode (also in the stores' coordinates times meshScale), and
    // its colour-map range, pass/fail and warning bands and sign (the renderer's defaults when unset).
    std::optional<std::filesystem::path> distanceMesh;
    std::optional<DistanceRange> range;
    std::optional<DistanceRange> passFail;
    std::optional<DistanceRange> warn;
    std::optional<bool> signedDistance;
    // A panorama drawn with the clouds: an equirectangular image with an optional distance image
    // (Radiance HDR), or six cube faces; centred at panoAt in the stores' coordinates (by default
    // the middle of the stores' box).
    std::optional<std::filesystem::path> pano;
    std::optional<std::filesystem::path> panoDepth;
    std::vector<std::filesystem::path> panoCube;
    std::optional<std::array<double, 3>> panoAt;
    // How points look beyond their colouring: eye-dome lighting, splats, and the colours and
    // visibility of their classes.
    Render::EyeDomeLighting eyeDomeLighting;
    Render::SplatQuality splats = Render::SplatQuality::Standard;
    Render::PointClasses pointClasses;
    // Boxes and prisms in the stores' coordinates that clip what is drawn, all with one effect.
    std::vector<Render::ClipVolumes::Shape> clipShapes;
    Render::ClipEffect clipEffect = Render::ClipEffect::ShowInside;
};

// What `lumaro pick` is asked for: the scene of `render` (its first view and colouring), a pixel,
// and how to pick there.
struct PickOptions {
    RenderOptions scene;
    std::size_t x = 0;
    std::size_t y = 0;
    std::optional<std::size_t> tolerance;
    std::optional<double> planeDistance; // fit a plane, with inliers this near
};

// What `lumaro thumbnail` is asked for.
struct ThumbnailOptions {
    std::string store;
    std::optional<std::filesystem::path> output; // default: thumbnail.png in the store's folder, or beside a COPC file
    std::size_t width = 0;
    std::size_t height = 0;
    Math::Color background;
    std::size_t maxLevel = 0;
};

// Each throws std::invalid_argument with a message for the user when the text is not valid.
ViewKind parseView(const std::string& name);
// "MIN,MAX", two finite numbers with MIN below MAX.
DistanceRange parseRange(const std::string& text, const std::string& what);
// "STRENGTH" or "STRENGTH,RADIUS", or nothing for the defaults: eye-dome lighting, on.
Render::EyeDomeLighting parseEyeDomeLighting(const std::string& text, const std::string& what);
// The classes shown (every class when `shown` is empty) and "CLASS=RRGGBB" colours.
Render::PointClasses parsePointClasses(const std::vector<std::string>& shown, const std::vector<std::string>& colors);
// "X,Y,Z,LENGTH,WIDTH,HEIGHT[,HEADING[,PITCH,ROLL]]": a box around (X, Y, Z) of those sizes along
// its own axes, turned by the angles in degrees (see Math::OrientedBox::fromAngles).
Math::OrientedBox parseClipBox(const std::string& text, const std::string& what);

// The options that say which stores to load and how to look at them, added to a subcommand;
// their values land in `options` once parsing is done and finish() was called.
class SceneCommandLine {
public:
    SceneCommandLine(CLI::App& command, RenderOptions& options);
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();

private:
    RenderOptions& mOptions;
    std::string mSize;
    std::vector<std::string> mViews;
    std::vector<std::string> mModes;
    std::string mColorMap;
    std::string mBudget;
    std::string mMaxLevel;
    std::string mThreads;
    std::string mCacheLimit;
    std::string mMinNodeSize;
    std::string mMaxPointSize;
    std::string mBackground;
    std::string mMeshScale;
    std::string mRange;
    std::string mPassFail;
    std::string mWarn;
    bool mSigned = false;
    bool mUnsigned = false;
    std::string mPanoAt;
    std::string mEyeDomeLighting;
    CLI::Option* mEyeDomeLightingOption = nullptr;
    std::string mSplats;
    std::vector<std::string> mClasses;
    std::vector<std::string> mClassColors;
    std::vector<std::string> mClipBoxes;
    std::vector<std::string> mClipPolygons;
    std::string mClipHeights;
    std::string mClipEffect;
};

// The subcommands `render`, `pick` and `thumbnail`; finish() converts what the parsed one was
// given, and throws std::invalid_argument for a bad value.
class CommandLine {
public:
    explicit CommandLine(CLI::App& app);

    CLI::App* render = nullptr;
    CLI::App* pick = nullptr;
    CLI::App* thumbnail = nullptr;
    RenderOptions renderOptions;
    PickOptions pickOptions;
    ThumbnailOptions thumbnailOptions;

    void finish();

private:
    std::unique_ptr<SceneCommandLine> mRenderScene;
    std::unique_ptr<SceneCommandLine> mPickScene;
    std::string mAt;
    std::string mTolerance;
    std::string mPlane;
    std::string mThumbnailSize;
    std::string mThumbnailBackground;
    std::string mThumbnailMaxLevel;
};

} // namespace Tool
