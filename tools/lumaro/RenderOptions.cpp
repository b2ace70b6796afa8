#include "RenderOptions.h"

#include <lumaro/octree/OctreeNodeId.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace Tool {

namespace {

// Direct3D's largest texture side.
constexpr std::size_t largestImageSide = 16384;

constexpr std::array<Render::Named<ViewKind>, 3> viewNames{
    {{"top", ViewKind::Top}, {"oblique", ViewKind::Oblique}, {"pano", ViewKind::Pano}}};

} // namespace

std::size_t parseCount(const std::string& text, std::size_t least, std::size_t most, const std::string& what)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < least || value > most)
        throw std::invalid_argument(what + " must be a whole number from " + std::to_string(least) + " to "
                                    + std::to_string(most) + ", not '" + text + "'");
    return value;
}

float parseNumber(const std::string& text, float least, bool strictly, const std::string& what)
{
    std::size_t used = 0;
    float value = 0.0f;
    try {
        value = std::stof(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || !std::isfinite(value) || value < least || (strictly && value == least))
        throw std::invalid_argument(what + " must be a number " + (strictly ? "above " : "of at least ")
                                    + std::to_string(least) + ", not '" + text + "'");
    return value;
}

DistanceRange parseRange(const std::string& text, const std::string& what)
{
    const std::size_t comma = text.find(',');
    const float lowest = std::numeric_limits<float>::lowest();
    if (comma == std::string::npos)
        throw std::invalid_argument(what + " must be MIN,MAX, such as -0.5,0.5, not '" + text + "'");
    const DistanceRange range{parseNumber(text.substr(0, comma), lowest, false, what + "'s MIN"),
                              parseNumber(text.substr(comma + 1), lowest, false, what + "'s MAX")};
    if (!(range.min < range.max))
        throw std::invalid_argument(what + " needs MIN below MAX, not '" + text + "'");
    return range;
}

std::pair<std::size_t, std::size_t> parseImageSize(const std::string& text)
{
    const std::size_t x = text.find('x');
    if (x == std::string::npos)
        throw std::invalid_argument("--size must be WIDTHxHEIGHT, such as 1280x720, not '" + text + "'");
    return {parseCount(text.substr(0, x), 1, largestImageSide, "the image width"),
            parseCount(text.substr(x + 1), 1, largestImageSide, "the image height")};
}

Math::Color parseColor(const std::string& text)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.size() != 6 || error != std::errc() || end != text.data() + text.size())
        throw std::invalid_argument("--background must be six hexadecimal digits RRGGBB, such as 1a2b3c, not '"
                                    + text + "'");
    return Math::Color(static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
                       static_cast<std::uint8_t>(value), 255);
}

ViewKind parseView(const std::string& name)
{
    return Render::valueNamed<ViewKind>(viewNames, name, "view");
}

SceneCommandLine::SceneCommandLine(CLI::App& command, RenderOptions& options) : mOptions(options)
{
    command.add_option("STORE", options.stores, "Potree 2.0 or Entwine store folders or COPC files, on disk or as http(s):// URLs; several are placed by "
                                                "their reference positions relative to the first")
        ->required();
    command.add_option("--size", mSize, "Size of each picture, WIDTHxHEIGHT (default 1280x720)");
    command.add_option("--view", mViews, "top, oblique or pano (from the panorama's centre); several give one row "
                                         "each (default top)")
        ->delimiter(',');
    command.add_option("--mode", mModes,
                       "rgb, intensity, normal, uniform, elevation, tomographic, tomographic-dark or mesh-distance; "
                       "several give one column each (default rgb)")
        ->delimiter(',');
    command.add_option("--color-map", mColorMap, "Colour map of the elevation and mesh-distance modes (default turbo)");
    command.add_option("--budget", mBudget, "Most points loaded at once (default 10000000)");
    command.add_option("--max-level", mMaxLevel, "Deepest octree level to load (default 21)");
    command.add_option("--min-node-size", mMinNodeSize,
                       "Nodes that look smaller than this many pixels are not loaded; 0 loads every node within "
                       "budget and level (default 15)");
    command.add_option("--max-point-size", mMaxPointSize, "Largest point size in pixels (default 5)");
    command.add_option("--background", mBackground, "Background colour RRGGBB (default 000000)");
    command.add_option("--mesh", options.meshes, "A Wavefront OBJ mesh drawn with the clouds, in the stores' "
                                                 "coordinates; may be repeated");
    command.add_option("--mesh-scale", mMeshScale, "Unit scale of the meshes' coordinates (default 1)");
    command.add_option("--distance-mesh", options.distanceMesh,
                       "The OBJ mesh whose distance the mesh-distance mode colours by");
    command.add_option("--range", mRange, "Distances MIN,MAX spread over the colour map; points outside are not "
                                          "drawn (default 0,1)");
    command.add_option("--pass-fail", mPassFail, "The pass/fail band of distances MIN,MAX (default -0.5,0.5)");
    command.add_option("--warn", mWarn, "The warning band of distances MIN,MAX (default -0.25,0.25)");
    auto* signedFlag = command.add_flag("--signed", mSigned, "Distances below a mesh's faces are negative (default)");
    command.add_flag("--unsigned", mUnsigned, "Distances are never negative")->excludes(signedFlag);
    auto* pano = command.add_option("--pano", options.pano, "An equirectangular panorama image (PNG, JPEG) drawn "
                                                            "with the clouds");
    command.add_option("--pano-depth", options.panoDepth,
                       "The panorama's distances from its centre (Radiance HDR of the same aspect ratio)")
        ->needs(pano);
    command.add_option("--pano-cube", options.panoCube, "Six cube-face images +x,-x,+y,-y,+z,-z instead of --pano")
        ->delimiter(',')
        ->excludes(pano);
    command.add_option("--pano-at", mPanoAt, "The panorama's centre X,Y,Z in the stores' coordinates (default: the "
                                             "middle of the stores)");
}

