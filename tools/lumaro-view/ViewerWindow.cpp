#include "ViewerWindow.h"

#include "../lumaro/ErrorText.h"

#include <lumaro/graphics/ColorImage.h>

#include <windowsx.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace Tool {

namespace {

constexpr wchar_t WINDOW_CLASS[] = L"LumaroView";
// Posted by the loading threads after each published node set.
constexpr UINT WM_NODES_PUBLISHED = WM_APP + 1;
// Posted by the volume's thread when its progress moves and when it ends.
constexpr UINT WM_VOLUME_PROGRESS = WM_APP + 2;
// WM_COPYDATA tag of a screenshot request: the data are the UTF-8 path of the PNG to write.
constexpr ULONG_PTR SCREENSHOT_REQUEST = 0x53484F54; // "SHOT"
constexpr std::size_t PICK_TOLERANCE = 8;

std::wstring widen(const std::string& text)
{
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
    return wide;
}

ViewerInput::Modifiers modifiersOf(WPARAM keys)
{
    return {(keys & MK_CONTROL) != 0, (keys & MK_SHIFT) != 0};
}

// The viewer's key of a virtual key: letters and digits as they are, the plus and minus keys of
// both keyboards as '+' and '-'.
char keyOf(WPARAM key)
{
    if (key == VK_ADD || key == VK_OEM_PLUS)
        return '+';
    if (key == VK_SUBTRACT || key == VK_OEM_MINUS)
        return '-';
    return key < 128 ? static_cast<char>(key) : '\0';
}

} // namespace

ViewerWindow::ViewerWindow(RenderOptions options)
    : mOptions(std::move(options)),
      mInput(Render::Coloring::Rgb, mOptions.colorMap, mOptions.budget,
             {mOptions.eyeDomeLighting, mOptions.splats, mOptions.pointClasses})
{}

int ViewerWindow::run(HINSTANCE instance)
{
    createWindow(instance);
    try {
        showScene();
    } catch (const std::exception& error) {
        mError = explain(error);
        std::cerr << "lumaro-view: " << mError << "\n";
        mPresenter.reset();
        mScene.reset();
        updateTitle();
        InvalidateRect(mWindow, nullptr, TRUE);
    }
    return loop();
}

void ViewerWindow::createWindow(HINSTANCE instance)
{
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = &ViewerWindow::windowProcedure;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)); // IDC_ARROW
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    windowClass.lpszClassName = WINDOW_CLASS;
    RegisterClassExW(&windowClass);
    RECT frame{0, 0, static_cast<LONG>(mOptions.width), static_cast<LONG>(mOptions.height)};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    mWindow = CreateWindowExW(0, WINDOW_CLASS, L"lumaro-view", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                              frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, instance, this);
    if (!mWindow)
        throw std::runtime_error("cannot create the window (error " + std::to_string(GetLastError()) + ")");
    ShowWindow(mWindow, SW_SHOW);
}

void ViewerWindow::showScene()
{
    mScene = std::make_unique<StoreScene>(mOptions);
    mPresenter = std::make_unique<SwapChainPresenter>(renderer(), mWindow, static_cast<UINT>(mOptions.width),
                                                      static_cast<UINT>(mOptions.height));
    mInput.navigator().frame(mScene->box());
    renderer().setAutoAdjustZRange(true);
    applyCamera();
    mScene->color(mInput.coloring());
    for (const auto& cloud : mScene->clouds()) {
        cloud->setRestartLoadingAfterCameraChange(true);
        // Runs on the loading thread: only a message crosses to the window's thread.
        const HWND window = mWindow;
        cloud->startAsyncReload([window] { PostMessageW(window, WM_NODES_PUBLISHED, 0, 0); }, mOptions.maxLevel);
    }
}

int ViewerWindow::loop()
{
    MSG message{};
    while (true) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT)
                return static_cast<int>(message.wParam);
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (mScene && renderer().needsRedraw()) {
            drawFrame();
        } else {
            // Sleeps until input or a loading thread's message; the timeout catches redraws that
            // no message announces.
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        }
    }
}

void ViewerWindow::drawFrame()
{
    const auto start = std::chrono::steady_clock::now();
    renderer().render();
    mPresenter->present();
    mFrameMilliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    updateTitle();
}

