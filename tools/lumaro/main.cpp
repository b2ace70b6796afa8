// lumaro: the command-line front end of LumaroRender.
#include "ErrorText.h"
#include "IndexCommand.h"
#include "PointWriter.h"
#include "ProfileCommand.h"
#include "RenderCommand.h"
#include "RenderOptions.h"
#include "StoreInfo.h"
#include "VolumeCommand.h"

#include <lumaro/octree/Octree.h>
#include <lumaro/octree/Location.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace {

std::shared_ptr<Octree::Octree> openStore(const std::string& path)
{
    return Octree::Octree::open(Octree::locationOf(path));
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"LumaroRender command-line tool"};
    app.require_subcommand(1);
    // CLI11 reads "/name" as an option on Windows; store paths under Wine look just like that.
    app.allow_windows_style_options(false);

    std::string store;
    auto* info = app.add_subcommand("info", "Print the facts of a point-cloud store as JSON");
    info->add_option("STORE", store,
                     "Potree 2.0 or Entwine store folder, or COPC file, on disk or as an http(s):// URL")
        ->required();

    std::size_t maxLevel = Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL;
    auto* points = app.add_subcommand(
        "points", "Write the points of a store, one line each: x y z red green blue intensity classification");
    points
        ->add_option("STORE", store,
                     "Potree 2.0 or Entwine store folder, or COPC file, on disk or as an http(s):// URL")
        ->required();
    points->add_option("--max-level", maxLevel, "Deepest octree level to include (the root is level 0)");

    Tool::CommandLine commands(app);
    Tool::IndexCommandLine index(app);
    Tool::ProfileCommandLine profile(app);
    Tool::VolumeCommandLine volume(app);

    try {
        app.parse(argc, argv);
        commands.finish();
        index.finish();
        profile.finish();
        volume.finish();
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForAllHelp& help) {
        return app.exit(help);
    } catch (const std::exception& error) {
        std::cerr << "lumaro: error: " << error.what() << " (lumaro --help tells more)\n";
        return 2;
    }

    if (index.parsed()) {
        return index.run();
    }
    if (profile.parsed())
        return profile.run();
    if (volume.parsed())
        return volume.run();
    try {
        if (commands.render->parsed()) {
            Tool::renderStores(commands.renderOptions);
            std::cout << "wrote " << commands.renderOptions.output.string() << '\n';
            if (commands.renderOptions.points)
                std::cout << "wrote " << commands.renderOptions.points->string() << '\n';
            return 0;
        }
        if (commands.pick->parsed()) {
            std::cout << Tool::pickInStores(commands.pickOptions).dump(2) << '\n';
            return 0;
        }
        if (commands.thumbnail->parsed()) {
            std::cout << "wrote " << Tool::makeThumbnail(commands.thumbnailOptions).string() << '\n';
            return 0;
        }
        const auto tree = openStore(store);
        if (info->parsed()) {
            std::cout << Tool::storeInfo(*tree).dump(2) << '\n';
        } else if (points->parsed()) {
            std::ios::sync_with_stdio(false);
            Tool::writePoints(*tree, maxLevel, std::cout);
        }
        std::cout.flush();
        if (!std::cout) {
            std::cerr << "lumaro: error: cannot write the output\n";
            return 1;
        }
    } catch (const std::exception& error) {
        std::cerr << "lumaro: error: " << Tool::explain(error) << '\n';
        return 1;
    }
    return 0;
}
