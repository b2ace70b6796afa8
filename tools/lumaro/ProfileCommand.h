#pragma once

#include "ProfilePicture.h"

#include <lumaro/measure/Profile.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Tool {

// `lumaro profile STORE... --from X,Y --to X,Y --width W [--via X,Y]... [--heights MIN,MAX]
// [--output FILE.png] [--points FILE]`: the points in a corridor along a line, as a picture and
// as points (text, LAS or LAZ), with a progress bar on stderr.
class ProfileCommandLine {
public:
    explicit ProfileCommandLine(CLI::App& app);

    bool parsed() const { return mCommand->parsed(); }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();
    // Measures and writes; Ctrl+C stops it cleanly. Returns the exit status.
    int run() const;

private:
    CLI::App* mCommand;
    std::vector<std::string> mStores;
    std::string mFrom;
    std::string mTo;
    std::vector<std::string> mVia;
    std::string mWidth;
    std::string mHeights;
    std::string mSize;
    std::string mMode;
    std::string mColorMap;
    std::string mBackground;
    std::optional<std::filesystem::path> mOutput;
    std::optional<std::filesystem::path> mPoints;
    Measure::ProfileOptions mOptions;
    ProfileStyle mStyle;
};

} // namespace Tool
