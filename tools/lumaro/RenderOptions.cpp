#include "RenderOptions.h"

#include "MeasureText.h"

#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/render/pointcloud/LoadingSettings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>

namespace Tool {

namespace {

constexpr std::array<Render::Named<ViewKind>, 3> viewNames{
    {{"top", ViewKind::Top}, {"oblique", ViewKind::Oblique}, {"pano", ViewKind::Pano}}};
constexpr std::array<Render::Named<Render::SplatQuality>, 2> splatNames{
    {{"standard", Render::SplatQuality::Standard}, {"hq", Render::SplatQuality::High}}};
constexpr std::array<Render::Named<Render::ClipEffect>, 3> clipEffectNames{
    {{"inside", Render::ClipEffect::ShowInside},
     {"outside", Render::ClipEffect::ShowOutside},
     {"highlight", Render::ClipEffect::Highlight}}};

// The options of the scene commands (render, pick, and the viewer): names, defaults, help.
const OptionText sizeOption{"--size", "1280x720", "Size of each picture, WIDTHxHEIGHT"};
const OptionText viewOption{"--view", "top",
                            "top, oblique or pano (from the panorama's centre); several give one row each"};
const OptionText modeOption{"--mode", "rgb",
                            "rgb, intensity, normal, uniform, elevation, tomographic, tomographic-dark, "
                            "mesh-distance or classification; several give one column each"};
const OptionText colorMapOption{"--color-map", "turbo", "Colour map of the elevation and mesh-distance modes"};
const OptionText budgetOption{"--budget", "10000000", "Most points loaded at once"};
const OptionText maxLevelOption{"--max-level", "21", "Deepest octree level to load"};
const OptionText threadsOption{"--threads", "0",
                               "Loader threads that read and decode nodes at once (0: one per "
                               "hardware thread); the picture is the same whatever the number"};
const OptionText cacheLimitOption{"--cache-limit", std::to_string(Render::defaultNodeCacheLimit >> 20),
                                  "Most MiB that the decoded nodes of all stores keep cached"};
const OptionText minNodeSizeOption{"--min-node-size", "15",
                                   "Nodes that look smaller than this many pixels are not "
                                   "loaded; 0 loads every node within budget and level"};
const OptionText maxPointSizeOption{"--max-point-size", "5", "Largest point size in pixels"};
const OptionText backgroundOption{"--background", "000000", "Background colour RRGGBB"};
const OptionText meshScaleOption{"--mesh-scale", "1", "Unit scale of the meshes' coordinates"};
const OptionText rangeOption{"--range", "",
                             "Distances MIN,MAX spread over the colour map; points outside are not "
                             "drawn (default: the renderer's, 0,1)"};
const OptionText passFailOption{"--pass-fail", "",
                                "The pass/fail band of distances MIN,MAX (default: the renderer's, -0.5,0.5)"};
const OptionText warnOption{"--warn", "",
                            "The warning band of distances MIN,MAX (default: the renderer's, -0.25,0.25)"};
const OptionText panoAtOption{"--pano-at", "",
                              "The panorama's centre X,Y,Z in the stores' coordinates (default: the "
                              "middle of the stores)"};
const OptionText edlOption{"--edl", "",
                           "Eye-dome lighting: shading by depth steps, optionally STRENGTH (1) or "
                           "STRENGTH,RADIUS (radius in pixels, 1); after the stores (default: off)"};
const OptionText splatsOption{"--splats", "standard",
                              "standard (opaque discs) or hq (overlapping points blended by weight)"};
const OptionText classesOption{"--classes", "",
                               "Show only the points of these classes, numbers 0 to 255 "
                               "separated by commas (default: every class)"};
const OptionText classColorsOption{"--class-colors", "",
                                   "Colours of classes in the classification mode, "
                                   "CLASS=RRGGBB separated by commas (default: the LAS classes' "
                                   "colours of the README)"};
const OptionText clipBoxOption{"--clip-box", "",
                               "A clip box X,Y,Z,LENGTH,WIDTH,HEIGHT[,HEADING[,PITCH,ROLL]] in the stores' "
                               "coordinates: its centre and its sizes along its own axes, turned by HEADING "
                               "degrees about z (counter-clockwise from x), then PITCH about its y and ROLL "
                               "about its x; may be repeated"};
const OptionText clipPolygonOption{"--clip-polygon", "",
                                   "A vertical clip prism over the polygon X1,Y1,X2,Y2,... (the stores' "
                                   "coordinates); may be repeated"};
const OptionText clipHeightsOption{"--clip-heights", "",
                                   "The clip prisms' bottom and top MIN,MAX (default: none, they reach "
                                   "up and down without end)"};
const OptionText clipEffectOption{"--clip-effect", "inside",
                                  "What the clip boxes and prisms do: inside (only what lies inside "
                                  "them is drawn), outside (what lies inside is cut away) or "
                                  "highlight"};
// The pick and thumbnail commands' own.
const OptionText atOption{"--at", "", "The pixel X,Y of the picture (0,0 is the top left)"};
const OptionText toleranceOption{"--tolerance", "",
                                 "Pick the point nearest to the eye among the pixels up to this far (at least 1)"};
const OptionText planeOption{
    "--plane", "", "Also fit a plane to the points around the pixel, with inliers this near to it (store units)"};
const OptionText thumbnailSizeOption{"--size", "512x512", "WIDTHxHEIGHT"};
const OptionText thumbnailBackgroundOption{"--background", "ffffff", "Background colour RRGGBB"};
const OptionText thumbnailMaxLevelOption{"--max-level", "21", "Deepest octree level to load"};

} // namespace

DistanceRange parseRange(const std::string& text, const std::string& what)
{
    const std::vector<std::string> ends = splitList(text, 2, what, "MIN,MAX, such as -0.5,0.5");
    const float lowest = std::numeric_limits<float>::lowest();
    const DistanceRange range{parseNumber(ends[0], lowest, false, what + "'s MIN"),
                              parseNumber(ends[1], lowest, false, what + "'s MAX")};
    if (!(range.min < range.max))
        throw std::invalid_argument(what + " needs MIN below MAX, not '" + text + "'");
    return range;
}

Render::EyeDomeLighting parseEyeDomeLighting(const std::string& text, const std::string& what)
{
    Render::EyeDomeLighting lighting;
    lighting.enabled = true;
    if (text.empty())
        return lighting;
    const bool withRadius = text.find(',') != std::string::npos;
    const std::vector<std::string> values =
        splitList(text, withRadius ? 2 : 1, what, "STRENGTH or STRENGTH,RADIUS, such as 1.5,2");
    lighting.strength = parseNumber(values[0], 0.0f, false, what + "'s STRENGTH");
    if (withRadius)
        lighting.radius = parseNumber(values[1], 1.0f, false, what + "'s RADIUS");
    try {
        Render::checkEyeDomeLighting(lighting);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(what + " '" + text + "': " + error.what());
    }
    return lighting;
}

Render::PointClasses parsePointClasses(const std::vector<std::string>& shown, const std::vector<std::string>& colors)
{
    Render::PointClasses classes;
    if (!shown.empty()) {
        classes.setAllShown(false);
        for (const std::string& text : shown)
            classes.setShown(static_cast<std::uint8_t>(parseCount(text, 0, 255, "a class of --classes")), true);
    }
    for (const std::string& text : colors) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos)
            throw std::invalid_argument("--class-colors needs CLASS=RRGGBB, such as 2=a0522d, not '" + text + "'");
        const auto classIndex = parseCount(text.substr(0, equals), 0, 255, "a class of --class-colors");
        classes.setColor(static_cast<std::uint8_t>(classIndex), parseColor(text.substr(equals + 1), "--class-colors"));
    }
    return classes;
}