void ViewerWindow::updateTitle()
{
    std::ostringstream title;
    title << "lumaro-view";
    if (!mError.empty()) {
        title << " - error: " << mError;
    } else if (mScene) {
        std::size_t points = 0;
        for (const auto& cloud : mScene->clouds())
            points += cloud->numVisiblePoints();
        title << " - " << points << " / " << mInput.budget() << " points - "
              << static_cast<int>(mFrameMilliseconds + 0.5) << " ms - " << Render::nameOf(mInput.coloring());
        if (mInput.look().eyeDomeLighting.enabled)
            title << " - edl";
        if (mInput.look().splats == Render::SplatQuality::High)
            title << " - hq splats";
        const std::string measuring = mInput.measuringTool().status();
        if (!measuring.empty())
            title << " - " << measuring;
        if (!mStatus.empty())
            title << " - " << mStatus;
    }
    SetWindowTextW(mWindow, widen(title.str()).c_str());
}

void ViewerWindow::applyCamera()
{
    const OrbitNavigator& navigator = mInput.navigator();
    renderer().setCameraPose(navigator.eye(), navigator.pivot(), navigator.up());
    const float distance = (navigator.pivot() - navigator.eye()).norm();
    renderer().setPerspective(OrbitNavigator::FIELD_OF_VIEW_DEGREES, distance * 1e-3f, distance * 1e3f, 0.0f, 0.0f);
    // The measurement's markers keep their size on screen.
    const MeasuringTool& tool = mInput.measuringTool();
    if (!tool.points().empty() || tool.last())
        showMeasuring();
}

std::optional<Math::Point<float, 3>> ViewerWindow::pointUnder(int x, int y)
{
    Math::Point<float, 3> point;
    if (x < 0 || y < 0
        || !renderer().pickClosestPointWithTolerance(static_cast<std::size_t>(x), static_cast<std::size_t>(y),
                                                     PICK_TOLERANCE, point))
        return std::nullopt;
    return point;
}

void ViewerWindow::report(const std::string& line)
{
    mStatus = line;
    std::cout << line << std::endl;
    updateTitle();
}

void ViewerWindow::pickAt(int x, int y, bool withPlane)
{
    const std::optional<Math::Point<float, 3>> point = pointUnder(x, y);
    if (!point) {
        report("picked nothing");
        return;
    }
    const Eigen::Vector3d store = mScene->storeCoordinates(*point);
    char text[160];
    std::snprintf(text, sizeof text, "picked %.4f %.4f %.4f", store.x(), store.y(), store.z());
    std::string line = text;
    if (withPlane) {
        Math::NPlane<float, 3> plane(Eigen::Vector3f::UnitZ(), 0.0f);
        Math::Point<float, 3> onPlane;
        if (renderer().pickPlane(static_cast<std::size_t>(x), static_cast<std::size_t>(y), PICK_TOLERANCE, plane,
                                 onPlane, 0.05)) {
            const Eigen::Vector3f n = plane.normal();
            std::snprintf(text, sizeof text, " plane normal %.4f %.4f %.4f", n.x(), n.y(), n.z());
            line += text;
        } else {
            line += " no plane";
        }
    }
    report(line);
}

void ViewerWindow::measureAt(int x, int y)
{
    const std::optional<Math::Point<float, 3>> point = pointUnder(x, y);
    if (!point) {
        report("measuring: no point under the cursor");
        return;
    }
    if (const std::optional<Measurement> line = mInput.measuringTool().add(mScene->storeCoordinates(*point)))
        report(line->text());
    showMeasuring();
}

void ViewerWindow::closePolygon()
{
    Measurement polygon;
    try {
        polygon = mInput.measuringTool().close();
    } catch (const std::invalid_argument& error) {
        report(std::string("cannot close the polygon: ") + error.what());
        return;
    }
    showMeasuring();
    mPolygonText = polygon.text();
    report(mPolygonText);
    // The volume over it, at full resolution, on a thread of its own.
    mVolume.reset();
    Measure::Stores stores;
    for (const auto& cloud : mScene->clouds())
        stores.push_back(cloud->octree());
    const Math::Polygon& footprint = *polygon.footprint;
    const HWND window = mWindow;
    mVolume = std::make_unique<BackgroundVolume>(
        stores,
        Measure::VolumeOptions{footprint, BackgroundVolume::cellFor(footprint), {Measure::VolumeBase::Kind::Fit}},
        [window] { PostMessageW(window, WM_VOLUME_PROGRESS, 0, 0); });
}

