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

    bool parsed() const { return mCommand->parsed(); }
    // Validates and converts the texts; throws std::invalid_argument.
    void finish();
    // Runs the indexer; Ctrl+C stops it cleanly. Returns the exit status.
    int run() const;

private:
    CLI::App* mCommand;
    std::vector<std::filesystem::path> mInputs;
    std::filesystem::path mOutput;
    std::string mThreads;
    std::string mMemoryLimit;
    std::string mMaxNodePoints;
    std::string mTemporary;
    Index::IndexOptions mOptions;
};

} // namespace Tool
