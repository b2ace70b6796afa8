#include "ProfileCommand.h"

#include "CommandLineText.h"
#include "MeasureText.h"
#include "OutputFile.h"
#include "ProfilePointsFile.h"
#include "ProgressBar.h"
#include "StopOnInterrupt.h"

#include <iostream>
#include <limits>

namespace Tool {

namespace {

const OptionText fromOption{"--from", "", "Where the line starts, X,Y in the stores' coordinates"};
const OptionText toOption{"--to", "", "Where the line ends, X,Y"};
const OptionText viaOption{"--via", "", "A bend of the line X,Y between --from and --to; may be repeated, in order"};
const OptionText widthOption{"--width", "",
                             "The corridor's whole width across the line (half on each side), in store units"};
const OptionText heightsOption{"--heights", "", "Only points between the heights MIN,MAX (default: all)"};
const OptionText profileSizeOption{"--size", "1600x600", "Size of the picture, WIDTHxHEIGHT"};
const OptionText profileModeOption{"--mode", "rgb",
                                   "Colouring of the points in the picture: rgb, intensity or elevation"};
const OptionText profileColorMapOption{"--color-map", "turbo", "Colour map of the elevation mode"};
const OptionText profileBackgroundOption{"--background", "ffffff", "Background colour RRGGBB of the picture"};

} // namespace

ProfileCommandLine::ProfileCommandLine(CLI::App& app)
    : mCommand(app.add_subcommand("profile",
                                  "The points in a corridor along a line: a picture of distance along "
                                  "the line against height, and the points"))
{
    mCommand
        ->add_option("STORE", mStores,
                     "Potree 2.0 or Entwine store folders or COPC files, on disk or as "
                     "http(s):// URLs, of one site")
        ->required();
    addOption(*mCommand, fromOption, mFrom)->required();
    addOption(*mCommand, toOption, mTo)->required();
    mCommand->add_option(viaOption.name, mVia, viaOption.help);
    addOption(*mCommand, widthOption, mWidth)->required();
    addOption(*mCommand, heightsOption, mHeights);
    mCommand->add_option("--output,-o", mOutput, "The picture to write (PNG)");
    mCommand->add_option("--points", mPoints,
                         "The points to write: LAS where the name ends in .las, LAZ in "
                         ".laz, otherwise text lines x y z red green blue intensity "
                         "classification");
    addOption(*mCommand, profileSizeOption, mSize);
    addOption(*mCommand, profileModeOption, mMode);
    addOption(*mCommand, profileColorMapOption, mColorMap);
    addOption(*mCommand, profileBackgroundOption, mBackground);
}

void ProfileCommandLine::finish()
{
    if (!parsed())
        return;
    mOptions.line = {parsePlanPoint(mFrom, "--from")};
    for (const std::string& bend : mVia)
        mOptions.line.push_back(parsePlanPoint(bend, "--via"));
    mOptions.line.push_back(parsePlanPoint(mTo, "--to"));
    mOptions.width = parseNumber(mWidth, 0.0f, true, "--width");
    if (!mHeights.empty()) {
        const std::vector<std::string> range = splitList(mHeights, 2, "--heights", "MIN,MAX, such as 100,120");
        mOptions.lowest = parseReal(range[0], "--heights' MIN");
        mOptions.highest = parseReal(range[1], "--heights' MAX");
        if (!(mOptions.lowest <= mOptions.highest))
            throw std::invalid_argument("--heights needs MIN not above MAX, not '" + mHeights + "'");
    }
    std::tie(mStyle.width, mStyle.height) = parseImageSize(mSize, "--size");
    ProfileChart::requireRoom(mStyle.width, mStyle.height);
    mStyle.coloring = Render::coloringNamed(mMode);
    if (mStyle.coloring != Render::Coloring::Rgb && mStyle.coloring != Render::Coloring::Intensity
        && mStyle.coloring != Render::Coloring::Elevation)
        throw std::invalid_argument("--mode of a profile must be rgb, intensity or elevation, not '" + mMode + "'");
    mStyle.colorMap = Render::colorMapNamed(mColorMap);
    mStyle.background = parseColor(mBackground, "--background");
}

int ProfileCommandLine::run() const
{
    bool showing = false;
    return runStoppable("; nothing was written", showing, [&](StopOnInterrupt& stop) {
        const Measure::Stores stores = openStores(mStores);
        const Measure::Profile profile = Measure::measureProfile(
            stores, mOptions,
            [&](double fraction) {
                stop.check();
                showing = true;
                showProgressBar("measuring", fraction, "");
            },
            stop.token());
        showProgressBar("measuring", 1.0, "", true);
        showing = false;
        std::cout << profile.points.size() << " points in the corridor, " << profile.length << " long ("
                  << profile.read.nodes << " nodes, " << profile.read.points << " points read)\n";
        if (mOutput) {
            const Graphics::ColorImage picture = drawProfile(profile, mStyle);
            writeWhole(*mOutput, [&](const std::filesystem::path& temporary) { picture.writePng(temporary); });
            std::cout << "wrote " << mOutput->string() << '\n';
        }
        if (mPoints) {
            writeProfilePoints(profile, *mPoints);
            std::cout << "wrote " << mPoints->string() << '\n';
        }
        return 0;
    });
}

} // namespace Tool