Math::OrientedBox parseClipBox(const std::string& text, const std::string& what)
{
    const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 1;
    const std::string shape = "X,Y,Z,LENGTH,WIDTH,HEIGHT[,HEADING[,PITCH,ROLL]]";
    const std::vector<std::string> numbers = splitList(text, count == 7 || count == 9 ? count : 6, what, shape);
    std::array<double, 9> values{};
    const char* names[] = {"X", "Y", "Z", "LENGTH", "WIDTH", "HEIGHT", "HEADING", "PITCH", "ROLL"};
    for (std::size_t i = 0; i < numbers.size(); ++i)
        values[i] = parseReal(numbers[i], what + "'s " + names[i]);
    constexpr double degrees = std::numbers::pi / 180.0;
    try {
        return Math::OrientedBox::fromAngles({values[0], values[1], values[2]},
                                             0.5 * Eigen::Vector3d(values[3], values[4], values[5]),
                                             values[6] * degrees, values[7] * degrees, values[8] * degrees);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(what + " '" + text + "': " + error.what());
    }
}

ViewKind parseView(const std::string& name)
{
    return Render::valueNamed<ViewKind>(viewNames, name, "view");
}

SceneCommandLine::SceneCommandLine(CLI::App& command, RenderOptions& options) : mOptions(options)
{
    command
        .add_option(
            "STORE", options.stores,
            "Potree 2.0 or Entwine store folders or COPC files, on disk or as http(s):// URLs; several are placed by "
            "their reference positions relative to the first")
        ->required();
    addOption(command, sizeOption, mSize);
    addOption(command, viewOption, mViews);
    addOption(command, modeOption, mModes);
    addOption(command, colorMapOption, mColorMap);
    addOption(command, budgetOption, mBudget);
    addOption(command, maxLevelOption, mMaxLevel);
    addOption(command, threadsOption, mThreads);
    addOption(command, cacheLimitOption, mCacheLimit);
    addOption(command, minNodeSizeOption, mMinNodeSize);
    addOption(command, maxPointSizeOption, mMaxPointSize);
    addOption(command, backgroundOption, mBackground);
    command.add_option("--mesh", options.meshes,
                       "A Wavefront OBJ mesh drawn with the clouds, in the stores' "
                       "coordinates; may be repeated");
    addOption(command, meshScaleOption, mMeshScale);
    command.add_option("--distance-mesh", options.distanceMesh,
                       "The OBJ mesh whose distance the mesh-distance mode colours by");
    addOption(command, rangeOption, mRange);
    addOption(command, passFailOption, mPassFail);
    addOption(command, warnOption, mWarn);
    auto* signedFlag = command.add_flag("--signed", mSigned, "Distances below a mesh's faces are negative (default)");
    command.add_flag("--unsigned", mUnsigned, "Distances are never negative")->excludes(signedFlag);
    auto* pano = command.add_option("--pano", options.pano,
                                    "An equirectangular panorama image (PNG, JPEG) drawn "
                                    "with the clouds");
    command
        .add_option("--pano-depth", options.panoDepth,
                    "The panorama's distances from its centre (Radiance HDR of the same aspect ratio)")
        ->needs(pano);
    command.add_option("--pano-cube", options.panoCube, "Six cube-face images +x,-x,+y,-y,+z,-z instead of --pano")
        ->delimiter(',')
        ->excludes(pano);
    addOption(command, panoAtOption, mPanoAt);
    // A bare --edl takes the defaults, so a value is optional.
    mEyeDomeLightingOption = addOption(command, edlOption, mEyeDomeLighting)->expected(0, 1);
    addOption(command, splatsOption, mSplats);
    addOption(command, classesOption, mClasses);
    addOption(command, classColorsOption, mClassColors);
    command.add_option(clipBoxOption.name, mClipBoxes, clipBoxOption.help);
    command.add_option(clipPolygonOption.name, mClipPolygons, clipPolygonOption.help);
    addOption(command, clipHeightsOption, mClipHeights);
    addOption(command, clipEffectOption, mClipEffect);
}

