#include "ProfileCommand.h"

#include "CommandLineText.h"
#include "ErrorText.h"
#include "MeasureText.h"
#include "OutputFile.h"
#include "ProfilePointsFile.h"
#include "ProgressBar.h"
#include "StopOnInterrupt.h"

#include <lumaro/octree/OperationCancelled.h>

#include <iostream>
#include <limits>

namespace Tool {

namespace {

const OptionText fromOption{"--from", "", "Where the line starts, X,Y in the stores' coordinates"};
const OptionText toOption{"--to", "", "Where the line ends, X,Y"};
const OptionText viaOption{"--via", "", "A bend of the line X,Y between --from and --to; may be repeated, in order"};
const OptionText widthOption{"--width", "", "The corridor's whole width across the line (half on each side), in store units"};
const OptionText heightsOption{"--heights", "", "Only points between the heights MIN,MAX (default: all)"};
const OptionText profileSizeOption{"--size", "1600x600", "Size of the picture, WIDTHxHEIGHT"};
const OptionText profileModeOption{"--mode", "rgb", "Colouring of the points in the picture: rgb, intensity or elevation"};
const OptionText profileColorMapOption{"--color-map", "turbo", "Colour map of the elevation mode"};
const OptionText profileBackgroundOption{"--background", "ffffff", "Background colour RRGGBB of the picture"};

} // namespace

ProfileCommandLine::ProfileCommandLine(CLI::App& app)
    : m_command(app.add_subcommand("profile", "The points in a corridor along a line: a picture of distance along "
                                              "the line against height, and the points"))
{
    m_command->add_option("STORE", m_stores, "Potree 2.0 or Entwine store folders or COPC files, on disk or as "
                                             "http(s):// URLs, of one site")
        ->required();
    addOption(*m_command, fromOption, m_from)->required();
    addOption(*m_command, toOption, m_to)->required();
    m_command->add_option(viaOption.name, m_via, viaOption.help);
    addOption(*m_command, widthOption, m_width)->required();
    addOption(*m_command, heightsOption, m_heights);
    m_command->add_option("--output,-o", m_output, "The picture to write (PNG)");
    m_command->add_option("--points", m_points, "The points to write: LAS where the name ends in .las, LAZ in "
                                                ".laz, otherwise text lines x y z red green blue intensity "
                                                "classification");
    addOption(*m_command, profileSizeOption, m_size);
    addOption(*m_command, profileModeOption, m_mode);
    addOption(*m_command, profileColorMapOption, m_colorMap);
    addOption(*m_command, profileBackgroundOption, m_background);
}

void ProfileCommandLine::finish()
{
    if (!parsed())
        return;
    m_options.line = {parsePlanPoint(m_from, "--from")};
    for (const std::string& bend : m_via)
        m_options.line.push_back(parsePlanPoint(bend, "--via"));
    m_options.line.push_back(parsePlanPoint(m_to, "--to"));
    m_options.width = parseNumber(m_width, 0.0f, true, "--width");
    if (!m_heights.empty()) {
        const std::vector<std::string> range = splitList(m_heights, 2, "--heights", "MIN,MAX, such as 100,120");
        m_options.lowest = parseReal(range[0], "--heights' MIN");
        m_options.highest = parseReal(range[1], "--heights' MAX");
        if (!(m_options.lowest <= m_options.highest))
            throw std::invalid_argument("--heights needs MIN not above MAX, not '" + m_heights + "'");
    }
    std::tie(m_style.width, m_style.height) = parseImageSize(m_size, "--size");
    ProfileChart::requireRoom(m_style.width, m_style.height);
    m_style.coloring = Render::coloringNamed(m_mode);
    if (m_style.coloring != Render::Coloring::Rgb && m_style.coloring != Render::Coloring::Intensity
        && m_style.coloring != Render::Coloring::Elevation)
        throw std::invalid_argument("--mode of a profile must be rgb, intensity or elevation, not '" + m_mode + "'");
    m_style.colorMap = Render::colorMapNamed(m_colorMap);
    m_style.background = parseColor(m_background, "--background");
}

int ProfileCommandLine::run() const
{
    StopOnInterrupt stop;
    bool showing = false;
    try {
        const Measure::Stores stores = openStores(m_stores);
        const Measure::Profile profile = Measure::measureProfile(
            stores, m_options,
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
        if (m_output) {
            const Graphics::ColorImage picture = drawProfile(profile, m_style);
            writeWhole(*m_output, [&](const std::filesystem::path& temporary) { picture.writePng(temporary); });
            std::cout << "wrote " << m_output->string() << '\n';
        }
        if (m_points) {
            writeProfilePoints(profile, *m_points);
            std::cout << "wrote " << m_points->string() << '\n';
        }
        return 0;
    } catch (const Octree::OperationCancelled&) {
        std::cerr << "\nlumaro: stopped; nothing was written\n";
        return StopOnInterrupt::exitStatus;
    } catch (const std::exception& error) {
        std::cerr << (showing ? "\n" : "") << "lumaro: error: " << explain(error) << '\n';
        return 1;
    }
}

} // namespace Tool
