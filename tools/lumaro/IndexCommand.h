#pragma once

#include "CommandLineText.h"

#include <lumaro/indexer/Indexer.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace Tool {

// `lumaro index INPUT... --output OUT.copc.laz [--threads N] [--memory-limit MIB] [--temp DIR]`:
// LAS and LAZ files into one COPC file, with a progress bar on stderr.
class IndexCommandLine {
public:
    explicit IndexCommandLine(CLI::App& app);

    bool parsed() const { return m_command->parsed(); }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();
    // Runs the indexer; Ctrl+C stops it cleanly. Returns the exit status.
    int run() const;

private:
    CLI::App* m_command;
    std::vector<std::filesystem::path> m_inputs;
    std::filesystem::path m_output;
    std::string m_threads;
    std::string m_memoryLimit;
    std::string m_maxNodePoints;
    std::string m_temporary;
    Index::IndexOptions m_options;
};

} // namespace Tool
