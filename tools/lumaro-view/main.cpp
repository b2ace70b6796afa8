// lumaro-view: a small interactive host of the library. The window (ViewerWindow) owns a swap
// chain on the renderer's own device (SwapChainPresenter), copies each finished frame to the back
// buffer on the GPU, draws only when the renderer asks for it, and lets the point clouds load on
// their own threads; its input (ViewerInput) moves an orbiting camera and chooses what is shown.
#include "ViewerWindow.h"

#include "../lumaro/ErrorText.h"
#include "../lumaro/RenderOptions.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    CLI::App app("lumaro-view: shows point-cloud stores, meshes and panoramas in a window");
    Tool::RenderOptions options;
    // Paths such as /data/scan are paths, not Windows-style options (Wine passes Linux paths).
    app.allow_windows_style_options(false);
    Tool::SceneCommandLine sceneOptions(app, options);
    try {
        app.parse(argc, argv);
        sceneOptions.finish();
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << "lumaro-view: " << Tool::explain(error) << "\n";
        return 2;
    }
    try {
        Tool::ViewerWindow viewer(options);
        return viewer.run(GetModuleHandleW(nullptr));
    } catch (const std::exception& error) {
        std::cerr << "lumaro-view: " << Tool::explain(error) << "\n";
        return 1;
    }
}
