#include "VolumeCommand.h"

#include "CommandLineText.h"
#include "MeasureText.h"
#include "ProgressBar.h"
#include "StopOnInterrupt.h"

#include <algorithm>
#include <iostream>

namespace Tool {

namespace {

const OptionText polygonOption{"--polygon", "",
                               "The polygon's corners X1,Y1,X2,Y2,... in the stores' coordinates "
                               "(at least three, not crossing itself)"};
const OptionText baseOption{"--base", "lowest",
                            "What the volume is measured from: a height Z, lowest (the lowest "
                            "point inside the polygon) or fit (a plane fitted to the points "
                            "within one cell of the polygon's edge)"};
const OptionText cellOption{"--cell", "1", "The side of the grid's square cells, in store units"};

std::string_view kindName(Measure::VolumeBase::Kind kind)
{
    switch (kind) {
    case Measure::VolumeBase::Kind::Height: return "height";
    case Measure::VolumeBase::Kind::Lowest: return "lowest";
    case Measure::VolumeBase::Kind::Fit: return "fit";
    }
    return "";
}

} // namespace

VolumeCommandLine::VolumeCommandLine(CLI::App& app)
    : mCommand(app.add_subcommand("volume", "The volume over a polygon above and below a base; prints JSON"))
{
    mCommand
        ->add_option("STORE", mStores,
                     "Potree 2.0 or Entwine store folders or COPC files, on disk or as "
                     "http(s):// URLs, of one site")
        ->required();
    addOption(*mCommand, polygonOption, mPolygon)->required();
    addOption(*mCommand, baseOption, mBase);
    addOption(*mCommand, cellOption, mCell);
}

void VolumeCommandLine::finish()
{
    if (!parsed())
        return;
    Math::Polygon polygon = parsePolygon(mPolygon, "--polygon");
    Measure::VolumeBase base;
    if (mBase == "lowest")
        base.kind = Measure::VolumeBase::Kind::Lowest;
    else if (mBase == "fit")
        base.kind = Measure::VolumeBase::Kind::Fit;
    else
        base = {Measure::VolumeBase::Kind::Height, parseReal(mBase, "--base (a height, lowest or fit)")};
    const float cell = parseNumber(mCell, 0.0f, true, "--cell");
    mOptions = std::make_unique<Measure::VolumeOptions>(Measure::VolumeOptions{std::move(polygon), cell, base});
}

int VolumeCommandLine::run() const
{
    bool showing = false;
    return runStoppable("", showing, [&](StopOnInterrupt& stop) {
        const Measure::Volume volume = Measure::measureVolume(
            openStores(mStores), *mOptions,
            [&](double fraction) {
                stop.check();
                showing = true;
                showProgressBar("measuring", fraction, "");
            },
            stop.token());
        showProgressBar("measuring", 1.0, "", true);
        std::cout << volumeJson(volume, mOptions->base.kind).dump(2) << '\n';
        return 0;
    });
}

nlohmann::json volumeJson(const Measure::Volume& volume, Measure::VolumeBase::Kind kind)
{
    nlohmann::json json{{"above", volume.above},
                        {"below", volume.below},
                        {"area", volume.area},
                        {"cells", volume.cells},
                        {"filled_cells", volume.filledCells},
                        {"points", volume.points},
                        {"base", volume.baseHeight},
                        {"base_kind", kindName(kind)}};
    if (kind == Measure::VolumeBase::Kind::Fit) {
        json["base_slope"] = {volume.baseSlope.x(), volume.baseSlope.y()};
        json["base_points"] = volume.basePoints;
    }
    return json;
}

} // namespace Tool