void SceneCommandLine::finish()
{
    std::tie(mOptions.width, mOptions.height) = parseImageSize(mSize);
    mOptions.views.clear();
    for (const std::string& view : mViews)
        mOptions.views.push_back(parseView(view));
    mOptions.colorings.clear();
    for (const std::string& mode : mModes)
        mOptions.colorings.push_back(Render::coloringNamed(mode));
    mOptions.colorMap = Render::colorMapNamed(mColorMap);
    mOptions.budget = parseCount(mBudget, 1, std::size_t(1) << 40, "--budget");
    mOptions.maxLevel = parseCount(mMaxLevel, 0, Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL, "--max-level");
    mOptions.minNodeSize = parseNumber(mMinNodeSize, 0.0f, false, "--min-node-size");
    if (!mMaxPointSize.empty())
        mOptions.maxPointSize = parseNumber(mMaxPointSize, 0.0f, true, "--max-point-size");
    mOptions.background = parseColor(mBackground);
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
        const std::size_t first = mPanoAt.find(',');
        const std::size_t second = first == std::string::npos ? first : mPanoAt.find(',', first + 1);
        if (second == std::string::npos)
            throw std::invalid_argument("--pano-at must be X,Y,Z, not '" + mPanoAt + "'");
        // Store coordinates need doubles: floats keep only centimetres of georeferenced values.
        const auto coordinate = [&](const std::string& text) {
            std::size_t used = 0;
            double value = 0.0;
            try {
                value = std::stod(text, &used);
            } catch (const std::exception&) {
                used = 0;
            }
            if (used == 0 || used != text.size() || !std::isfinite(value))
                throw std::invalid_argument("--pano-at must be three numbers X,Y,Z, not '" + mPanoAt + "'");
            return value;
        };
        mOptions.panoAt = {coordinate(mPanoAt.substr(0, first)),
                           coordinate(mPanoAt.substr(first + 1, second - first - 1)),
                           coordinate(mPanoAt.substr(second + 1))};
    }
    const bool hasPano = mOptions.pano || !mOptions.panoCube.empty();
    if (std::find(mOptions.views.begin(), mOptions.views.end(), ViewKind::Pano) != mOptions.views.end() && !hasPano)
        throw std::invalid_argument("--view pano needs --pano or --pano-cube");
    const bool meshDistance = std::find(mOptions.colorings.begin(), mOptions.colorings.end(),
                                        Render::Coloring::MeshDistance) != mOptions.colorings.end();
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
      pick(app.add_subcommand("pick", "Pick the point (and optionally fit a plane) under a pixel of the picture "
                                      "that render would make; prints JSON in the stores' coordinates")),
      thumbnail(app.add_subcommand("thumbnail", "Make a thumbnail of a Potree, Entwine or COPC store"))
{
    mRenderScene = std::make_unique<SceneCommandLine>(*render, renderOptions);
    render->add_option("--output,-o", renderOptions.output, "The PNG file to write")->required();
    render->add_option("--points", renderOptions.points,
                       "Also write every drawn pixel as a point (text: X Y Z Red Green Blue Alpha, the stores' "
                       "coordinates); needs one view and one mode");

    mPickScene = std::make_unique<SceneCommandLine>(*pick, pickOptions.scene);
    pick->add_option("--at", mAt, "The pixel X,Y of the picture (0,0 is the top left)")->required();
    pick->add_option("--tolerance", mTolerance,
                     "Pick the point nearest to the eye among the pixels up to this far (at least 1)");
    pick->add_option("--plane", mPlane,
                     "Also fit a plane to the points around the pixel, with inliers this near to it (store units)");

    thumbnail->add_option("STORE", thumbnailOptions.store, "Potree 2.0 or Entwine store folder, or COPC file, on disk or as an http(s):// URL")->required();
    thumbnail->add_option("--output,-o", thumbnailOptions.output,
                          "The PNG file to write (default: thumbnail.png in the store's folder; beside a COPC file, its name ending in .png)");
    thumbnail->add_option("--size", mThumbnailSize, "WIDTHxHEIGHT (default 512x512)");
    thumbnail->add_option("--background", mThumbnailBackground, "Background colour RRGGBB (default ffffff)");
    thumbnail->add_option("--max-level", mThumbnailMaxLevel, "Deepest octree level to load (default 21)");
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
        const std::size_t comma = mAt.find(',');
        if (comma == std::string::npos)
            throw std::invalid_argument("--at must be X,Y, such as 320,200, not '" + mAt + "'");
        pickOptions.x = parseCount(mAt.substr(0, comma), 0, pickOptions.scene.width - 1, "the pixel's X");
        pickOptions.y = parseCount(mAt.substr(comma + 1), 0, pickOptions.scene.height - 1, "the pixel's Y");
        if (!mTolerance.empty())
            pickOptions.tolerance = parseCount(mTolerance, 1, largestImageSide, "--tolerance");
        if (!mPlane.empty())
            pickOptions.planeDistance = parseNumber(mPlane, 0.0f, true, "--plane");
    }
    if (thumbnail->parsed()) {
        std::tie(thumbnailOptions.width, thumbnailOptions.height) = parseImageSize(mThumbnailSize);
        thumbnailOptions.background = parseColor(mThumbnailBackground);
        thumbnailOptions.maxLevel = parseCount(mThumbnailMaxLevel, 0, std::numeric_limits<std::size_t>::max(), "--max-level");
    }
}

} // namespace Tool
