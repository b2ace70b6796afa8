#pragma once

#include <lumaro/measure/Volume.h>

#include <CLI/CLI.hpp>

#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace Tool {

// `lumaro volume STORE... --polygon X1,Y1,X2,Y2,... [--base Z|lowest|fit] [--cell C]`: the volume
// over a polygon, printed as one JSON object, with a progress bar on stderr.
class VolumeCommandLine {
public:
    explicit VolumeCommandLine(CLI::App& app);

    bool parsed() const { return mCommand->parsed(); }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();
    // Measures and prints; Ctrl+C stops it cleanly. Returns the exit status.
    int run() const;

private:
    CLI::App* mCommand;
    std::vector<std::string> mStores;
    std::string mPolygon;
    std::string mBase;
    std::string mCell;
    std::unique_ptr<Measure::VolumeOptions> mOptions;
};

// The JSON of a volume: above, below, area, cells, filled_cells, points, base (the base's height
// at the polygon's centroid), base_kind, and for a fitted base base_slope [dz/dx, dz/dy] and
// base_points.
nlohmann::json volumeJson(const Measure::Volume& volume, Measure::VolumeBase::Kind kind);

} // namespace Tool