void ViewerWindow::onVolumeProgress()
{
    if (!mVolume)
        return;
    if (mVolume->finished()) {
        report(mPolygonText + "; " + mVolume->text());
        mVolume.reset();
        return;
    }
    mStatus = "measuring the volume " + std::to_string(static_cast<int>(mVolume->progress() * 100.0)) + "%";
    updateTitle();
}

// The options' clip volumes, and the measuring tool's points and last measurement highlighted.
void ViewerWindow::showMeasuring()
{
    Render::ClipVolumes volumes = mScene->optionClipVolumes();
    std::size_t vertices = 0;
    for (const auto& volume : volumes.volumes())
        if (const auto* prism = std::get_if<Render::ClipPrism>(&volume.shape))
            vertices += prism->footprint.size();
    const OrbitNavigator& navigator = mInput.navigator();
    const double marker = std::max(1e-3, static_cast<double>((navigator.pivot() - navigator.eye()).norm()) / 150.0);
    const Render::ClipVolumes shown = mInput.measuringTool().highlights(
        mScene->site().origin(), marker, Render::ClipVolumes::maxVolumes - volumes.volumes().size(),
        Render::ClipVolumes::maxFootprintVertices - vertices);
    for (const auto& volume : shown.volumes())
        volumes.add(volume.shape, volume.effect);
    mScene->setClipVolumes(volumes);
    updateTitle();
}

void ViewerWindow::carryOut(const ViewerAction& action)
{
    using Kind = ViewerAction::Kind;
    switch (action.kind) {
    case Kind::Nothing: return;
    case Kind::MoveCamera: applyCamera(); break;
    case Kind::Pick:
    case Kind::PickWithPlane: pickAt(action.x, action.y, action.kind == Kind::PickWithPlane); break;
    case Kind::Recolor: mScene->color(action.coloring); break;
    case Kind::ChangeColorMap: renderer().setColorMap(action.colorMap); break;
    case Kind::ChangeBudget:
        renderer().setPointBudget(action.budget);
        for (const auto& cloud : mScene->clouds())
            cloud->clearVisibleOctreeNodes();
        break;
    case Kind::ChangeLook:
        renderer().setEyeDomeLighting(action.eyeDomeLighting);
        renderer().setSplatQuality(action.splats);
        renderer().setPointClasses(action.classes);
        break;
    case Kind::ChangePointSize:
        for (const auto& cloud : mScene->clouds())
            cloud->setMaxPointSize(std::clamp(cloud->maxPointSize() + action.pointSizeStep, 1.0f, 64.0f));
        break;
    case Kind::MeasurePoint: measureAt(action.x, action.y); break;
    case Kind::MeasureClose: closePolygon(); break;
    case Kind::MeasureChanged: showMeasuring(); break;
    }
    updateTitle();
}

// A node or hierarchy chunk that could not be read costs only itself; say which store.
void ViewerWindow::reportLoadingErrors()
{
    for (const auto& cloud : mScene->clouds()) {
        try {
            cloud->isAsyncReloadHealthy(true);
        } catch (const std::exception& error) {
            mStatus = cloud->name() + ": " + explain(error);
        }
    }
}

void ViewerWindow::onResize(UINT width, UINT height)
{
    if (width == 0 || height == 0 || (width == mOptions.width && height == mOptions.height))
        return;
    mOptions.width = width;
    mOptions.height = height;
    if (!mScene || !mPresenter)
        return;
    mPresenter->resize(width, height);
    renderer().setViewport(width, height);
    applyCamera();
}

// Writes the picture of the last frame (drawn first when a redraw is due) as a PNG.
void ViewerWindow::screenshot(const std::string& path)
{
    if (!mScene)
        return;
    if (renderer().needsRedraw())
        drawFrame();
    Graphics::ColorImage image;
    renderer().getColorImage(image);
    image.writePng(path);
}

