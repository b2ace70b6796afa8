#pragma once

#include <lumaro/math/Color.h>
#include <lumaro/render/core/RenderMode.h>
#include <lumaro/render/gpu/ColorMap.h>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Tool {

enum class ViewKind { Top, Oblique };

// How the points of a panel are coloured.
enum class ColoringKind { Rgb, Intensity, Normal, Uniform, Elevation, Tomographic, TomographicDark };

// What `lumaro render` is asked for. Several views and colourings make a grid of panels: one row
// per view, one column per colouring, each panel width x height pixels.
struct RenderOptions {
    std::vector<std::string> stores;
    std::filesystem::path output;
    std::size_t width = 1280;
    std::size_t height = 720;
    std::vector<ViewKind> views{ViewKind::Top};
    std::vector<ColoringKind> colorings{ColoringKind::Rgb};
    Render::ColorMap colorMap = Render::ColorMap::Turbo;
    std::size_t budget = 10000000;
    std::size_t maxLevel = 21;
    float minNodeSize = 15.0f;
    std::optional<float> maxPointSize;
    Math::Color background = Math::Color::black(255);
};

// Each throws std::invalid_argument with a message for the user when the text is not valid.
// "WIDTHxHEIGHT", each side 1 to 16384.
std::pair<std::size_t, std::size_t> parseImageSize(const std::string& text);
// "RRGGBB" in hexadecimal, opaque.
Math::Color parseColor(const std::string& text);
ViewKind parseView(const std::string& name);
ColoringKind parseColoring(const std::string& name);
// The colour maps by name: turbo, inferno, magma, viridis, plasma, gray, bone, red-white-blue,
// level-of-accuracy, pass-fail, traffic-light, cool-warm, level-of-accuracy-imperial.
Render::ColorMap parseColorMap(const std::string& name);
// A whole number from `least` to `most`; `what` names the option in the message.
std::size_t parseCount(const std::string& text, std::size_t least, std::size_t most, const std::string& what);
// A finite number of at least `least` (above it when `strictly`).
float parseNumber(const std::string& text, float least, bool strictly, const std::string& what);

// The render mode that a colouring uses.
Render::RenderMode renderModeOf(ColoringKind coloring);

// Adds the `render` subcommand to `app`; its values land in `options` once parsing is done and
// finish() was called.
class RenderCommandLine {
public:
    RenderCommandLine(CLI::App& app, RenderOptions& options);
    CLI::App* command() const { return mCommand; }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();

private:
    CLI::App* mCommand;
    RenderOptions& mOptions;
    std::string mSize = "1280x720";
    std::vector<std::string> mViews{"top"};
    std::vector<std::string> mModes{"rgb"};
    std::string mColorMap = "turbo";
    std::string mBudget = "10000000";
    std::string mMaxLevel = "21";
    std::string mMinNodeSize = "15";
    std::string mMaxPointSize;
    std::string mBackground = "000000";
};

} // namespace Tool