void SceneCommandLine::finish()
{
    std::tie(mOptions.width, mOptions.height) = parseImageSize(mSize, "--size");
    mOptions.views.clear();
    for (const std::string& view : mViews)
        mOptions.views.push_back(parseView(view));
    mOptions.colorings.clear();
    for (const std::string& mode : mModes)
        mOptions.colorings.push_back(Render::coloringNamed(mode));
    mOptions.colorMap = Render::colorMapNamed(mColorMap);
    mOptions.budget = parseCount(mBudget, 1, std::size_t(1) << 40, "--budget");
    mOptions.maxLevel = parseCount(mMaxLevel, 0, Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL, "--max-level");
    mOptions.threads = parseCount(mThreads, 0, 1024, "--threads");
    mOptions.cacheLimitMiB = parseCount(mCacheLimit, 0, std::size_t(1) << 30, "--cache-limit");
    mOptions.minNodeSize = parseNumber(mMinNodeSize, 0.0f, false, "--min-node-size");
    mOptions.maxPointSize = parseNumber(mMaxPointSize, 0.0f, true, "--max-point-size");
    mOptions.background = parseColor(mBackground, "--background");
    mOptions.meshScale = parseNumber(mMeshScale, 0.0f, true, "--mesh-scale");
    if (!mRange.empty())
        mOptions.range = parseRange(mRange, "--range");
    if (!mPassFail.empty())
        mOptions.passFail = parseRange(mPassFail, "--pass-fail");
    if (!mWarn.empty())
        mOptions.warn = parseRange(mWarn, "--warn");
    if (mSigned || mUnsigned)
        mOptions.signedDistance = mSigned;
    if (!mOptions.panoCube.empty() && mOptions.panoCube.size() != 6)
        throw std::invalid_argument("--pano-cube needs six faces, not " + std::to_string(mOptions.panoCube.size()));
    if (!mPanoAt.empty()) {
        // Store coordinates need doubles: floats keep only centimetres of georeferenced values.
        const std::vector<std::string> xyz = splitList(mPanoAt, 3, "--pano-at", "three numbers X,Y,Z");
        mOptions.panoAt = {parseReal(xyz[0], "--pano-at's X"), parseReal(xyz[1], "--pano-at's Y"),
                           parseReal(xyz[2], "--pano-at's Z")};
    }
    if (mEyeDomeLightingOption->count() > 0)
        mOptions.eyeDomeLighting = parseEyeDomeLighting(mEyeDomeLighting, "--edl");
    mOptions.splats = Render::valueNamed<Render::SplatQuality>(splatNames, mSplats, "splat quality");
    mOptions.pointClasses = parsePointClasses(mClasses, mClassColors);
    mOptions.clipShapes.clear();
    for (const std::string& box : mClipBoxes)
        mOptions.clipShapes.emplace_back(parseClipBox(box, "--clip-box"));
    double bottom = -std::numeric_limits<double>::infinity();
    double top = std::numeric_limits<double>::infinity();
    if (!mClipHeights.empty()) {
        const DistanceRange range = parseRange(mClipHeights, "--clip-heights");
        bottom = range.min;
        top = range.max;
    }
    for (const std::string& polygon : mClipPolygons)
        mOptions.clipShapes.emplace_back(Render::ClipPrism{parsePolygon(polygon, "--clip-polygon"), bottom, top});
    mOptions.clipEffect = Render::valueNamed<Render::ClipEffect>(clipEffectNames, mClipEffect, "clip effect");
    try {
        Render::ClipVolumes limits; // refuses more than the shaders hold
        for (const auto& shape : mOptions.clipShapes)
            limits.add(shape, mOptions.clipEffect);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(std::string("--clip-box and --clip-polygon: ") + error.what());
    }
    const bool hasPano = mOptions.pano || !mOptions.panoCube.empty();
    if (std::find(mOptions.views.begin(), mOptions.views.end(), ViewKind::Pano) != mOptions.views.end() && !hasPano)
        throw std::invalid_argument("--view pano needs --pano or --pano-cube");
    const bool meshDistance =
        std::find(mOptions.colorings.begin(), mOptions.colorings.end(), Render::Coloring::MeshDistance)
        != mOptions.colorings.end();
    if (meshDistance && !mOptions.distanceMesh)
        throw std::invalid_argument("--mode mesh-distance needs --distance-mesh FILE.obj");
    // One image holds the whole grid.
    if (mOptions.width * mOptions.colorings.size() > largestImageSide
        || mOptions.height * mOptions.views.size() > largestImageSide)
        throw std::invalid_argument("the grid of " + std::to_string(mOptions.views.size()) + " x "
                                    + std::to_string(mOptions.colorings.size()) + " pictures of " + mSize
                                    + " is larger than 16384 pixels on a side");
}

