#pragma once

#include "BackgroundVolume.h"
#include "SwapChainPresenter.h"
#include "ViewerInput.h"

#include "../lumaro/RenderOptions.h"
#include "../lumaro/StoreScene.h"

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

namespace Tool {

// The viewer's window: it builds the scene of the options, shows it through a swap chain on the
// renderer's device, draws only when the renderer asks for it, lets the point clouds load on their
// own threads, and turns the window's messages into ViewerInput calls. A scene that cannot be
// built leaves the window open with its message.
class ViewerWindow {
public:
    explicit ViewerWindow(RenderOptions options);

    // Opens the window and runs its message loop until it is closed; the exit code.
    int run(HINSTANCE instance);

private:
    void createWindow(HINSTANCE instance);
    void showScene();
    int loop();
    void drawFrame();
    void updateTitle();
    void applyCamera();
    std::optional<Math::Point<float, 3>> pointUnder(int x, int y);
    void report(const std::string& line);
    void pickAt(int x, int y, bool withPlane);
    void measureAt(int x, int y);
    void closePolygon();
    void showMeasuring();
    void onVolumeProgress();
    void carryOut(const ViewerAction& action);
    void reportLoadingErrors();
    void onResize(UINT width, UINT height);
    void screenshot(const std::string& path);
    void paintError();
    void shutDown();
    Render::Renderer& renderer() { return mScene->renderer(); }

    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT handleWithoutScene(UINT message, WPARAM wParam, LPARAM lParam);
    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    RenderOptions mOptions;
    HWND mWindow = nullptr;
    std::unique_ptr<StoreScene> mScene;
    std::unique_ptr<SwapChainPresenter> mPresenter;
    std::unique_ptr<BackgroundVolume> mVolume;
    std::string mPolygonText;
    ViewerInput mInput;
    std::string mError;
    std::string mStatus;
    double mFrameMilliseconds = 0.0;
};

} // namespace Tool
