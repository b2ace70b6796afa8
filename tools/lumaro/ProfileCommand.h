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

    bool parsed() const { return m_command->parsed(); }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();
    // Measures and writes; Ctrl+C stops it cleanly. Returns the exit status.
    int run() const;

private:
    CLI::App* m_command;
    std::vector<std::string> m_stores;
    std::string m_from;
    std::string m_to;
    std::vector<std::string> m_via;
    std::string m_width;
    std::string m_heights;
    std::string m_size;
    std::string m_mode;
    std::string m_colorMap;
    std::string m_background;
    std::optional<std::filesystem::path> m_output;
    std::optional<std::filesystem::path> m_points;
    Measure::ProfileOptions m_options;
    ProfileStyle m_style;
};

} // namespace Tool