CommandLine::CommandLine(CLI::App& app)
    : render(app.add_subcommand("render", "Render point-cloud stores into a PNG image")),
      pick(app.add_subcommand("pick",
                              "Pick the point (and optionally fit a plane) under a pixel of the picture "
                              "that render would make; prints JSON in the stores' coordinates")),
      thumbnail(app.add_subcommand("thumbnail", "Make a thumbnail of a Potree, Entwine or COPC store"))
{
    mRenderScene = std::make_unique<SceneCommandLine>(*render, renderOptions);
    render->add_option("--output,-o", renderOptions.output, "The PNG file to write")->required();
    render->add_flag("--stats", renderOptions.stats,
                     "Print the loading figures as one JSON line on stderr: open_ms, first_picture_ms, loaded_ms "
                     "(from the start of loading), nodes, points, requests, bytes_read, threads");
    render->add_option("--points", renderOptions.points,
                       "Also write every drawn pixel as a point (text: X Y Z Red Green Blue Alpha, the stores' "
                       "coordinates); needs one view and one mode");

    mPickScene = std::make_unique<SceneCommandLine>(*pick, pickOptions.scene);
    addOption(*pick, atOption, mAt)->required();
    addOption(*pick, toleranceOption, mTolerance);
    addOption(*pick, planeOption, mPlane);

    thumbnail
        ->add_option("STORE", thumbnailOptions.store,
                     "Potree 2.0 or Entwine store folder, or COPC file, on disk or as an http(s):// URL")
        ->required();
    thumbnail->add_option("--output,-o", thumbnailOptions.output,
                          "The PNG file to write (default: thumbnail.png in the store's folder; beside a COPC file, "
                          "its name ending in .png)");
    addOption(*thumbnail, thumbnailSizeOption, mThumbnailSize);
    addOption(*thumbnail, thumbnailBackgroundOption, mThumbnailBackground);
    addOption(*thumbnail, thumbnailMaxLevelOption, mThumbnailMaxLevel);
}

