#include "IndexCommand.h"

#include "CommandLineText.h"
#include "ProgressBar.h"
#include "StopOnInterrupt.h"

#include <iostream>
#include <string>

namespace Tool {

namespace {

// "indexing [##########          ]  34% reading" on one line of stderr.
void showProgress(const Index::Progress& progress, bool done)
{
    showProgressBar("indexing", progress.fraction, " " + std::string(Index::phaseName(progress.phase)) + "   ", done);
}

} // namespace

IndexCommandLine::IndexCommandLine(CLI::App& app)
    : mCommand(app.add_subcommand("index", "Turn LAS and LAZ files into one COPC file (.copc.laz)"))
{
    mCommand
        ->add_option("INPUT", mInputs,
                     "LAS or LAZ files (LAS 1.0 to 1.4, point formats 0 to 10), e.g. the tiles of a flight")
        ->required();
    mCommand
        ->add_option("--output,-o", mOutput,
                     "The COPC file to write (written under a temporary name, renamed when complete)")
        ->required();
    // The indexer's own defaults are the command's.
    const Index::IndexOptions defaults;
    addOption(*mCommand, {"--threads", "", "Worker threads (default: every core)"}, mThreads);
    addOption(*mCommand,
              {"--memory-limit", std::to_string(defaults.memoryLimitMiB),
               "Memory for the indexer's buffers in MiB (at least "
                   + std::to_string(Index::IndexOptions::MIN_MEMORY_LIMIT_MIB) + ")"},
              mMemoryLimit);
    mCommand->add_option("--temp", mTemporary, "Folder for temporary files (default: beside the output)");
    addOption(*mCommand,
              {"--max-node-points", std::to_string(defaults.maxNodePoints), "The most points an octree node holds"},
              mMaxNodePoints);
}

void IndexCommandLine::finish()
{
    if (!parsed()) {
        return;
    }
    mOptions.threads = mThreads.empty() ? 0u : static_cast<unsigned>(parseCount(mThreads, 0, 1024, "--threads"));
    mOptions.memoryLimitMiB =
        parseCount(mMemoryLimit, Index::IndexOptions::MIN_MEMORY_LIMIT_MIB, std::size_t{1} << 24, "--memory-limit");
    mOptions.maxNodePoints = parseCount(mMaxNodePoints, 16, 10000000, "--max-node-points");
    mOptions.temporaryFolder = mTemporary;
    mOptions.warning = [](const std::string& text) { std::cerr << "\rlumaro: warning: " << text << '\n'; };
}

int IndexCommandLine::run() const
{
    Index::Progress last;
    bool showing = false;
    return runStoppable("; nothing was written", showing, [&](StopOnInterrupt& stop) {
        const Index::IndexReport report = Index::indexToCopc(
            mInputs, mOutput, mOptions,
            [&](const Index::Progress& progress) {
                stop.check();
                last = progress;
                showing = true;
                showProgress(progress, false);
            },
            stop.token());
        showProgress(last, true);
        showing = false;
        std::cout << "wrote " << mOutput.string() << " (" << report.points << " points in " << report.nodes
                  << " nodes, point format " << report.pointFormat << ", " << report.threads << " threads)\n";
        return 0;
    });
}

} // namespace Tool