void ViewerWindow::paintError()
{
    PAINTSTRUCT paint;
    HDC context = BeginPaint(mWindow, &paint);
    RECT area;
    GetClientRect(mWindow, &area);
    FillRect(context, &area, reinterpret_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    SetTextColor(context, RGB(255, 255, 255));
    SetBkMode(context, TRANSPARENT);
    InflateRect(&area, -16, -16);
    const std::wstring text = widen("lumaro-view cannot show this scene:\n\n" + mError);
    DrawTextW(context, text.c_str(), -1, &area, DT_LEFT | DT_WORDBREAK);
    EndPaint(mWindow, &paint);
}

// Stops every loading thread before the window and the renderer go.
void ViewerWindow::shutDown()
{
    mVolume.reset();
    if (mScene)
        for (const auto& cloud : mScene->clouds())
            cloud->stopAsyncReload();
    mPresenter.reset();
    mScene.reset();
}

LRESULT ViewerWindow::handleWithoutScene(UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_PAINT && !mError.empty()) {
        paintError();
        return 0;
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(mWindow, message, wParam, lParam);
}

LRESULT ViewerWindow::handle(UINT message, WPARAM wParam, LPARAM lParam)
{
    if (!mScene)
        return handleWithoutScene(message, wParam, lParam);
    const int x = GET_X_LPARAM(lParam);
    const int y = GET_Y_LPARAM(lParam);
    const auto under = [this](int px, int py) { return pointUnder(px, py); };
    using Button = ViewerInput::Button;
    switch (message) {
    case WM_NODES_PUBLISHED:
        reportLoadingErrors();
        updateTitle();
        return 0;
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
    case WM_MBUTTONDOWN: {
        SetCapture(mWindow);
        const Button button = message == WM_LBUTTONDOWN ? Button::Left
            : message == WM_RBUTTONDOWN                 ? Button::Right
                                                        : Button::Middle;
        carryOut(mInput.press(x, y, button, modifiersOf(wParam), under));
        return 0;
    }
    case WM_LBUTTONUP:
    case WM_RBUTTONUP:
    case WM_MBUTTONUP:
        ReleaseCapture();
        carryOut(mInput.release(x, y));
        return 0;
    case WM_VOLUME_PROGRESS: onVolumeProgress(); return 0;
    case WM_MOUSEMOVE: carryOut(mInput.move(x, y, static_cast<float>(mOptions.height))); return 0;
    case WM_MOUSEWHEEL: {
        POINT cursor{x, y};
        ScreenToClient(mWindow, &cursor);
        const float notches = static_cast<float>(GET_WHEEL_DELTA_WPARAM(wParam)) / WHEEL_DELTA;
        carryOut(mInput.wheel(cursor.x, cursor.y, notches, under));
        return 0;
    }
    case WM_KEYDOWN:
        carryOut(mInput.key(keyOf(wParam), {false, (GetKeyState(VK_SHIFT) & 0x8000) != 0}, mScene->box()));
        return 0;
    case WM_SIZE: onResize(LOWORD(lParam), HIWORD(lParam)); return 0;
    case WM_COPYDATA: {
        const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        if (data->dwData != SCREENSHOT_REQUEST)
            break;
        try {
            screenshot(std::string(static_cast<const char*>(data->lpData), data->cbData));
            return TRUE;
        } catch (const std::exception& error) {
            std::cerr << "lumaro-view: " << explain(error) << "\n";
            return FALSE;
        }
    }
    case WM_DESTROY:
        shutDown();
        PostQuitMessage(0);
        return 0;
    default: break;
    }
    return DefWindowProcW(mWindow, message, wParam, lParam);
}

LRESULT CALLBACK ViewerWindow::windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_NCCREATE) {
        auto* viewer = static_cast<ViewerWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        viewer->mWindow = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(viewer));
    }
    auto* viewer = reinterpret_cast<ViewerWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!viewer)
        return DefWindowProcW(window, message, wParam, lParam);
    try {
        return viewer->handle(message, wParam, lParam);
    } catch (const std::exception& error) {
        // A failure while handling input ends nothing: it is shown, and the viewer goes on.
        viewer->report("error: " + explain(error));
        return 0;
    }
}

} // namespace Tool