void CommandLine::finish()
{
    if (render->parsed()) {
        mRenderScene->finish();
        if (renderOptions.points && (renderOptions.views.size() != 1 || renderOptions.colorings.size() != 1))
            throw std::invalid_argument("--points needs one view and one mode, not a grid");
    }
    if (pick->parsed()) {
        mPickScene->finish();
        const std::vector<std::string> pixel = splitList(mAt, 2, "--at", "X,Y, such as 320,200");
        pickOptions.x = parseCount(pixel[0], 0, pickOptions.scene.width - 1, "the pixel's X");
        pickOptions.y = parseCount(pixel[1], 0, pickOptions.scene.height - 1, "the pixel's Y");
        if (!mTolerance.empty())
            pickOptions.tolerance = parseCount(mTolerance, 1, largestImageSide, "--tolerance");
        if (!mPlane.empty())
            pickOptions.planeDistance = parseNumber(mPlane, 0.0f, true, "--plane");
    }
    if (thumbnail->parsed()) {
        std::tie(thumbnailOptions.width, thumbnailOptions.height) = parseImageSize(mThumbnailSize, "--size");
        thumbnailOptions.background = parseColor(mThumbnailBackground, "--background");
        thumbnailOptions.maxLevel =
            parseCount(mThumbnailMaxLevel, 0, std::numeric_limits<std::size_t>::max(), "--max-level");
    }
}

} // namespace Tool
